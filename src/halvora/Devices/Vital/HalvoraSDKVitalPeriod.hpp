#pragma once

#include <cstdint>

#include "halvora/Devices/Vital/HalvoraSDKPeriod.hpp"

namespace halvora {

/// The Vital bracelet's automatic measurement schedule of one quantity.
struct HalvoraSDKVitalPeriod : HalvoraSDKPeriod {
    /// 0 off, 1 within the window, 2 within the window at `intervalTime`.
    std::int32_t workingMode = 0;
    /// Minutes between measurements in mode 2, 0 to 65535.
    std::int32_t intervalTime = 0;
    /// The quantity: 0 heart rate, 1 blood oxygen, 2 temperature (sent as the bracelet's codes 1, 3 and 2).
    std::int32_t type = 0;

    /// Field-wise equality.
    bool operator==(const HalvoraSDKVitalPeriod&) const = default;
};

}  // namespace halvora
