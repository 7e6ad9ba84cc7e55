#pragma once

#include <map>
#include <string>

namespace halvora::test {

/// What a test asks of the bluetoothd double directly over the bus, as another program would.
class BusClient {
public:
    explicit BusClient(std::string address) : address_(std::move(address)) {}

    /// Sets Adapter1.Powered of /org/bluez/hci0.
    void setPowered(bool powered) const;
    /// Makes the device with this address lose its link (the double's control interface).
    void dropLink(const std::string& address) const;
    /// Adapter1.RemoveDevice.
    void removeDevice(const std::string& path) const;
    /// Lab identifier to device address, from the double.
    std::map<std::string, std::string> deviceAddresses() const;

private:
    std::string address_;
};

}  // namespace halvora::test
