#pragma once

#include <cstdint>

#include "halvora/Core/Date.hpp"

namespace halvora {

/// One stored sport session of the Vital bracelet. The numbers are as the bracelet reports them.
struct HalvoraSDKSportData {
    /// Start of the session, local time.
    Date date{};
    /// Heart rate, beats per minute.
    std::int32_t hr = 0;
    /// Steps.
    std::int32_t steps = 0;
    /// Energy, as the bracelet counts it.
    std::int32_t calories = 0;
    /// Distance, as the bracelet counts it.
    std::int32_t distance = 0;
    /// Active time, as the bracelet counts it.
    std::int32_t activeTime = 0;
    /// Exercise time, as the bracelet counts it.
    std::int32_t exerciseTime = 0;
    /// The bracelet's sport kind.
    std::int32_t sportType = 0;
};

}  // namespace halvora
