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

    virtual void deviceConnected(const std::shared_ptr<BLEDevice>& /*device*/) {}
    virtual void deviceReady(const std::shared_ptr<BLEDevice>& /*device*/) {}
    virtual void deviceDisconnected(const std::shared_ptr<BLEDevice>& /*device*/) {}
    virtual void deviceOnDataReceived(const std::shared_ptr<BLEDevice>& /*device*/, const DeviceData& /*data*/) {}
    virtual void deviceOnErrorReceived(const std::shared_ptr<BLEDevice>& /*device*/, const DeviceError& /*error*/) {}
    virtual void deviceOnBatteryLevelReceived(const std::shared_ptr<BLEDevice>& /*device*/, std::int32_t /*level*/) {}
};

}  // namespace halvora
