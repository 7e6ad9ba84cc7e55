#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "BridgeCharacteristic.hpp"
#include "lab/GattTable.hpp"

namespace halvora::realbluez {

/// The lab device's GATT table as a GATT application of bluetoothd: an object manager with one
/// GattService1 object per service and one GattCharacteristic1 object per characteristic, registered on an
/// adapter through GattManager1.RegisterApplication. Bus thread only.
class GattApplication {
public:
    GattApplication(const lab::GattTable& table, LabSession& session, bluez::BusLoop& loop);

    /// Makes the objects on `connection` and asks bluetoothd at `adapterPath` to serve them; `done` hears
    /// the answer (an empty text on success).
    void registerOn(sdbus::IConnection& connection, const std::string& adapterPath,
                    std::function<void(const std::string& error)> done);
    /// Drops every object and proxy (the connection is closing).
    void withdraw();
    /// The device notified `value` on `characteristic`.
    void notified(const AttributeKey& characteristic, const std::vector<std::uint8_t>& value);
    /// The first characteristic a central has switched notifications on, or null.
    BridgeCharacteristic* notifyingCharacteristic() const;

private:
    struct ServiceObject {
        std::string path;
        BLEUUID uuid;
        std::unique_ptr<sdbus::IObject> object;
    };

    std::vector<ServiceObject> services_;
    std::vector<std::unique_ptr<BridgeCharacteristic>> characteristics_;
    std::unique_ptr<sdbus::IObject> root_;
    std::unique_ptr<sdbus::IProxy> manager_;
};

}  // namespace halvora::realbluez
