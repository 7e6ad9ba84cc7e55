#pragma once

#include <cstdint>

#include "halvora/Records/HalvoraSDKHeartData.hpp"

namespace halvora {

/// The manager's general delegate (`delegate`): Bluetooth power and the blood-pressure monitor's connection,
/// progress and results. Every method has an empty default, so an application overrides only what it wants.
///
/// Queues: bluetoothPoweredOn and connection changes from the central arrive on "halvora.cb"; status 0 and
/// "already connected" on "halvora.connection"; status 2 (ready) on the main queue; progress and results on
/// "halvora.cb". Callbacks are made without any lock of the kit held.
class HalvoraSDKManagerDelegate {
public:
    virtual ~HalvoraSDKManagerDelegate() = default;

    /// Sent whenever the manager's powered-on flag changes.
    virtual void bluetoothPoweredOn(bool /*poweredOn*/) {}
    /// Connection status of the blood-pressure monitor (kind 0).
    virtual void heartDeviceOnConnectionChanged(std::int32_t /*status*/) {}
    /// A cuff pressure (or progress value) from the blood-pressure monitor.
    virtual void heartDeviceOnProgressMeasurement(std::int32_t /*value*/) {}
    /// A result, or a failed measurement (errorCode set).
    virtual void heartDeviceOnResult(const HalvoraSDKHeartData& /*data*/) {}
};

}  // namespace halvora
