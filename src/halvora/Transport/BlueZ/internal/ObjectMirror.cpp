#include "halvora/Transport/BlueZ/internal/ObjectMirror.hpp"

#include <algorithm>
#include <cctype>

#include "halvora/Transport/BlueZ/internal/PropertyReader.hpp"
#include "halvora/Transport/TransportTypes.hpp"

namespace halvora::bluez {

namespace {

constexpr const char* kDevicePathPrefix = "dev_";
constexpr std::size_t kAddressBytes = 6;
// Characteristic property bits CoreBluetooth has beyond those the kit names.
constexpr std::uint8_t kPropertyAuthenticatedSignedWrites = 0x40;
constexpr std::uint8_t kPropertyExtendedProperties = 0x80;

bool startsWith(const std::string& text, const std::string& prefix) {
    return text.size() >= prefix.size() && text.compare(0, prefix.size(), prefix) == 0;
}

/// The path one level up ("/a/b/c" gives "/a/b").
std::string parentOf(const std::string& path) {
    const auto slash = path.rfind('/');
    if (slash == std::string::npos || slash == 0) return "/";
    return path.substr(0, slash);
}

std::string upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
    return text;
}

bool isAddress(const std::string& text) {
    if (text.size() != kAddressBytes * 3 - 1) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool separator = i % 3 == 2;
        if (separator ? text[i] != ':' : std::isxdigit(static_cast<unsigned char>(text[i])) == 0) return false;
    }
    return true;
}

/// The first manufacturer entry as CoreBluetooth carries it: company identifier (little-endian), then data.
std::vector<std::uint8_t> manufacturerBytes(const std::map<std::uint16_t, std::vector<std::uint8_t>>& entries) {
    std::vector<std::uint8_t> bytes;
    if (entries.empty()) return bytes;
    const auto& [company, data] = *entries.begin();
    bytes.push_back(static_cast<std::uint8_t>(company & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>(company >> 8));
    bytes.insert(bytes.end(), data.begin(), data.end());
    return bytes;
}

bool invalidates(const std::vector<std::string>& invalidated, const char* name) {
    return std::find(invalidated.begin(), invalidated.end(), name) != invalidated.end();
}

}  // namespace

ObjectMirror::ObjectMirror(std::string adapterPath, Limits limits, DropReport dropped)
    : adapterPath_(std::move(adapterPath)), limits_(limits), dropped_(std::move(dropped)) {}

void ObjectMirror::clear() {
    adapter_.reset();
    devices_.clear();
    services_.clear();
    characteristics_.clear();
}

std::optional<std::string> ObjectMirror::addressFromPath(const std::string& path) {
    const auto slash = path.rfind('/');
    const std::string last = slash == std::string::npos ? path : path.substr(slash + 1);
    if (!startsWith(last, kDevicePathPrefix)) return std::nullopt;
    std::string address = last.substr(std::string(kDevicePathPrefix).size());
    std::replace(address.begin(), address.end(), '_', ':');
    if (!isAddress(address)) return std::nullopt;
    return upper(address);
}

std::uint8_t ObjectMirror::propertiesFromFlags(const std::vector<std::string>& flags) {
    static const std::map<std::string, std::uint8_t> bits = {
        {"broadcast", CharacteristicPropertyBroadcast},
        {"read", CharacteristicPropertyRead},
        {"write-without-response", CharacteristicPropertyWriteWithoutResponse},
        {"write", CharacteristicPropertyWrite},
        {"notify", CharacteristicPropertyNotify},
        {"indicate", CharacteristicPropertyIndicate},
        {"authenticated-signed-writes", kPropertyAuthenticatedSignedWrites},
        {"extended-properties", kPropertyExtendedProperties},
    };
    std::uint8_t properties = 0;
    for (const auto& flag : flags) {
        const auto it = bits.find(flag);
        if (it != bits.end()) properties |= it->second;
    }
    return properties;
}

bool ObjectMirror::isDevicePath(const std::string& path) const {
    return startsWith(path, adapterPath_ + "/") && path.find('/', adapterPath_.size() + 1) == std::string::npos;
}

// ---------------------------------------------------------------- updates

// bluetoothd resolves services only over a live link, yet it never announces Connected when the ATT
// channel came up before the controller's connection event ("device_add_connection() ... already
// connected"): a device with its services resolved is connected. A link announced down has no services.
void ObjectMirror::impliedLinkState(Device& device, std::optional<bool> connectedAnnounced) {
    if (connectedAnnounced == false) {
        device.servicesResolved = false;
    } else if (device.servicesResolved) {
        device.connected = true;
    }
}

