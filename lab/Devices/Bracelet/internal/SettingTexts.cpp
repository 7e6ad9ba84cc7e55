#include "lab/Devices/Bracelet/internal/SettingTexts.hpp"

#include "halvora/Core/Format.hpp"
#include "lab/Devices/Bracelet/internal/BraceletText.hpp"

namespace halvora::lab {

namespace {

constexpr std::size_t kAlarmFields = 4;
constexpr std::size_t kSedentaryFields = 4;
constexpr std::size_t kDayFieldLength = 8;
constexpr std::size_t kWeekDays = 7;

/// "0" or "1".
std::optional<bool> onOff(const std::string& text) {
    if (text == "0") return false;
    if (text == "1") return true;
    return std::nullopt;
}

/// Exactly `count` decimal digits.
std::optional<int> fixedDigits(const std::string& text, std::size_t count) {
    if (text.size() != count) return std::nullopt;
    const auto value = braceletDecimal(text, count);
    if (!value) return std::nullopt;
    return static_cast<int>(*value);
}

/// "HHmm" with a real hour and minute.
bool readClockTime(const std::string& text, int& hour, int& minute) {
    const auto value = fixedDigits(text, 4);
    if (!value || *value / 100 > 23 || *value % 100 > 59) return false;
    hour = *value / 100;
    minute = *value % 100;
    return true;
}

}  // namespace

std::optional<BraceletSettings::Alarm> parseAlarmArgument(const std::string& argument) {
    const auto fields = braceletFields(argument, ',');
    if (fields.size() != kAlarmFields) return std::nullopt;
    BraceletSettings::Alarm alarm;
    const auto enabled = onOff(fields[0]);
    if (!enabled || !fixedDigits(fields[1], 2) || fields[2].size() != kDayFieldLength) return std::nullopt;
    alarm.enabled = *enabled;
    alarm.mode = fields[1];
    for (std::size_t i = 0; i < kDayFieldLength; ++i) {
        const auto set = onOff(fields[2].substr(i, 1));
        if (!set) return std::nullopt;
        if (i < kWeekDays) {
            alarm.days[i] = *set;
        } else {
            alarm.dayFieldEnd = *set;
        }
    }
    if (!readClockTime(fields[3], alarm.hour, alarm.minute)) return std::nullopt;
    return alarm;
}

std::string alarmArgument(const BraceletSettings::Alarm& alarm) {
    std::string days;
    for (bool set : alarm.days) days += set ? '1' : '0';
    days += alarm.dayFieldEnd ? '1' : '0';
    return format("%d,%s,%s,%02d%02d", alarm.enabled ? 1 : 0, alarm.mode.c_str(), days.c_str(), alarm.hour,
                  alarm.minute);
}

std::optional<BraceletSettings::Sedentary> parseSedentaryArgument(const std::string& argument) {
    const auto fields = braceletFields(argument, ',');
    if (fields.size() != kSedentaryFields) return std::nullopt;
    BraceletSettings::Sedentary sedentary;
    const auto interval = fixedDigits(fields[0], 3);
    const auto enabled = onOff(fields[3]);
    if (!interval || !enabled) return std::nullopt;
    if (!readClockTime(fields[1], sedentary.startHour, sedentary.startMinute) ||
        !readClockTime(fields[2], sedentary.endHour, sedentary.endMinute)) {
        return std::nullopt;
    }
    sedentary.interval = *interval;
    sedentary.enabled = *enabled;
    return sedentary;
}

std::string sedentaryArgument(const BraceletSettings::Sedentary& sedentary) {
    return format("%03d,%02d%02d,%02d%02d,%d", sedentary.interval, sedentary.startHour, sedentary.startMinute,
                  sedentary.endHour, sedentary.endMinute, sedentary.enabled ? 1 : 0);
}

}  // namespace halvora::lab
