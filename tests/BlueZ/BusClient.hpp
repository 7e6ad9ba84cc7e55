#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace sdbus {
class IConnection;
}

namespace halvora::test {

/// What a test asks of the bluetoothd double directly over the bus, as another program would.
class BusClient {
public:
    explicit BusClient(std::string address);
    ~BusClient();
    BusClient(const BusClient&) = delete;
    BusClient& operator=(const BusClient&) = delete;

    /// Sets Adapter1.Powered of /org/bluez/hci0.
    void setPowered(bool powered) const;
    /// Makes the device with this address lose its link (the double's control interface).
    void dropLink(const std::string& address) const;
    /// Adapter1.RemoveDevice.
    void removeDevice(const std::string& path) const;
    /// Lab identifier to device address, from the double.
    std::map<std::string, std::string> deviceAddresses() const;
    /// Takes the device with this address off the air (it stops advertising and cannot be connected) or
    /// brings it back (the double's control interface).
    void setOnAir(const std::string& address, bool on) const;
    /// Gives the device with this address its identity address, as pairing does (the double's control
    /// interface): Address changes, the object path stays.
    void setIdentityAddress(const std::string& address, const std::string& identity) const;
    /// Adapter1.Discovering.
    bool discovering() const;
    /// Whether bluetoothd holds a Device1 object at `path`.
    bool hasDevice(const std::string& path) const;
    /// Device1.ServicesResolved at `path`.
    bool servicesResolved(const std::string& path) const;
    /// The path of the characteristic `uuid` (long form, lower case) below the device at `devicePath`.
    std::optional<std::string> characteristicPath(const std::string& devicePath, const std::string& uuid) const;
    /// GattCharacteristic1.Notifying at `path`.
    bool notifying(const std::string& path) const;
    /// StartNotify over this client's own connection, which stays open (with its session) as long as the
    /// client: another program on the machine listening to the same characteristic.
    void startNotify(const std::string& path);

private:
    std::string address_;
    std::unique_ptr<sdbus::IConnection> own_;
};

}  // namespace halvora::test
