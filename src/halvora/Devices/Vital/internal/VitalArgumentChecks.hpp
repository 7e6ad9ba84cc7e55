#pragma once

#include <cstdint>
#include <optional>

#include "halvora/Devices/Vital/HalvoraSDKVitalActivityPeriod.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalParams.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalPeriod.hpp"

namespace halvora {

/// The argument checks of the Vital settings, each giving the error number of the first check that fails
/// (in the order listed), or nothing when the arguments may be sent.
class VitalArgumentChecks {
public:
    VitalArgumentChecks() = delete;

    /// Device parameters: no notifications 0; heart-rate base outside 40 to 255 3; brightness outside 0 to
    /// 15 4; dial outside 0 to 9 5.
    static std::optional<std::int32_t> checkVitalParameters(const HalvoraSDKVitalParams& parameters);
    /// Activity period: reminder period of 256 or more 7; minimum steps of 256 or more 8; invalid window 6.
    static std::optional<std::int32_t> checkActivityPeriod(const HalvoraSDKVitalActivityPeriod& period);
    /// Automatic detection: in mode 2 an interval of 65536 or more 2; in any mode but 0 an invalid window 6.
    static std::optional<std::int32_t> checkAutomaticDetection(const HalvoraSDKVitalPeriod& period);
    /// Sport mode: a time period of 256 or more 2.
    static std::optional<std::int32_t> checkSportTimePeriod(std::int32_t timePeriod);
};

}  // namespace halvora
