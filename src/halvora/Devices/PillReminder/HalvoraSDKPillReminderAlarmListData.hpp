#pragma once

#include <variant>
#include <vector>

#include "halvora/Devices/PillReminder/HalvoraSDKPillReminderAlarmData.hpp"
#include "halvora/Devices/PillReminder/HalvoraSDKPillReminderData.hpp"
#include "halvora/Devices/PillReminder/HalvoraSDKPillReminderPerformanceData.hpp"

namespace halvora {

/// an entry of a list: an alarm (request 9) or a performance record (request 10)
using HalvoraSDKPillReminderAlarmEntry =
    std::variant<HalvoraSDKPillReminderAlarmData, HalvoraSDKPillReminderPerformanceData>;

/// A list the pill box reported: its alarm schedule (request 9, every entry an alarm) or its taken/missed
/// history (request 10, every entry a performance record), in the order the box sent them.
struct HalvoraSDKPillReminderAlarmListData : HalvoraSDKPillReminderData {
    /// The alarms or the performance records.
    std::vector<HalvoraSDKPillReminderAlarmEntry> alarmList;
};

}  // namespace halvora
