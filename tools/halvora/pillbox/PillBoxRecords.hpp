#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "PillScheduleFile.hpp"
#include "halvora/Devices/PillReminder/HalvoraSDKPillReminderAlarmData.hpp"
#include "halvora/Devices/PillReminder/HalvoraSDKPillReminderPerformanceData.hpp"

namespace halvora::cli {

// How the pillbox commands show the box's alarms and its taken/missed history.
//
// An alarm is shown as the schedule files write it (date "YYYY-MM-DD", time "HH:MM" and color, the box's
// local wall-clock time), so that what `schedule get --json` or `--csv` writes can be given back to
// `schedule set`. A history entry shows its planned and taken times in local time (ISO 8601 in UTC with
// --json, as the other families' records), and its status as the box codes it.

/// The columns of a schedule: the schedule files' fields.
extern const std::vector<std::string> kScheduleColumns;
/// The fields of a history entry, in the order of its CSV columns.
extern const std::vector<std::string> kHistoryColumns;

/// The alarm a schedule file describes: its day and time in local time, seconds 0.
HalvoraSDKPillReminderAlarmData toAlarm(const PillScheduleEntry& entry);
/// "YYYY-MM-DD", "HH:MM" and the colour.
std::vector<std::string> alarmFields(const HalvoraSDKPillReminderAlarmData& alarm);
/// {"date": "YYYY-MM-DD", "time": "HH:MM", "color": N}.
nlohmann::json alarmJson(const HalvoraSDKPillReminderAlarmData& alarm);

/// The box's taken status in words. The protocol leaves the values open; these are the lab box's
/// (lab::PillBoxDose::Status): 0 "on time" (confirmed within the confirmation time), 1 "late" (confirmed
/// after it), 2 "missed" (never confirmed), 3 "skipped" (dismissed without taking it). Others read
/// "status N".
std::string doseStatusText(std::int32_t statusTaken);
/// Whether the status says the dose was taken (on time or late).
bool doseTaken(std::int32_t statusTaken);
/// Whether the entry has a time taken worth showing (not for a missed dose, whose time reads 00:00).
bool doseHasTakenTime(std::int32_t statusTaken);
/// A history entry's fields, for a CSV row (`color` from the schedule, when it has an alarm at that time).
std::vector<std::string> doseFields(const HalvoraSDKPillReminderPerformanceData& dose, std::optional<int> color);
/// The entry with its field names as keys, and its status in words.
nlohmann::json doseJson(const HalvoraSDKPillReminderPerformanceData& dose, std::optional<int> color);
/// The colour of the alarm planned at `date` in `schedule` (the history does not carry it), if exactly one
/// colour is planned then.
std::optional<int> plannedColor(const std::vector<HalvoraSDKPillReminderAlarmData>& schedule, Date date);

}  // namespace halvora::cli
