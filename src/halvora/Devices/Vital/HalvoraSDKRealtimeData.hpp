#pragma once

#include <cstdint>

namespace halvora {

/// One real-time reading the Vital bracelet streams after `setRealtimeStepCounting`: answer 0x09 with the
/// steps in bytes 1 to 4 (little-endian), the heart rate in byte 5 and the temperature in tenths of a degree
/// Celsius in bytes 6 and 7 (little-endian).
struct HalvoraSDKRealtimeData {
    /// Steps counted today.
    std::int32_t steps = 0;
    /// Heart rate, beats per minute.
    std::int32_t heartRate = 0;
    /// Skin temperature, degrees Celsius.
    double temperature = 0;

    /// Field-wise equality.
    bool operator==(const HalvoraSDKRealtimeData&) const = default;
};

}  // namespace halvora
