#pragma once

#include <cstdint>
#include <string>

#include "halvora/Core/DeviceType.hpp"

namespace halvora {

/// Connection changes, battery levels and device information of every device kind (`deviceDelegate`).
/// Empty defaults. Queues as for HalvoraSDKManagerDelegate; battery levels and information arrive on
/// "halvora.cb".
class HalvoraDeviceDelegate {
public:
    virtual ~HalvoraDeviceDelegate() = default;

    /// Status -1 disconnected, 0 searching, 1 connected, 2 ready.
    virtual void deviceOnConnectionChanged(DeviceKind /*kind*/, std::int32_t /*status*/) {}
    /// Battery level in percent, as the device reports it.
    virtual void deviceOnBatteryLevelReceived(DeviceKind /*kind*/, std::int32_t /*level*/) {}
    /// A message a device reports about itself (the RM830 bracelet's firmware version and update check).
    virtual void deviceOnSendInformation(DeviceKind /*kind*/, const std::string& /*information*/) {}
};

}  // namespace halvora
