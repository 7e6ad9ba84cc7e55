#include "BlueZ/BusClient.hpp"

#include <sdbus-c++/sdbus-c++.h>

namespace halvora::test {

namespace {

constexpr const char* kControlPath = "/org/halvora/double";
constexpr const char* kControlInterface = "org.halvora.Double1";
constexpr const char* kAdapterPath = "/org/bluez/hci0";
constexpr const char* kAdapterInterface = "org.bluez.Adapter1";

constexpr const char* kDeviceInterface = "org.bluez.Device1";
constexpr const char* kCharacteristicInterface = "org.bluez.GattCharacteristic1";

using Interfaces = std::map<std::string, std::map<std::string, sdbus::Variant>>;

template <typename T>
T property(const std::string& busAddress, const std::string& path, const char* interface, const char* name) {
    auto connection = sdbus::createSessionBusConnectionWithAddress(busAddress);
    auto proxy = sdbus::createProxy(*connection, "org.bluez", path);
    return proxy->getProperty(name).onInterface(interface).get<T>();
}

}  // namespace

BusClient::BusClient(std::string address) : address_(std::move(address)) {}

BusClient::~BusClient() = default;

void BusClient::setOnAir(const std::string& address, bool on) const {
    auto connection = sdbus::createSessionBusConnectionWithAddress(address_);
    auto proxy = sdbus::createProxy(*connection, "org.bluez", kControlPath);
    proxy->callMethod("SetOnAir").onInterface(kControlInterface).withArguments(address, on);
}

void BusClient::setIdentityAddress(const std::string& address, const std::string& identity) const {
    auto connection = sdbus::createSessionBusConnectionWithAddress(address_);
    auto proxy = sdbus::createProxy(*connection, "org.bluez", kControlPath);
    proxy->callMethod("SetIdentityAddress").onInterface(kControlInterface).withArguments(address, identity);
}

bool BusClient::discovering() const {
    return property<bool>(address_, kAdapterPath, kAdapterInterface, "Discovering");
}

bool BusClient::hasDevice(const std::string& path) const {
    auto connection = sdbus::createSessionBusConnectionWithAddress(address_);
    auto proxy = sdbus::createProxy(*connection, "org.bluez", "/");
    std::map<sdbus::ObjectPath, Interfaces> objects;
    proxy->callMethod("GetManagedObjects").onInterface("org.freedesktop.DBus.ObjectManager").storeResultsTo(objects);
    const auto found = objects.find(sdbus::ObjectPath(path));
    return found != objects.end() && found->second.count(kDeviceInterface) != 0;
}

bool BusClient::servicesResolved(const std::string& path) const {
    return property<bool>(address_, path, kDeviceInterface, "ServicesResolved");
}

std::optional<std::string> BusClient::characteristicPath(const std::string& devicePath, const std::string& uuid) const {
    auto connection = sdbus::createSessionBusConnectionWithAddress(address_);
    auto proxy = sdbus::createProxy(*connection, "org.bluez", "/");
    std::map<sdbus::ObjectPath, Interfaces> objects;
    proxy->callMethod("GetManagedObjects").onInterface("org.freedesktop.DBus.ObjectManager").storeResultsTo(objects);
    for (const auto& [path, interfaces] : objects) {
        if (path.rfind(devicePath + "/", 0) != 0) continue;
        const auto characteristic = interfaces.find(kCharacteristicInterface);
        if (characteristic == interfaces.end()) continue;
        const auto found = characteristic->second.find("UUID");
        if (found != characteristic->second.end() && found->second.get<std::string>() == uuid) return path;
    }
    return std::nullopt;
}

bool BusClient::notifying(const std::string& path) const {
    return property<bool>(address_, path, kCharacteristicInterface, "Notifying");
}

void BusClient::startNotify(const std::string& path) {
    if (!own_) own_ = sdbus::createSessionBusConnectionWithAddress(address_);
    auto proxy = sdbus::createProxy(*own_, "org.bluez", path);
    proxy->callMethod("StartNotify").onInterface(kCharacteristicInterface);
}

void BusClient::setPowered(bool powered) const {
    auto connection = sdbus::createSessionBusConnectionWithAddress(address_);
    auto proxy = sdbus::createProxy(*connection, "org.bluez", kAdapterPath);
    proxy->setProperty("Powered").onInterface(kAdapterInterface).toValue(powered);
}

void BusClient::dropLink(const std::string& address) const {
    auto connection = sdbus::createSessionBusConnectionWithAddress(address_);
    auto proxy = sdbus::createProxy(*connection, "org.bluez", kControlPath);
    proxy->callMethod("DropLink").onInterface(kControlInterface).withArguments(address);
}

void BusClient::removeDevice(const std::string& path) const {
    auto connection = sdbus::createSessionBusConnectionWithAddress(address_);
    auto proxy = sdbus::createProxy(*connection, "org.bluez", kAdapterPath);
    proxy->callMethod("RemoveDevice").onInterface(kAdapterInterface).withArguments(sdbus::ObjectPath(path));
}

std::map<std::string, std::string> BusClient::deviceAddresses() const {
    auto connection = sdbus::createSessionBusConnectionWithAddress(address_);
    auto proxy = sdbus::createProxy(*connection, "org.bluez", kControlPath);
    std::map<std::string, std::string> addresses;
    proxy->callMethod("DeviceAddresses").onInterface(kControlInterface).storeResultsTo(addresses);
    return addresses;
}

}  // namespace halvora::test