std::optional<ObjectMirror::DeviceChange> ObjectMirror::addObject(const std::string& path,
                                                                  const InterfaceMap& interfaces) {
    std::optional<DeviceChange> change;
    for (const auto& [interface, properties] : interfaces) {
        if (interface == kAdapterInterface) {
            if (path == adapterPath_) applyAdapter(path, properties, {});
        } else if (interface == kDeviceInterface) {
            change = applyDevice(path, properties, {}, true);
        } else if (interface == kGattServiceInterface) {
            applyService(path, properties, true);
        } else if (interface == kGattCharacteristicInterface) {
            applyCharacteristic(path, properties, true);
        }
    }
    return change;
}

std::optional<ObjectMirror::DeviceChange> ObjectMirror::changeProperties(const std::string& path,
                                                                         const std::string& interface,
                                                                         const PropertyMap& changed,
                                                                         const std::vector<std::string>& invalidated) {
    if (interface == kAdapterInterface) {
        if (adapter_ && path == adapterPath_) applyAdapter(path, changed, invalidated);
    } else if (interface == kDeviceInterface) {
        return applyDevice(path, changed, invalidated, false);
    } else if (interface == kGattServiceInterface) {
        applyService(path, changed, false);
    } else if (interface == kGattCharacteristicInterface) {
        applyCharacteristic(path, changed, false);
    }
    return std::nullopt;
}

void ObjectMirror::applyAdapter(const std::string& path, const PropertyMap& properties,
                                const std::vector<std::string>& invalidated) {
    if (!adapter_) adapter_ = Adapter{path, std::nullopt, false, false};
    PropertyReader reader(properties, limits_.maxValueSize,
                          [&](const std::string& property, const std::string& why) { dropped_(path, property, why); });
    if (auto address = reader.text("Address")) {
        if (isAddress(*address)) {
            adapter_->address = upper(*address);
        } else {
            dropped_(path, "Address", "\"" + *address + "\" is not an address");
        }
    }
    if (auto powered = reader.boolean("Powered")) adapter_->powered = *powered;
    if (auto discovering = reader.boolean("Discovering")) adapter_->discovering = *discovering;
    if (invalidates(invalidated, "Powered")) adapter_->powered = false;
}

std::optional<ObjectMirror::DeviceChange> ObjectMirror::applyDevice(const std::string& path,
                                                                    const PropertyMap& properties,
                                                                    const std::vector<std::string>& invalidated,
                                                                    bool create) {
    if (!isDevicePath(path)) return std::nullopt;
    PropertyReader reader(properties, limits_.maxValueSize,
                          [&](const std::string& property, const std::string& why) { dropped_(path, property, why); });
    DeviceChange change;
    auto it = devices_.find(path);
    if (it == devices_.end()) {
        if (!create) return std::nullopt;
        if (devices_.size() >= limits_.maxDevices) {
            dropped_(path, "", "the device table is full (" + std::to_string(limits_.maxDevices) + " devices)");
            return std::nullopt;
        }
        auto address = reader.text("Address");
        if (address && !isAddress(*address)) address.reset();
        if (!address) address = addressFromPath(path);
        if (!address) {
            dropped_(path, "", "a device without an address");
            return std::nullopt;
        }
        Device device;
        device.path = path;
        device.address = upper(*address);
        it = devices_.emplace(path, std::move(device)).first;
        change.added = true;
    }
    Device& device = it->second;
    if (!change.added) {
        if (auto address = reader.text("Address"); address && isAddress(*address) && upper(*address) != device.address) {
            device.address = upper(*address);
            change.readdressed = true;
        }
    }
    if (auto name = reader.text("Name")) {
        device.name = *name;
        change.advertised = true;
    }
    if (auto rssi = reader.int16("RSSI")) {
        device.rssi = *rssi;
        change.advertised = true;
    }
    if (auto txPower = reader.int16("TxPower")) device.txPower = *txPower;
    const auto connected = reader.boolean("Connected");
    if (connected) {
        change.link |= device.connected != *connected;
        device.connected = *connected;
    }
    if (auto resolved = reader.boolean("ServicesResolved")) {
        change.link |= device.servicesResolved != *resolved;
        device.servicesResolved = *resolved;
    }
    impliedLinkState(device, connected);
    if (auto uuids = reader.uuidList("UUIDs")) device.uuids = std::move(*uuids);
    if (auto data = reader.manufacturerData("ManufacturerData")) {
        device.manufacturerData = manufacturerBytes(*data);
        change.advertised = true;
    }
    if (auto data = reader.serviceData("ServiceData")) {
        device.serviceData = std::move(*data);
        change.advertised = true;
    }
    if (invalidates(invalidated, "RSSI")) device.rssi.reset();
    if (invalidates(invalidated, "Name")) device.name.reset();
    if (invalidates(invalidated, "TxPower")) device.txPower.reset();
    if (invalidates(invalidated, "ManufacturerData")) device.manufacturerData.reset();
    if (invalidates(invalidated, "ServiceData")) device.serviceData.clear();
    return change;
}

