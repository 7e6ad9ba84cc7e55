#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <functional>
#include <memory>
#include <string>

#include "Advertisement.hpp"
#include "BridgeOptions.hpp"
#include "GattApplication.hpp"
#include "LabSession.hpp"
#include "NotificationBurst.hpp"
#include "halvora/Transport/BlueZ/internal/BusLoop.hpp"

namespace halvora::lab {
class VirtualPeripheral;
}

namespace halvora::realbluez {

/// One lab device served by the real bluetoothd: its GATT table registered as an application on the
/// bridge's adapter and its name advertised, with every request relayed to the device over a lab link.
class PeripheralBridge {
public:
    PeripheralBridge(BridgeOptions options, std::shared_ptr<lab::VirtualPeripheral> device);
    ~PeripheralBridge();
    PeripheralBridge(const PeripheralBridge&) = delete;
    PeripheralBridge& operator=(const PeripheralBridge&) = delete;

    /// Starts the lab link and the bus thread. `ready` runs once the application and the advertisement
    /// are registered; `failed` when either is refused or the bus is lost (the bridge is useless then).
    void start(std::function<void()> ready, std::function<void(const std::string&)> failed);
    /// Stops the lab, then the bus thread.
    void stop();

private:
    /// Bench mode: starts the burst on the first characteristic a central has switched notifications on.
    void startBurstWhenNotifying();
    void opened(sdbus::IConnection& connection);
    /// Gives the adapter the device's name: a central reads it from the adapter's GAP service once
    /// connected, and a real device's GAP name is the name it advertises.
    void nameAdapter(sdbus::IConnection& connection, const std::string& name);
    void registered(const std::string& what, const std::string& error);
    void log(const std::string& line) const;

    const BridgeOptions options_;
    const std::string adapterPath_;
    std::shared_ptr<lab::VirtualPeripheral> device_;
    std::unique_ptr<bluez::BusLoop> loop_;
    std::shared_ptr<LabSession> session_;
    std::unique_ptr<GattApplication> application_;
    std::unique_ptr<Advertisement> advertisement_;
    std::unique_ptr<sdbus::IProxy> adapter_;
    /// Bench mode only: the numbered notifications, and the timer that looks for a notifying characteristic.
    std::unique_ptr<NotificationBurst> burst_;
    std::function<void()> ready_;
    std::function<void(const std::string&)> failed_;
    int registrationsLeft_ = 0;
    bool stopping_ = false;
};

}  // namespace halvora::realbluez
