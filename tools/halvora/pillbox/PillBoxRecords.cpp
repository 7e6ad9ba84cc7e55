#include "PillBoxRecords.hpp"

#include <ctime>

#include "RecordJson.hpp"
#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora::cli {

namespace {

/// The box's taken status codes, as the lab box documents them.
constexpr std::int32_t kOnTime = 0;
constexpr std::int32_t kLate = 1;
constexpr std::int32_t kMissed = 2;
constexpr std::int32_t kSkipped = 3;

std::string dayText(Date date) {
    const std::tm t = Calendar::toLocal(date);
    return format("%04d-%02d-%02d", t.tm_year + 1900, t.tm_mon + 1, t.tm_mday);
}

std::string timeText(Date date) {
    const std::tm t = Calendar::toLocal(date);
    return format("%02d:%02d", t.tm_hour, t.tm_min);
}

nlohmann::json colorJson(std::optional<int> color) {
    return color ? nlohmann::json(*color) : nlohmann::json(nullptr);
}

}  // namespace

const std::vector<std::string> kScheduleColumns = {"date", "time", "color"};
const std::vector<std::string> kHistoryColumns = {"date", "color", "dateTaken", "statusTaken", "status"};

HalvoraSDKPillReminderAlarmData toAlarm(const PillScheduleEntry& entry) {
    std::tm local{};
    local.tm_year = entry.year - 1900;
    local.tm_mon = entry.month - 1;
    local.tm_mday = entry.day;
    local.tm_hour = entry.hour;
    local.tm_min = entry.minute;
    local.tm_isdst = -1;
    HalvoraSDKPillReminderAlarmData alarm;
    alarm.date = Calendar::fromLocal(local);
    alarm.color = entry.color;
    return alarm;
}

std::vector<std::string> alarmFields(const HalvoraSDKPillReminderAlarmData& alarm) {
    return {dayText(alarm.date), timeText(alarm.date), std::to_string(alarm.color)};
}

nlohmann::json alarmJson(const HalvoraSDKPillReminderAlarmData& alarm) {
    return {{"date", dayText(alarm.date)}, {"time", timeText(alarm.date)}, {"color", alarm.color}};
}

std::string doseStatusText(std::int32_t statusTaken) {
    switch (statusTaken) {
        case kOnTime:
            return "on time";
        case kLate:
            return "late";
        case kMissed:
            return "missed";
        case kSkipped:
            return "skipped";
        default:
            return format("status %d", statusTaken);
    }
}

bool doseTaken(std::int32_t statusTaken) {
    return statusTaken == kOnTime || statusTaken == kLate;
}

bool doseHasTakenTime(std::int32_t statusTaken) {
    return statusTaken != kMissed;
}

std::vector<std::string> doseFields(const HalvoraSDKPillReminderPerformanceData& dose, std::optional<int> color) {
    return {Calendar::formatDateTime(dose.date), color ? std::to_string(*color) : "",
            Calendar::formatDateTime(dose.dateTaken), std::to_string(dose.statusTaken),
            doseStatusText(dose.statusTaken)};
}

nlohmann::json doseJson(const HalvoraSDKPillReminderPerformanceData& dose, std::optional<int> color) {
    return {{"date", isoDate(dose.date)},
            {"color", colorJson(color)},
            {"dateTaken", isoDate(dose.dateTaken)},
            {"statusTaken", dose.statusTaken},
            {"status", doseStatusText(dose.statusTaken)}};
}

std::optional<int> plannedColor(const std::vector<HalvoraSDKPillReminderAlarmData>& schedule, Date date) {
    std::optional<int> found;
    for (const auto& alarm : schedule) {
        if (alarm.date != date) continue;
        if (found && *found != alarm.color) return std::nullopt;
        found = alarm.color;
    }
    return found;
}

}  // namespace halvora::cli
