// How `halvora bracelet set` reads its values and turns them into the kit's calls.
#include "BraceletSettingsText.hpp"

#include <cstdio>
#include <ctime>
#include <map>
#include <sstream>

#include "CliError.hpp"
#include "TimeTexts.hpp"
#include "halvora/Core/Calendar.hpp"
#include "halvora/Devices/Bracelet/HalvoraSDKBracelet.hpp"

namespace halvora::cli {

namespace {

[[noreturn]] void bad(const std::string& what) {
    throw CliError(ExitBadArguments, what);
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::stringstream in(text);
    std::string part;
    while (std::getline(in, part, separator)) parts.push_back(part);
    return parts;
}

void setDays(HalvoraSDKBraceletAlarm& alarm, const std::string& days) {
    static const std::map<std::string, bool HalvoraSDKBraceletAlarm::*> kDays = {
        {"mon", &HalvoraSDKBraceletAlarm::monday},    {"tue", &HalvoraSDKBraceletAlarm::tuesday},
        {"wed", &HalvoraSDKBraceletAlarm::wednesday}, {"thu", &HalvoraSDKBraceletAlarm::thursday},
        {"fri", &HalvoraSDKBraceletAlarm::friday},    {"sat", &HalvoraSDKBraceletAlarm::saturday},
        {"sun", &HalvoraSDKBraceletAlarm::sunday}};
    for (const auto& name : parseDayNames(days, "alarm")) alarm.*(kDays.at(name)) = true;
}

void addFlag(std::vector<SettingStep>& plan, const std::optional<int>& value, const char* label, std::int32_t code,
             void (HalvoraSDKManager::*operation)(std::int32_t)) {
    if (!value) return;
    if (*value != 0 && *value != 1) bad(std::string(label) + " takes 0 or 1");
    const int v = *value;
    plan.push_back({label, [operation, v](HalvoraSDKManager& m) { (m.*operation)(v); }, code, {}, {}, 1});
}

void addNumber(std::vector<SettingStep>& plan, const std::optional<int>& value, const char* label, std::int32_t code,
               int low, int high, void (HalvoraSDKManager::*operation)(std::int32_t)) {
    if (!value) return;
    if (*value < low || *value > high)
        bad(std::string(label) + " must be from " + std::to_string(low) + " to " + std::to_string(high));
    const int v = *value;
    plan.push_back({label, [operation, v](HalvoraSDKManager& m) { (m.*operation)(v); }, code, {}, {}, 1});
}

}  // namespace

HalvoraSDKBraceletAlarm parseAlarm(const std::string& text) {
    const auto parts = split(text, ',');
    if (parts.size() != 3 || (parts[0] != "1" && parts[0] != "2")) {
        bad("an alarm is N,DAYS,HH:MM (N 1 or 2), got \"" + text + "\"");
    }
    HalvoraSDKBraceletAlarm alarm;
    alarm.secondaryAlarm = parts[0] == "2";
    setDays(alarm, parts[1]);
    if (!parseTimeOfDay(parts[2], alarm.hour, alarm.minute))
        bad("the alarm's time must be HH:MM, got \"" + parts[2] + "\"");
    return alarm;
}

HalvoraSDKBraceletSedentaryAlarm parseSedentary(const std::string& text) {
    const auto parts = split(text, ',');
    HalvoraSDKBraceletSedentaryAlarm alarm;
    if (parts.size() != 3) bad("a sedentary reminder is MINUTES,HH:MM,HH:MM, got \"" + text + "\"");
    try {
        alarm.interval = std::stoi(parts[0]);
    } catch (const std::exception&) {
        bad("the sedentary interval must be a number of minutes, got \"" + parts[0] + "\"");
    }
    if (alarm.interval < 1 || alarm.interval > 999) bad("the sedentary interval must be from 1 to 999 minutes");
    if (!parseTimeOfDay(parts[1], alarm.startHour, alarm.startMinute) ||
        !parseTimeOfDay(parts[2], alarm.endHour, alarm.endMinute)) {
        bad("the sedentary reminder's times must be HH:MM");
    }
    return alarm;
}

Date parseBraceletDate(const std::string& text, Session& session) {
    if (text == "now") return session.manager().environment().executor->date();
    std::tm local{};
    char extra = 0;
    if (std::sscanf(text.c_str(), "%4d-%2d-%2d %2d:%2d%c", &local.tm_year, &local.tm_mon, &local.tm_mday,
                    &local.tm_hour, &local.tm_min, &extra) != 5) {
        bad("the date must be \"now\" or \"yyyy-MM-dd HH:mm\", got \"" + text + "\"");
    }
    local.tm_year -= 1900;
    local.tm_mon -= 1;
    local.tm_isdst = -1;
    return Calendar::fromLocal(local);
}

std::string trimmedLine(const std::string& text) {
    std::string out = text;
    while (!out.empty() && (out.back() == '\n' || out.back() == '\r')) out.pop_back();
    return out;
}

std::vector<SettingStep> settingsPlan(const BraceletSettings& s, Session& session) {
    using M = HalvoraSDKManager;
    std::vector<SettingStep> plan;
    if (s.units) {
        // The bracelet's answer to a unit change carries no confirmation the kit reports.
        // The manager has no operation for it: the tool asks the bracelet's driver itself.
        const int unit = *s.units;
        plan.push_back({"units",
                        [unit](M& m) {
                            // Driver commands run on the driver's callback queue, like the manager's.
                            auto bracelet =
                                std::dynamic_pointer_cast<HalvoraSDKBracelet>(m.driverForKind(DeviceTypeBracelet));
                            auto queue = bracelet ? bracelet->context().callbackQueue : nullptr;
                            if (queue) queue->async([bracelet, unit] { bracelet->configureDistanceUnit(unit); });
                        },
                        {},
                        {},
                        {},
                        1});
    }
    if (s.date) {
        const Date date = parseBraceletDate(*s.date, session);
        plan.push_back({"date", [date](M& m) { m.configureBraceletDate(date); }, 2, {}, {}, 1});
    }
    addNumber(plan, s.height, "height", 0, 1, 300, &M::configureBraceletUserHeight);
    addNumber(plan, s.weight, "weight", 1, 1, 500, &M::configureBraceletUserWeight);
    addNumber(plan, s.goal, "goal", 3, 1, 9999999, &M::configureBraceletStepTarget);
    if (!s.ancs.empty()) {
        std::vector<std::int32_t> values(s.ancs.begin(), s.ancs.end());
        plan.push_back({"notifications", [values](M& m) { m.configureBraceletACNS(values); }, 4, {}, {}, 1});
    }
    addFlag(plan, s.raiseHand, "raise-hand", 5, &M::configureBraceletRiseHand);
    addFlag(plan, s.findPhone, "find-phone", 6, &M::configureBraceletSettingFindPhone);
    addFlag(plan, s.hrMonitor, "hr-monitor", 7, &M::configureBraceletMonitorHeartRate);
    addFlag(plan, s.antiLost, "anti-lost", 9, &M::configureBraceletAntitheft);
    if (s.sedentary) {
        if (*s.sedentary == "off") {
            plan.push_back({"sedentary", [](M& m) { m.disableBraceletSedentaryAlarm(); }, 10, {}, {}, 1});
        } else {
            const auto alarm = parseSedentary(*s.sedentary);
            plan.push_back({"sedentary", [alarm](M& m) { m.configureBraceletSedentaryAlarm(alarm); }, 10, {}, {}, 1});
        }
    }
    std::size_t alarms = 0;
    for (const auto& text : s.alarms) {
        ++alarms;
        const auto parts = split(text, ',');
        if (parts.size() == 2 && parts[1] == "off" && (parts[0] == "1" || parts[0] == "2")) {
            const bool secondary = parts[0] == "2";
            plan.push_back(
                {"alarm " + parts[0], [secondary](M& m) { m.disableBraceletAlarm(secondary); }, 11, 12, {}, alarms});
        } else {
            const auto alarm = parseAlarm(text);
            plan.push_back({std::string("alarm ") + (alarm.secondaryAlarm ? "2" : "1"),
                            [alarm](M& m) { m.configureBraceletAlarm(alarm); },
                            11,
                            12,
                            {},
                            alarms});
        }
    }
    if (s.text) {
        const std::string text = *s.text;
        plan.push_back({"text", [text](M& m) { m.sendTextToRM610HR(text); }, {}, {}, "Text sent", 1});
    }
    return plan;
}

}  // namespace halvora::cli
