#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "LabSession.hpp"

namespace halvora::bluez {
class BusLoop;
}

namespace halvora::realbluez {

/// One characteristic of the lab device as a GattCharacteristic1 object of the bridge's GATT application:
/// bluetoothd's ReadValue, WriteValue, StartNotify and StopNotify go to the lab device, and each of its
/// notifications becomes a PropertiesChanged of Value, which bluetoothd sends to the subscribed centrals.
/// Bus thread only.
class BridgeCharacteristic {
public:
    BridgeCharacteristic(std::string path, std::string servicePath, AttributeKey key, std::uint8_t properties,
                         LabSession& session, bluez::BusLoop& loop);

    /// Makes the object on `connection` (before the application is registered).
    void publish(sdbus::IConnection& connection);
    /// Drops the object (the connection is closing).
    void withdraw() { object_.reset(); }
    const AttributeKey& key() const { return key_; }
    /// A central has switched notifications on.
    bool isNotifying() const { return notifying_; }
    /// The device notified `value`.
    void notified(const std::vector<std::uint8_t>& value);
    /// bluetoothd's flags for the characteristic's property bits.
    std::vector<std::string> flags() const;

private:
    using Options = std::map<std::string, sdbus::Variant>;
    void readValue(std::shared_ptr<sdbus::Result<std::vector<std::uint8_t>>> result, const Options& options);
    void writeValue(std::shared_ptr<sdbus::Result<>> result, const std::vector<std::uint8_t>& value,
                    const Options& options);
    void switchNotify(std::shared_ptr<sdbus::Result<>> result, bool enabled);

    const std::string path_;
    const std::string servicePath_;
    const AttributeKey key_;
    const std::uint8_t properties_;
    LabSession& session_;
    bluez::BusLoop& loop_;
    std::unique_ptr<sdbus::IObject> object_;
    std::vector<std::uint8_t> value_;
    bool notifying_ = false;
    /// Expires with the object: the lab's answers that come later (after the bus was lost) are dropped.
    std::shared_ptr<int> lifetime_ = std::make_shared<int>(0);
};

}  // namespace halvora::realbluez
