#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "DoubleDevice.hpp"
#include "DoubleOptions.hpp"
#include "halvora/Runtime/ThreadedExecutor.hpp"
#include "halvora/Transport/BlueZ/internal/BusLoop.hpp"
#include "halvora/Transport/Central.hpp"
#include "lab/Radio.hpp"

namespace halvora::bluezdouble {

class LabBridge;

/// A stand-in for bluetoothd: owns org.bluez on the bus its process was pointed at (the system bus, so
/// DBUS_SYSTEM_BUS_ADDRESS chooses it) and serves the adapter, one Device1 per virtual device of a lab
/// and their GATT objects, over real D-Bus. Behind it a lab central, on a real-time executor, talks to
/// the virtual devices; what it sees becomes bluetoothd's objects, properties and signals.
///
/// Also serves /org/halvora/double (org.halvora.Double1) for tests: DropLink(address) makes a device
/// lose its link, SetConnectError(name, message) changes the Connect fault at run time, DeviceAddresses()
/// maps lab identifiers to device addresses, SetOnAir(address, on) takes a device off the air (it stops
/// advertising and cannot be connected) or brings it back.
///
/// Everything on the bus side runs on the bus thread; the lab's events are handed to it.
class BlueZDouble {
public:
    BlueZDouble(DoubleOptions options, std::vector<std::shared_ptr<lab::VirtualPeripheral>> devices);
    ~BlueZDouble();
    BlueZDouble(const BlueZDouble&) = delete;
    BlueZDouble& operator=(const BlueZDouble&) = delete;

    /// Connects to the bus and takes org.bluez. `ready` is called once everything is published; `failed`
    /// when the bus cannot be used (at start or later). Both run on the bus thread.
    void start(std::function<void()> ready, std::function<void(const std::string&)> failed);
    void stop();

    // ---- used by devices (bus thread)
    const DoubleOptions& options() const { return options_; }
    sdbus::IConnection& connection();
    sdbus::IObject& root() { return *root_; }
    const std::string& adapterPath() const { return adapterPath_; }
    Central& labCentral() { return *labCentral_; }
    bool isPowered() const { return powered_; }
    /// Runs `reply` after the configured reply delay.
    void later(std::function<void()> reply);
    /// Runs `task` on the bus thread after `delay`; the id cancels it.
    std::uint64_t after(std::chrono::milliseconds delay, std::function<void()> task);
    void cancelTimer(std::uint64_t timer);
    /// The duplicate-filter cycle the controller is in: one per discovery and per
    /// DoubleOptions::duplicateFilterCycle of it.
    std::uint64_t reportCycle() const;
    /// Whether the lab device is on the air (present and in range).
    bool isOnAir(const std::string& labIdentifier) const;
    void log(const std::string& line) const;
    const std::optional<std::pair<std::string, std::string>>& connectError() const { return connectError_; }

    // ---- from the lab (bus thread)
    DoubleDevice* deviceFor(const std::string& labIdentifier);
    void labAdvertisement(const std::string& labIdentifier, const AdvertisementData& data, int rssi);
    void labStateChanged(CentralState state);

private:
    std::unique_ptr<sdbus::IConnection> open();
    void opened(sdbus::IConnection& connection);
    void publishAdapter(sdbus::IConnection& connection);
    void publishControl(sdbus::IConnection& connection);
    void publishGarbage(sdbus::IConnection& connection);
    /// Follows programs leaving the bus: their notify sessions end, as bluetoothd watches its clients.
    void watchSenders(sdbus::IConnection& connection);
    Properties adapterProperties() const;
    void startDiscovery();
    void stopDiscovery();
    void setDiscoveryFilter(const Properties& filter);
    void removeDevice(const sdbus::ObjectPath& path);
    void setPowered(bool powered);
    void scanLab();
    void scheduleGarbage();
    DoubleDevice* deviceAt(const std::string& path);
    DoubleDevice* deviceWithAddress(const std::string& address);

    const DoubleOptions options_;
    const std::string adapterPath_;
    std::shared_ptr<ThreadedExecutor> executor_;
    std::shared_ptr<lab::Radio> radio_;
    std::vector<std::shared_ptr<lab::VirtualPeripheral>> virtualDevices_;
    std::shared_ptr<LabBridge> bridge_;
    std::shared_ptr<Central> labCentral_;
    std::unique_ptr<bluez::BusLoop> loop_;
    std::function<void()> ready_;
    std::function<void(const std::string&)> failed_;
    std::atomic<bool> stopping_{false};

    // Bus thread only.
    std::unique_ptr<sdbus::IObject> root_;
    std::unique_ptr<sdbus::IObject> adapter_;
    std::unique_ptr<sdbus::IObject> control_;
    sdbus::Slot senderWatch_;
    std::vector<std::unique_ptr<sdbus::IObject>> garbageObjects_;
    std::vector<std::unique_ptr<DoubleDevice>> devices_;
    bool powered_ = true;
    bool discovering_ = false;
    bool labScanning_ = false;
    bool filtered_ = false;
    std::uint64_t discoveryEpoch_ = 0;
    std::chrono::steady_clock::time_point discoveryStarted_{};
    std::optional<std::pair<std::string, std::string>> connectError_;
};

}  // namespace halvora::bluezdouble
