#pragma once

#include <cstdint>
#include <memory>

#include "halvora/Core/DeviceReport.hpp"

namespace halvora {

class BLEDevice;

/// What a driver reports to its owner (the manager). Every report is optional; the defaults do nothing.
/// Reports are made on the driver's callback queue ("halvora.cb").
class BLEDeviceDelegate {
public:
    virtual ~BLEDeviceDelegate() = default;

    /// The link is up and service discovery has started; the manager registers the driver (status 1).
    virtual void deviceConnected(const std::shared_ptr<BLEDevice>& /*device*/) {}
    /// Notifications are on and the device takes commands (status 2). Arrives twice on a normal connection: after
    /// characteristic discovery and after the notification descriptor write.
    virtual void deviceReady(const std::shared_ptr<BLEDevice>& /*device*/) {}
    /// The driver lost or gave up its peripheral; the manager cancels the link and drops the driver (status -1).
    virtual void deviceDisconnected(const std::shared_ptr<BLEDevice>& /*device*/) {}
    /// A cuff pressure while measuring, or a result record.
    virtual void deviceOnDataReceived(const std::shared_ptr<BLEDevice>& /*device*/, const DeviceData& /*data*/) {}
    /// A device error (by convention its error code); the manager forwards it only for blood-pressure kinds.
    virtual void deviceOnErrorReceived(const std::shared_ptr<BLEDevice>& /*device*/, const DeviceError& /*error*/) {}
    /// A battery level in percent, as the device reported it.
    virtual void deviceOnBatteryLevelReceived(const std::shared_ptr<BLEDevice>& /*device*/, std::int32_t /*level*/) {}
};

}  // namespace halvora
