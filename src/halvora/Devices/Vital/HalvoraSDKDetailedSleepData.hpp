#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "halvora/Records/HalvoraSDKSleepData.hpp"

namespace halvora {

/// One sleep segment of the Vital bracelet: its start, its length in minutes and its deepness (1 deep,
/// 0 light).
struct HalvoraSDKDetailedSleepData : HalvoraSDKSleepData {
    /// Sleep values per five minutes; the Vital driver leaves it empty.
    std::vector<std::int32_t> sleepPer5Minutes;

    /// A segment starting at `date`.
    static HalvoraSDKDetailedSleepData initWith(Date date, std::int32_t sleepDuration, std::int32_t sleepDeepness,
                                                std::vector<std::int32_t> sleepPer5Minutes) {
        HalvoraSDKDetailedSleepData data;
        data.date = date;
        data.sleepDuration = sleepDuration;
        data.sleepDeepness = sleepDeepness;
        data.sleepPer5Minutes = std::move(sleepPer5Minutes);
        return data;
    }
};

}  // namespace halvora
