#pragma once

#include <cstdint>
#include <string>

namespace halvora {

/// The weather the Vital bracelet shows. Only the first eight bytes of `location` reach the bracelet.
struct HalvoraSDKVitalWeather {
    /// The weather symbol, one byte.
    std::int32_t status = 4;
    /// The current temperature, degrees, one byte.
    std::int32_t temperature = 20;
    /// The day's highest temperature, one byte.
    std::int32_t maxTemperature = 24;
    /// The day's lowest temperature, one byte.
    std::int32_t minTemperature = 0;
    /// The air-quality index, 16 bits.
    std::int32_t airQuality = 90;
    /// The place, UTF-8 (one byte per byte of its text, cut to 32).
    std::string location = "BARCELONA";

    /// Field-wise equality.
    bool operator==(const HalvoraSDKVitalWeather&) const = default;
};

}  // namespace halvora
