#pragma once

#include <vector>

#include "halvora/Records/HalvoraSDKHeartBeatData.hpp"
#include "halvora/Records/HalvoraSDKSleepData.hpp"
#include "halvora/Records/HalvoraSDKStepData.hpp"

namespace halvora {

/// What one history download of a bracelet brought: its steps, sleep and heart-rate records, each list in
/// ascending order of date. A list the download had nothing for stays empty.
struct HalvoraSDKBraceletData {
    /// Step records.
    std::vector<HalvoraSDKStepData> stepsData;
    /// Sleep records.
    std::vector<HalvoraSDKSleepData> sleepData;
    /// Heart-rate records.
    std::vector<HalvoraSDKHeartBeatData> heartData;
};

}  // namespace halvora
