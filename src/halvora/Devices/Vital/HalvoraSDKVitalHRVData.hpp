#pragma once

#include <cstdint>

#include "halvora/Core/Date.hpp"

namespace halvora {

/// One stored HRV measurement of the Vital bracelet with the estimates it makes from it (each 0 to 255).
struct HalvoraSDKVitalHRVData {
    /// When it was measured, local time.
    Date date{};
    /// Heart-rate variability.
    std::int32_t hrv = 0;
    /// Vascular ageing index.
    std::int32_t vascularAging = 0;
    /// Heart rate, beats per minute.
    std::int32_t heartRate = 0;
    /// Fatigue index.
    std::int32_t fatigue = 0;
    /// Systolic pressure estimate, mmHg.
    std::int32_t systolic = 0;
    /// Diastolic pressure estimate, mmHg.
    std::int32_t diastolic = 0;
};

}  // namespace halvora
