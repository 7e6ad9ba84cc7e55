#pragma once

#include <cstdint>

namespace halvora {

/// One window of the wrist blood-pressure bracelet's ambulatory schedule: the bracelet measures on its own
/// from the start to the end, every period. Times fall on the hour or on the half hour.
struct HalvoraSDKTensioBraceletInterval {
    /// Hour the window opens, 0 to 23.
    std::int32_t startHour = 0;
    /// Non-zero: the window opens at half past `startHour`; zero: on the hour.
    std::int32_t startMinuteInterval = 0;
    /// Hour the window closes, 0 to 23.
    std::int32_t endHour = 0;
    /// Non-zero: the window closes at half past `endHour`; zero: on the hour.
    std::int32_t endMinuteInterval = 0;
    /// The measuring period: code c below 8 is (c + 1) x 30 minutes, sent as one byte (0 gives 30 minutes, 1
    /// gives 60, 7 gives 240; a negative code wraps, -2 gives the byte 226); 8 and above are sent as 0.
    std::int32_t ambulatoriInterval = 0;
};

}  // namespace halvora
