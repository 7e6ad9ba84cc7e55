#pragma once

#include <cstdint>

#include "halvora/Records/HalvoraSDKHeartData.hpp"

namespace halvora {

/// The blood-pressure monitor's application delegate (`heartDelegate`). Empty defaults.
/// Progress and results arrive on "halvora.cb".
class HalvoraHeartDelegate {
public:
    virtual ~HalvoraHeartDelegate() = default;

    virtual void heartDeviceOnConnectionChanged(std::int32_t /*status*/) {}
    virtual void heartDeviceOnProgressMeasurement(std::int32_t /*value*/) {}
    virtual void heartDeviceOnResult(const HalvoraSDKHeartData& /*data*/) {}
};

}  // namespace halvora
