#pragma once

#include <cstdint>

namespace halvora {

/// A bracelet's sedentary reminder: the daily window in which it reminds the wearer to move, and how often.
struct HalvoraSDKBraceletSedentaryAlarm {
    /// Start of the window, hour.
    std::int32_t startHour = 0;
    /// Start of the window, minute.
    std::int32_t startMinute = 0;
    /// End of the window, hour.
    std::int32_t endHour = 23;
    /// End of the window, minute.
    std::int32_t endMinute = 59;
    /// Minutes between reminders.
    std::int32_t interval = 30;
};

}  // namespace halvora
