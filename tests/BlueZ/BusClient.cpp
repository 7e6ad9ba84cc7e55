#include "BlueZ/BusClient.hpp"

#include <sdbus-c++/sdbus-c++.h>

namespace halvora::test {

namespace {

constexpr const char* kControlPath = "/org/halvora/double";
constexpr const char* kControlInterface = "org.halvora.Double1";
constexpr const char* kAdapterPath = "/org/bluez/hci0";
constexpr const char* kAdapterInterface = "org.bluez.Adapter1";

}  // namespace

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
