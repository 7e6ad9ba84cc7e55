#pragma once

#include <cstdint>
#include <vector>

#include "halvora/Devices/Tensio/HalvoraSDKTensioBraceletInterval.hpp"

namespace halvora {

/// Whether a list of ambulatory windows may go to the wrist blood-pressure bracelet: no window starts or ends
/// strictly inside an earlier one of the list (touching ends are not inside). A list of one window (or none)
/// always may.
class TensioIntervalCheck {
public:
    TensioIntervalCheck() = delete;

    /// The check above, each time as minutes since midnight (hour x 60, plus 30 at half past).
    static bool accepts(const std::vector<HalvoraSDKTensioBraceletInterval>& windows);
    /// Minutes since midnight of an hour and its half-past flag.
    static std::int64_t minutes(std::int32_t hour, std::int32_t halfPast);
};

}  // namespace halvora
