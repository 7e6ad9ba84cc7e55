#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "halvora/Core/Date.hpp"

namespace halvora {

/// Steps counted by a bracelet, with the distance and calories the kit estimates from them: the current
/// count of the day, or one stored interval of a history download. Shared by the bracelet families.
struct HalvoraSDKStepData {
    /// When the steps were counted (the reception time for a current count); absent in a new record.
    std::optional<Date> date;
    /// Number of steps.
    std::int32_t steps = 0;
    /// Estimated energy, kcal.
    double calories = 0;
    /// Estimated distance, km.
    double distance = 0;
    /// Heart rate, beats per minute, when the bracelet reports one with the steps.
    std::optional<std::int32_t> hr;
    /// Active time, as the bracelet reports it.
    std::optional<std::int32_t> activeTime;

    /// "Date: yyyy-MM-dd HH:mm:ss\nSteps: %d\nCalories: %d\nDistance: %.2f" (no final line feed): the date in
    /// local time ("(null)" when absent), the calories cut to a whole number toward zero.
    std::string print() const;
};

}  // namespace halvora
