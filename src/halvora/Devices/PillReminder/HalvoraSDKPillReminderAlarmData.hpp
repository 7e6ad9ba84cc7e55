#pragma once

#include <cstdint>

#include "halvora/Devices/PillReminder/HalvoraSDKPillReminderData.hpp"

namespace halvora {

/// One alarm of the pill box's schedule: `date` is the day and time of day it rings (seconds 0, local time),
/// `color` the pill compartment (1 to 5). The same record describes an alarm to write and one read back.
struct HalvoraSDKPillReminderAlarmData : HalvoraSDKPillReminderData {
    /// The compartment colour, 1 to 5 (others are refused when a schedule is written).
    std::int32_t color = 0;
};

}  // namespace halvora
