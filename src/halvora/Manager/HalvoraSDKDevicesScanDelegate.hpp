#pragma once

#include "halvora/Manager/ScanResult.hpp"

namespace halvora {

/// Receives the scan result every 4 seconds while a scan for all devices runs (`devicesScanDelegate`),
/// on the main queue.
class HalvoraSDKDevicesScanDelegate {
public:
    virtual ~HalvoraSDKDevicesScanDelegate() = default;

    /// A snapshot of the manager's scan table taken at the moment of the call.
    virtual void allDevicesDetected(const ScanResult& /*devices*/) {}
};

}  // namespace halvora
