#pragma once

#include <cstdint>

#include "halvora/Core/DeviceType.hpp"

namespace halvora {

/// Connection changes and battery levels of every device kind (`deviceDelegate`). Empty defaults.
/// Queues as for HalvoraSDKManagerDelegate; battery levels arrive on "halvora.cb".
class HalvoraDeviceDelegate {
public:
    virtual ~HalvoraDeviceDelegate() = default;

    /// Status -1 disconnected, 0 searching, 1 connected, 2 ready.
    virtual void deviceOnConnectionChanged(DeviceKind /*kind*/, std::int32_t /*status*/) {}
    /// Battery level in percent, as the device reports it.
    virtual void deviceOnBatteryLevelReceived(DeviceKind /*kind*/, std::int32_t /*level*/) {}
};

}  // namespace halvora
