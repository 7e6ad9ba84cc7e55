#pragma once

#include <cstdint>

#include "halvora/Core/Date.hpp"

namespace halvora {

/// The Vital bracelet's totals of one day, from its daily-totals history.
struct HalvoraSDKStepSummaryData {
    /// Midnight of the day, local time.
    Date date{};
    /// Steps of the day.
    std::int32_t totalSteps = 0;
    /// Energy of the day, kcal.
    double totalCalories = 0;
    /// Distance of the day, km.
    double totalDistance = 0;
    /// Active time of the day, minutes.
    std::int32_t totalActiveTime = 0;
    /// Exercise time of the day, seconds.
    std::int32_t totalExerciseTime = 0;
};

}  // namespace halvora
