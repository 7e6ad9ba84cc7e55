#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "halvora/Transport/BLEUUID.hpp"
#include "halvora/Transport/BlueZ/internal/BlueZNames.hpp"

namespace halvora::bluez {

/// A typed copy of the part of bluetoothd's object tree that belongs to one adapter: the adapter, its
/// devices and their GATT services and characteristics. It is fed with InterfacesAdded,
/// InterfacesRemoved and PropertiesChanged and with whole GetManagedObjects answers; every property is
/// decoded defensively (a property of an unexpected type is dropped and reported, the rest of the object
/// is kept). Removing an object removes everything below it. The numbers of devices and GATT objects are
/// capped. Used on the bus thread only.
class ObjectMirror {
public:
    struct Adapter {
        std::string path;
        std::optional<std::string> address;
        bool powered = false;
        bool discovering = false;
    };
    struct Device {
        std::string path;
        std::string address;  ///< upper-case "AA:BB:CC:DD:EE:FF"
        std::optional<std::string> name;
        std::optional<std::int16_t> rssi;
        std::optional<std::int16_t> txPower;
        bool connected = false;
        bool servicesResolved = false;
        std::vector<BLEUUID> uuids;
        std::optional<std::vector<std::uint8_t>> manufacturerData;  ///< company (little-endian) then data
        std::map<BLEUUID, std::vector<std::uint8_t>> serviceData;
    };
    struct Service {
        std::string path;
        std::string device;
        BLEUUID uuid;
        bool primary = true;
    };
    struct Characteristic {
        std::string path;
        std::string service;
        BLEUUID uuid;
        std::uint8_t properties = 0;  ///< CharacteristicProperty bits from Flags
        bool notifying = false;
    };
    /// What a device update changed.
    struct DeviceChange {
        bool added = false;
        /// RSSI, Name, ManufacturerData or ServiceData arrived (an advertisement was heard).
        bool advertised = false;
        /// Connected or ServicesResolved changed.
        bool link = false;
        /// Address changed (pairing taught bluetoothd the device's identity address; the path stays).
        bool readdressed = false;
    };
    struct Limits {
        std::size_t maxDevices = 512;
        std::size_t maxGattObjects = 8192;
        std::size_t maxValueSize = 512;
    };
    /// A dropped property (object path, property, why) or a refused object (path, "", why).
    using DropReport =
        std::function<void(const std::string& path, const std::string& property, const std::string& why)>;

    ObjectMirror(std::string adapterPath, Limits limits, DropReport dropped);

    const std::string& adapterPath() const { return adapterPath_; }
    void clear();

    /// One object of InterfacesAdded or of a snapshot. Returns the device change when the object is (or
    /// has) a device of this adapter.
    std::optional<DeviceChange> addObject(const std::string& path, const InterfaceMap& interfaces);
    /// InterfacesRemoved. Returns the paths of devices that went.
    std::vector<std::string> removeInterfaces(const std::string& path, const std::vector<std::string>& interfaces);
    /// PropertiesChanged of an object already mirrored; unknown objects are ignored.
    std::optional<DeviceChange> changeProperties(const std::string& path, const std::string& interface,
                                                 const PropertyMap& changed,
                                                 const std::vector<std::string>& invalidated);

    // ---- queries
    const std::optional<Adapter>& adapter() const { return adapter_; }
    const Device* device(const std::string& path) const;
    const std::map<std::string, Device>& devices() const { return devices_; }
    /// The services of a device, in path (handle) order.
    std::vector<Service> servicesOf(const std::string& devicePath) const;
    /// The characteristics of a service, in path (handle) order.
    std::vector<Characteristic> characteristicsOf(const std::string& servicePath) const;
    const Characteristic* characteristic(const std::string& path) const;
    /// The device a characteristic belongs to, or nothing.
    std::optional<std::string> deviceOfCharacteristic(const std::string& path) const;
    bool hasService(const std::string& path) const { return services_.count(path) != 0; }

    /// "dev_AA_BB_CC_DD_EE_FF" at the end of a device path as "AA:BB:CC:DD:EE:FF".
    static std::optional<std::string> addressFromPath(const std::string& path);
    /// GattCharacteristic1.Flags as CharacteristicProperty bits.
    static std::uint8_t propertiesFromFlags(const std::vector<std::string>& flags);

private:
    bool isDevicePath(const std::string& path) const;
    std::size_t gattObjectCount() const { return services_.size() + characteristics_.size(); }
    void applyAdapter(const std::string& path, const PropertyMap& properties,
                      const std::vector<std::string>& invalidated);
    std::optional<DeviceChange> applyDevice(const std::string& path, const PropertyMap& properties,
                                            const std::vector<std::string>& invalidated, bool create);
    /// Fills in what bluetoothd left unannounced: resolved services mean a live link; a link announced
    /// down (`connectedAnnounced` false) has no resolved services.
    static void impliedLinkState(Device& device, std::optional<bool> connectedAnnounced);
    void applyService(const std::string& path, const PropertyMap& properties, bool create);
    void applyCharacteristic(const std::string& path, const PropertyMap& properties, bool create);
    void removeDevice(const std::string& path);
    void removeService(const std::string& path);
    void removeBelow(const std::string& path);

    const std::string adapterPath_;
    const Limits limits_;
    DropReport dropped_;
    std::optional<Adapter> adapter_;
    std::map<std::string, Device> devices_;
    std::map<std::string, Service> services_;
    std::map<std::string, Characteristic> characteristics_;
};

}  // namespace halvora::bluez
