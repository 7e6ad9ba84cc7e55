#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <chrono>
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
/// - the object appears (InterfacesAdded) with the first advertisement reported during discovery; the
///   controller's duplicate filter reports an unchanged advertisement once per cycle
///   (DoubleOptions::duplicateFilterCycle) and a changed one at once. While discovery runs with a filter
///   every reported advertisement changes RSSI (a PropertiesChanged each time), without one only a change
///   of at least 8 dB does; when discovery stops RSSI is invalidated;
/// - an object without a link goes DoubleOptions::temporaryTimeout after its last reported advertisement
///   (a failed Connect leaves it in place), until RemoveDevice at the latest;
/// - Connect answers once the link is up, before GATT discovery; then the services and characteristics are
///   published (once: they survive disconnects), open notify sessions are re-enabled, and ServicesResolved
///   follows (DoubleOptions::resolveDelay later). A Connect to a device that is not on the air fails after
///   DoubleOptions::connectAbortDelay with "le-connection-abort-by-local"; with public addresses it goes
///   over BR/EDR and fails with "br-connection-page-timeout". A failed GATT discovery still ends with
///   ServicesResolved, without services. Connect while connected and Disconnect without a link succeed;
///   a second Connect while one is pending is InProgress; a link lost on the device's side turns
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
    /// Pairing taught bluetoothd the device's identity address: Address changes, the object path stays
    /// (until bluetoothd restarts and loads the bonded device under its identity).
    void setIdentityAddress(const std::string& address);
    const std::string& path() const { return path_; }
    BlueZDouble& owner() { return owner_; }
    bool isPublished() const { return object_ != nullptr; }
    bool isLinked() const { return connected_; }
    std::shared_ptr<Peripheral> labPeripheral() const { return labPeripheral_; }
    void setLabPeripheral(std::shared_ptr<Peripheral> peripheral) { labPeripheral_ = std::move(peripheral); }

    // ---- advertising
    void heard(const AdvertisementData& data, int rssi, bool filtered);
    /// Discovery stopped: RSSI is invalidated.
    void discoveryStopped();

    // ---- link, from the lab
    void labConnected();
    void labConnectFailed(const BLEError& error);
    void labServicesDiscovered(const OptionalError& error);
    void labCharacteristicsDiscovered(const OptionalError& error);
    void labDisconnected();
    DoubleCharacteristic* characteristicFor(const std::shared_ptr<Characteristic>& characteristic);

    /// A program left the bus: its notify sessions end.
    void senderLeft(const std::string& sender);
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
    void waitForAir(std::shared_ptr<sdbus::Result<>> result, std::chrono::steady_clock::time_point deadline);
    void endLink(const std::string& reason);
    void publishGatt();
    void resolved();
    void resolveLater();
    void publishLateCharacteristics();
    void armExpiry();
    void disarmExpiry();
    void setConnected(bool connected);
    void setServicesResolved(bool resolved);
    std::string servicePathFor(const BLEUUID& uuid);

    BlueZDouble& owner_;
    const std::string labIdentifier_;
    std::string address_;  // the path keeps the first one
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
    std::uint64_t link_ = 0;  // counts links, so that timers of an ended link do nothing
    std::optional<std::uint64_t> reportedCycle_;
    std::optional<std::uint64_t> expiryTimer_;

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