void ObjectMirror::applyService(const std::string& path, const PropertyMap& properties, bool create) {
    PropertyReader reader(properties, limits_.maxValueSize,
                          [&](const std::string& property, const std::string& why) { dropped_(path, property, why); });
    auto it = services_.find(path);
    if (it == services_.end()) {
        if (!create) return;
        const std::string device = reader.objectPath("Device").value_or(parentOf(path));
        if (devices_.count(device) == 0 || !startsWith(path, device + "/")) return;
        if (gattObjectCount() >= limits_.maxGattObjects) {
            dropped_(path, "", "too many GATT objects");
            return;
        }
        auto uuid = reader.uuid("UUID");
        if (!uuid) {
            dropped_(path, "", "a service without a UUID");
            return;
        }
        it = services_.emplace(path, Service{path, device, *uuid, true}).first;
    }
    if (auto primary = reader.boolean("Primary")) it->second.primary = *primary;
}

void ObjectMirror::applyCharacteristic(const std::string& path, const PropertyMap& properties, bool create) {
    PropertyReader reader(properties, limits_.maxValueSize,
                          [&](const std::string& property, const std::string& why) { dropped_(path, property, why); });
    auto it = characteristics_.find(path);
    if (it == characteristics_.end()) {
        if (!create) return;
        const std::string service = reader.objectPath("Service").value_or(parentOf(path));
        if (services_.count(service) == 0 || !startsWith(path, service + "/")) return;
        if (gattObjectCount() >= limits_.maxGattObjects) {
            dropped_(path, "", "too many GATT objects");
            return;
        }
        auto uuid = reader.uuid("UUID");
        if (!uuid) {
            dropped_(path, "", "a characteristic without a UUID");
            return;
        }
        it = characteristics_.emplace(path, Characteristic{path, service, *uuid, 0, false}).first;
    }
    if (auto flags = reader.textList("Flags")) it->second.properties = propertiesFromFlags(*flags);
    if (auto notifying = reader.boolean("Notifying")) it->second.notifying = *notifying;
}

// ---------------------------------------------------------------- removal

std::vector<std::string> ObjectMirror::removeInterfaces(const std::string& path,
                                                        const std::vector<std::string>& interfaces) {
    std::vector<std::string> goneDevices;
    for (const auto& interface : interfaces) {
        if (interface == kAdapterInterface && path == adapterPath_) {
            adapter_.reset();
            for (const auto& [devicePath, device] : devices_) goneDevices.push_back(devicePath);
            for (const auto& devicePath : goneDevices) removeDevice(devicePath);
        } else if (interface == kDeviceInterface && devices_.count(path) != 0) {
            removeDevice(path);
            goneDevices.push_back(path);
        } else if (interface == kGattServiceInterface) {
            removeService(path);
        } else if (interface == kGattCharacteristicInterface) {
            characteristics_.erase(path);
        }
    }
    return goneDevices;
}

void ObjectMirror::removeDevice(const std::string& path) {
    devices_.erase(path);
    removeBelow(path);
}

void ObjectMirror::removeService(const std::string& path) {
    services_.erase(path);
    removeBelow(path);
}

void ObjectMirror::removeBelow(const std::string& path) {
    const std::string prefix = path + "/";
    auto erase = [&](auto& table) {
        for (auto it = table.lower_bound(prefix); it != table.end() && startsWith(it->first, prefix);) {
            it = table.erase(it);
        }
    };
    erase(services_);
    erase(characteristics_);
}

// ---------------------------------------------------------------- queries

const ObjectMirror::Device* ObjectMirror::device(const std::string& path) const {
    const auto it = devices_.find(path);
    return it == devices_.end() ? nullptr : &it->second;
}

std::vector<ObjectMirror::Service> ObjectMirror::servicesOf(const std::string& devicePath) const {
    std::vector<Service> found;
    for (auto it = services_.lower_bound(devicePath + "/");
         it != services_.end() && startsWith(it->first, devicePath + "/"); ++it) {
        if (it->second.device == devicePath) found.push_back(it->second);
    }
    return found;
}

std::vector<ObjectMirror::Characteristic> ObjectMirror::characteristicsOf(const std::string& servicePath) const {
    std::vector<Characteristic> found;
    for (auto it = characteristics_.lower_bound(servicePath + "/");
         it != characteristics_.end() && startsWith(it->first, servicePath + "/"); ++it) {
        if (it->second.service == servicePath) found.push_back(it->second);
    }
    return found;
}

const ObjectMirror::Characteristic* ObjectMirror::characteristic(const std::string& path) const {
    const auto it = characteristics_.find(path);
    return it == characteristics_.end() ? nullptr : &it->second;
}

std::optional<std::string> ObjectMirror::deviceOfCharacteristic(const std::string& path) const {
    const auto* found = characteristic(path);
    if (found == nullptr) return std::nullopt;
    const auto service = services_.find(found->service);
    if (service == services_.end()) return std::nullopt;
    return service->second.device;
}

}  // namespace halvora::bluez
