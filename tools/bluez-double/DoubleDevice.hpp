#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "DoubleCharacteristic.hpp"
#include "Emit.hpp"
#include "halvora/Transport/AdvertisementData.hpp"
#include "halvora/Transport/Peripheral.hpp"

namespace halvora::bluezdouble {

class BlueZDouble;

/// One org.bluez.Device1 object for one virtual device of the lab, and its GATT objects, as bluetoothd 5.66
/// keeps them:
/// - the object appears (InterfacesAdded) with the first advertisement heard during discovery and stays
///   until RemoveDevice; while discovery runs with a filter every advertisement changes RSSI (a
///   PropertiesChanged each time), without one only a change of at least 8 dB does; when discovery stops
///   RSSI is invalidated;
/// - Connect links the lab's central to the device, then discovers its services and characteristics,
///   publishes them (once: they survive disconnects), sets ServicesResolved and answers; a second Connect
///   while one is pending is InProgress; Disconnect ends the link; a link lost on the device's side turns
///   Connected false.
/// Bus thread only.
class DoubleDevice {
public:
    DoubleDevice(BlueZDouble& owner, std::string labIdentifier, std::string address);
    ~DoubleDevice();
    DoubleDevice(const DoubleDevice&) = delete;
    DoubleDevice& operator=(const DoubleDevice&) = delete;

    const std::string& labIdentifier() const { return labIdentifier_; }
    const std::string& address() const { return address_; }
    const std::string& path() const { return path_; }
    BlueZDouble& owner() { return owner_; }
    bool isPublished() const { return object_ != nullptr; }
    bool isLinked() const { return connected_; }
    std::shared_ptr<Peripheral> labPeripheral() const { return labPeripheral_; }
    void setLabPeripheral(std::shared_ptr<Peripheral> peripheral) { labPeripheral_ = std::move(peripheral); }

    // ---- advertising
    void heard(const AdvertisementData& data, int rssi, bool filtered);
    void discoveryStopped();

    // ---- link, from the lab
    void labConnected();
    void labConnectFailed(const BLEError& error);
    void labServicesDiscovered(const OptionalError& error);
    void labCharacteristicsDiscovered(const OptionalError& error);
    void labDisconnected();
    DoubleCharacteristic* characteristicFor(const std::shared_ptr<Characteristic>& characteristic);

    /// The adapter went off: the link ends.
    void powerOff();
    /// RemoveDevice: the object and everything below it go.
    void withdraw();
    /// The bus is going away: the objects go without signals.
    void withdrawQuietly();
    void emitGarbage();

private:
    void publish();
    void registerDevice();
    Properties deviceProperties(bool withAdvertising) const;
    void connect(std::shared_ptr<sdbus::Result<>> result);
    void disconnect(std::shared_ptr<sdbus::Result<>> result);
    void failConnect(const std::string& name, const std::string& message);
    void endLink(const std::string& reason);
    void publishGatt();
    void resolved();
    void setConnected(bool connected);
    void setServicesResolved(bool resolved);
    std::string servicePathFor(const BLEUUID& uuid);

    BlueZDouble& owner_;
    const std::string labIdentifier_;
    const std::string address_;
    const std::string path_;
    std::shared_ptr<Peripheral> labPeripheral_;
    std::unique_ptr<sdbus::IObject> object_;

    // Device1 state.
    std::optional<std::string> name_;
    std::int16_t rssi_ = 0;  // 0: not heard in this discovery
    std::vector<std::string> uuids_;
    std::map<std::uint16_t, sdbus::Variant> manufacturerData_;
    std::vector<std::uint8_t> manufacturerBytes_;
    std::map<std::string, sdbus::Variant> serviceData_;
    bool connected_ = false;
    bool servicesResolved_ = false;
    std::shared_ptr<sdbus::Result<>> pendingConnect_;
    std::vector<std::shared_ptr<sdbus::Result<>>> pendingDisconnects_;
    int characteristicDiscoveries_ = 0;

    // GATT objects (kept across links).
    struct ServiceObject {
        BLEUUID uuid;
        std::string path;
        std::unique_ptr<sdbus::IObject> object;
    };
    std::vector<ServiceObject> services_;
    std::vector<std::unique_ptr<DoubleCharacteristic>> characteristics_;
    std::uint16_t nextHandle_ = 0x000A;
};

}  // namespace halvora::bluezdouble
