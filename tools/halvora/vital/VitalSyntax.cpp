#include "VitalSyntax.hpp"

#include <algorithm>
#include <cstdio>
#include <set>

#include "CliError.hpp"
#include "TimeTexts.hpp"

namespace halvora::cli {

namespace {

/// The keys of `halvora vital set`.
const std::set<std::string> kSetKeys = {"time", "goal", "brightness", "dial",    "base",  "language",
                                        "km",   "24h",  "wrist",      "celsius", "night", "ancs"};

[[noreturn]] void bad(const std::string& reason) {
    throw CliError(ExitBadArguments, reason);
}

}  // namespace

const char* const kVitalSetKeysHelp =
    "KEY VALUE pairs, in one connection: time now|\"yyyy-MM-dd HH:mm\", goal STEPS, and the parameters "
    "brightness 0-15, dial 0-9, base 40-127 (heart-rate base), language N, km|24h|wrist|celsius|night|ancs on|off";

bool parseOnOff(const std::string& text, const std::string& what) {
    if (text == "on") return true;
    if (text == "off") return false;
    bad(what + " must be on or off, got \"" + text + "\"");
}

int parseNumber(const std::string& text, const std::string& what) {
    int value = 0;
    char extra = 0;
    if (std::sscanf(text.c_str(), "%d%c", &value, &extra) != 1) {
        bad(what + " must be a whole number, got \"" + text + "\"");
    }
    return value;
}

void parseWindow(const std::string& text, HalvoraSDKPeriod& period) {
    const auto dash = text.find('-');
    if (dash == std::string::npos || !parseTimeOfDay(text.substr(0, dash), period.startHour, period.startMinute) ||
        !parseTimeOfDay(text.substr(dash + 1), period.endHour, period.endMinute)) {
        bad("a window is HH:MM-HH:MM, got \"" + text + "\"");
    }
}

void parseDays(const std::string& text, HalvoraSDKPeriod& period) {
    const auto names = parseDayNames(text, "day list");
    const auto has = [&](const char* day) { return std::find(names.begin(), names.end(), day) != names.end(); };
    period.monday = has("mon");
    period.tuesday = has("tue");
    period.wednesday = has("wed");
    period.thursday = has("thu");
    period.friday = has("fri");
    period.saturday = has("sat");
    period.sunday = has("sun");
}

HalvoraSDKVitalAlarm parseVitalAlarm(const std::string& text) {
    HalvoraSDKVitalAlarm alarm;
    const auto slash = text.find('/');
    if (!parseTimeOfDay(text.substr(0, slash), alarm.hour, alarm.minute)) {
        bad("an alarm is HH:MM or HH:MM/DAYS, got \"" + text + "\"");
    }
    HalvoraSDKPeriod days;
    parseDays(slash == std::string::npos ? "daily" : text.substr(slash + 1), days);
    alarm.monday = days.monday;
    alarm.tuesday = days.tuesday;
    alarm.wednesday = days.wednesday;
    alarm.thursday = days.thursday;
    alarm.friday = days.friday;
    alarm.saturday = days.saturday;
    alarm.sunday = days.sunday;
    return alarm;
}

std::vector<VitalSettingPair> parseVitalSettingPairs(const std::vector<std::string>& words) {
    if (words.empty() || words.size() % 2 != 0) bad("settings come as KEY VALUE pairs");
    std::vector<VitalSettingPair> pairs;
    std::set<std::string> seen;
    for (std::size_t i = 0; i < words.size(); i += 2) {
        const auto& key = words[i];
        if (kSetKeys.count(key) == 0) bad("unknown setting \"" + key + "\"");
        if (!seen.insert(key).second) bad("setting \"" + key + "\" given twice");
        pairs.push_back({key, words[i + 1]});
    }
    return pairs;
}

}  // namespace halvora::cli
