#pragma once

#include <optional>
#include <string>
#include <vector>

#include "PillBoxSession.hpp"
#include "Session.hpp"
#include "halvora/Devices/PillReminder/HalvoraSDKPillReminderAlarmData.hpp"
#include "halvora/Devices/PillReminder/HalvoraSDKPillReminderPerformanceData.hpp"

namespace halvora::cli {

// The pill box's commands. Each connects the box, asks, waits for the answer and prints it through the
// session's printer, the box's messages as they come; it returns the exit status, or throws CliError with a
// one-line reason (exit 2 for bad arguments or a bad schedule file, found before anything is sent; 4 for an
// error the box reported, with its message, or an answer that did not come).

/// What `halvora pillbox set` changes, in one connection (in this order: zone, clock, alarm duration,
/// confirmation time, synchronisation mark).
struct PillBoxSettings {
    std::optional<std::string> zone;  ///< "+HH:MM" or "-HH:MM"
    bool time = false;                ///< the phone's clock
    std::optional<int> duration;      ///< alarm duration, one byte in the box's units
    std::optional<int> confirmation;  ///< confirmation time, one byte in the box's units
    bool markSynchronized = false;    ///< mark a successful synchronisation
};

/// A zone "+HH:MM" or "-HH:MM" as the kit sends it: signed hours and minutes. Throws
/// CliError(ExitBadArguments) for a zone the kit refuses without a word (hours outside -12..12, or a zone
/// west of UTC with minutes, which it would send as negative minutes).
std::pair<int, int> parsePillBoxZone(const std::string& text);

/// Writes `alarms` through the kit (clearing the box first) and waits for the whole write: every frame's
/// reply, then the synchronisation mark. Throws with the box's first error message once the write ended.
void writePillSchedule(PillBoxSession& box, const std::vector<HalvoraSDKPillReminderAlarmData>& alarms);
/// The alarms the box holds, in the order it sent them.
std::vector<HalvoraSDKPillReminderAlarmData> readPillSchedule(PillBoxSession& box);
/// The box's taken/missed history, in the order it sent it.
std::vector<HalvoraSDKPillReminderPerformanceData> readPillHistory(PillBoxSession& box);
/// "3 doses: 2 taken (1 late), 1 missed".
std::string doseSummary(const std::vector<HalvoraSDKPillReminderPerformanceData>& doses);

int runPillBoxTime(Session& session, double timeout);
int runPillBoxSetTime(Session& session, double timeout);
int runPillBoxZone(Session& session, double timeout);
int runPillBoxBattery(Session& session, double timeout);
int runPillBoxSyncStatus(Session& session, bool mark, double timeout);
int runPillBoxDuration(Session& session, int value, double timeout);
int runPillBoxConfirmation(Session& session, int value, double timeout);
int runPillBoxClearSchedule(Session& session, double timeout);
int runPillBoxClearHistory(Session& session, double timeout);
int runPillBoxSet(Session& session, const PillBoxSettings& settings, double timeout);
int runPillBoxScheduleGet(Session& session, const std::optional<std::string>& csvPath, double timeout);
int runPillBoxScheduleSet(Session& session, const std::string& path, double timeout);
int runPillBoxHistory(Session& session, const std::optional<std::string>& csvPath, double timeout);

}  // namespace halvora::cli
