#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "halvora/Records/HalvoraSDKStepData.hpp"

namespace halvora {

/// One stored step interval of the Vital bracelet: the steps, calories and distance from `date` on, and the
/// steps of each of its ten minutes.
struct HalvoraSDKDetailedStepData : HalvoraSDKStepData {
    /// Steps of each minute of the interval, ten values.
    std::vector<std::int32_t> stepsPerMinute;

    /// A record starting at `date` with the given values.
    static HalvoraSDKDetailedStepData initWith(Date date, std::int32_t steps, double calories, double distance,
                                               std::vector<std::int32_t> stepsPerMinute) {
        HalvoraSDKDetailedStepData data;
        data.date = date;
        data.steps = steps;
        data.calories = calories;
        data.distance = distance;
        data.stepsPerMinute = std::move(stepsPerMinute);
        return data;
    }
};

}  // namespace halvora
