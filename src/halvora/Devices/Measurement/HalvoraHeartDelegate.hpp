#pragma once

#include <cstdint>

#include "halvora/Records/HalvoraSDKHeartData.hpp"

namespace halvora {

/// The blood-pressure monitor's application delegate (`heartDelegate`). Empty defaults.
/// Progress and results arrive on "halvora.cb".
class HalvoraHeartDelegate {
public:
    virtual ~HalvoraHeartDelegate() = default;

    /// Kept for applications that share one object between delegates: the kit sends the monitor's connection
    /// status to the manager's general delegate and device delegate, never to this one.
    virtual void heartDeviceOnConnectionChanged(std::int32_t /*status*/) {}
    /// A cuff pressure while the monitor measures, mmHg as the monitor sends it (the first generation's
    /// two-byte value arrives with its high byte in bits 16-23).
    virtual void heartDeviceOnProgressMeasurement(std::int32_t /*value*/) {}
    /// A result, or a failed measurement (errorCode set, the other values absent).
    virtual void heartDeviceOnResult(const HalvoraSDKHeartData& /*data*/) {}
};

}  // namespace halvora
