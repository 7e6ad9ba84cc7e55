#include "DoubleDevice.hpp"

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "BlueZDouble.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora::bluezdouble {

namespace {

/// Without a discovery filter bluetoothd announces an RSSI change only from this many dB on.
constexpr int kRssiThreshold = 8;

std::string lowerUUID(const BLEUUID& uuid) {
    std::string text = uuid.toLongString();
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

std::string pathOf(const std::string& adapterPath, std::string address) {
    std::replace(address.begin(), address.end(), ':', '_');
    return adapterPath + "/dev_" + address;
}

std::string aliasOf(std::string address) {
    std::replace(address.begin(), address.end(), ':', '-');
    return address;
}

}  // namespace

DoubleDevice::DoubleDevice(BlueZDouble& owner, std::string labIdentifier, std::string address)
    : owner_(owner),
      labIdentifier_(std::move(labIdentifier)),
      address_(std::move(address)),
      path_(pathOf(owner_.adapterPath(), address_)) {}

DoubleDevice::~DoubleDevice() = default;

// ---------------------------------------------------------------- Device1

Properties DoubleDevice::deviceProperties(bool withAdvertising) const {
    Properties properties{
        {"Address", sdbus::Variant(address_)},
        {"AddressType", sdbus::Variant(std::string("random"))},
        {"Alias", sdbus::Variant(name_.value_or(aliasOf(address_)))},
        {"Paired", sdbus::Variant(false)},
        {"Trusted", sdbus::Variant(false)},
        {"Blocked", sdbus::Variant(false)},
        {"LegacyPairing", sdbus::Variant(false)},
        {"Connected", sdbus::Variant(connected_)},
        {"ServicesResolved", sdbus::Variant(servicesResolved_)},
        {"UUIDs", sdbus::Variant(uuids_)},
        {"Adapter", sdbus::Variant(sdbus::ObjectPath(owner_.adapterPath()))},
    };
    if (name_) properties["Name"] = sdbus::Variant(*name_);
    if (withAdvertising) {
        if (rssi_ != 0) properties["RSSI"] = sdbus::Variant(rssi_);
        if (!manufacturerData_.empty()) properties["ManufacturerData"] = sdbus::Variant(manufacturerData_);
        if (!serviceData_.empty()) properties["ServiceData"] = sdbus::Variant(serviceData_);
    }
    return properties;
}

void DoubleDevice::publish() {
    object_ = sdbus::createObject(owner_.connection(), path_);
    registerDevice();
    object_->finishRegistration();
    emitInterfacesAdded(owner_.root(), path_, {{kDeviceInterface, deviceProperties(true)}});
    owner_.log("device " + address_ + " appeared at " + path_);
}

// Advertising data (RSSI, manufacturer and service data) is only in signals, as bluetoothd shows it only
// while it hears the device.
void DoubleDevice::registerDevice() {
    auto property = [this](const char* name, auto getter) { addProperty(*object_, kDeviceInterface, name, getter); };
    property("Address", [this] { return address_; });
    property("AddressType", [] { return std::string("random"); });
    if (name_) property("Name", [this] { return name_.value_or(""); });
    property("Alias", [this] { return name_.value_or(aliasOf(address_)); });
    property("Paired", [] { return false; });
    property("Trusted", [] { return false; });
    property("Blocked", [] { return false; });
    property("LegacyPairing", [] { return false; });
    property("Connected", [this] { return connected_; });
    property("ServicesResolved", [this] { return servicesResolved_; });
    property("UUIDs", [this] { return uuids_; });
    property("Adapter", [this] { return sdbus::ObjectPath(owner_.adapterPath()); });
    object_->registerMethod("Connect").onInterface(kDeviceInterface).implementedAs([this](sdbus::Result<>&& result) {
        connect(std::make_shared<sdbus::Result<>>(std::move(result)));
    });
    object_->registerMethod("Disconnect").onInterface(kDeviceInterface).implementedAs([this](sdbus::Result<>&& result) {
        disconnect(std::make_shared<sdbus::Result<>>(std::move(result)));
    });
    object_->registerMethod("Pair").onInterface(kDeviceInterface).implementedAs([] {
        throw bluezError("org.bluez.Error.NotSupported", "Operation is not supported");
    });
    object_->registerMethod("CancelPairing").onInterface(kDeviceInterface).implementedAs([] {
        throw bluezError("org.bluez.Error.DoesNotExist", "Does Not Exist");
    });
}

void DoubleDevice::heard(const AdvertisementData& data, int rssi, bool filtered) {
    const auto oldName = name_;
    const auto oldUUIDs = uuids_;
    const auto oldManufacturer = manufacturerBytes_;
    const auto oldServiceData = serviceData_.size();
    if (data.localName) name_ = data.localName;
    uuids_.clear();
    for (const auto& uuid : data.serviceUUIDs) uuids_.push_back(lowerUUID(uuid));
    if (data.manufacturerData && data.manufacturerData->size() >= 2) {
        const auto& bytes = *data.manufacturerData;
        manufacturerBytes_ = bytes;
        manufacturerData_.clear();
        const auto company = static_cast<std::uint16_t>(bytes[0] | bytes[1] << 8);
        manufacturerData_[company] = sdbus::Variant(std::vector<std::uint8_t>(bytes.begin() + 2, bytes.end()));
    }
    serviceData_.clear();
    for (const auto& [uuid, bytes] : data.serviceData) serviceData_[lowerUUID(uuid)] = sdbus::Variant(bytes);
    const auto heardRssi = static_cast<std::int16_t>(rssi);
    if (!object_) {
        rssi_ = heardRssi;
        publish();
        return;
    }
    Properties changed;
    if (filtered || rssi_ == 0 || std::abs(heardRssi - rssi_) >= kRssiThreshold) {
        rssi_ = heardRssi;
        changed["RSSI"] = sdbus::Variant(rssi_);
    }
    if (name_ != oldName && name_) {
        changed["Name"] = sdbus::Variant(*name_);
        changed["Alias"] = sdbus::Variant(*name_);
    }
    if (uuids_ != oldUUIDs) changed["UUIDs"] = sdbus::Variant(uuids_);
    if (manufacturerBytes_ != oldManufacturer) changed["ManufacturerData"] = sdbus::Variant(manufacturerData_);
    if (serviceData_.size() != oldServiceData) changed["ServiceData"] = sdbus::Variant(serviceData_);
    if (!changed.empty()) emitPropertiesChanged(*object_, kDeviceInterface, changed);
}

void DoubleDevice::discoveryStopped() {
    if (!object_ || rssi_ == 0) return;
    rssi_ = 0;
    emitPropertiesChanged(*object_, kDeviceInterface, {}, {"RSSI"});
}

void DoubleDevice::setConnected(bool connected) {
    if (connected_ == connected) return;
    connected_ = connected;
    if (object_) emitPropertiesChanged(*object_, kDeviceInterface, {{"Connected", sdbus::Variant(connected_)}});
}

void DoubleDevice::setServicesResolved(bool resolved) {
    if (servicesResolved_ == resolved) return;
    servicesResolved_ = resolved;
    if (object_) {
        emitPropertiesChanged(*object_, kDeviceInterface, {{"ServicesResolved", sdbus::Variant(servicesResolved_)}});
    }
}

// ---------------------------------------------------------------- connect and disconnect

void DoubleDevice::connect(std::shared_ptr<sdbus::Result<>> result) {
    if (!owner_.isPowered()) throw bluezError("org.bluez.Error.NotReady", "Resource Not Ready");
    if (pendingConnect_) throw bluezError("org.bluez.Error.InProgress", "In Progress");
    if (connected_ && servicesResolved_) return result->returnResults();
    if (const auto& fault = owner_.connectError()) {
        const auto error = bluezError(fault->first, fault->second);
        owner_.log("Connect of " + address_ + " answered with the injected error " + fault->first);
        owner_.later([result, error] { result->returnError(error); });
        return;
    }
    if (!labPeripheral_) throw bluezError("org.bluez.Error.Failed", "Host is down");
    pendingConnect_ = result;
    owner_.log("connecting " + address_);
    owner_.labCentral().connectPeripheral(labPeripheral_, {});
}

void DoubleDevice::failConnect(const std::string& name, const std::string& message) {
    auto result = std::exchange(pendingConnect_, nullptr);
    if (!result) return;
    const auto error = bluezError(name, message);
    owner_.later([result, error] { result->returnError(error); });
}

void DoubleDevice::disconnect(std::shared_ptr<sdbus::Result<>> result) {
    if (!connected_ && !pendingConnect_) throw bluezError("org.bluez.Error.NotConnected", "Not Connected");
    if (!labPeripheral_ || labPeripheral_->state() == PeripheralState::Disconnected) {
        endLink("Software caused connection abort");
        return result->returnResults();
    }
    pendingDisconnects_.push_back(result);
    owner_.labCentral().cancelPeripheralConnection(labPeripheral_);
}

void DoubleDevice::labConnected() {
    if (!pendingConnect_ && !connected_) {
        // The attempt was given up meanwhile: let the link go.
        owner_.labCentral().cancelPeripheralConnection(labPeripheral_);
        return;
    }
    setConnected(true);
    characteristicDiscoveries_ = 0;
    labPeripheral_->discoverServices(std::nullopt);
}

void DoubleDevice::labConnectFailed(const BLEError& error) {
    owner_.log("connection to " + address_ + " failed: " + error.description);
    failConnect("org.bluez.Error.Failed", error.description);
}

void DoubleDevice::labServicesDiscovered(const OptionalError& error) {
    if (error) {
        failConnect("org.bluez.Error.Failed", "Service discovery failed: " + error->description);
        owner_.labCentral().cancelPeripheralConnection(labPeripheral_);
        return;
    }
    const auto services = labPeripheral_->services();
    characteristicDiscoveries_ = static_cast<int>(services.size());
    if (services.empty()) return resolved();
    for (const auto& service : services) labPeripheral_->discoverCharacteristics({}, service);
}

void DoubleDevice::labCharacteristicsDiscovered(const OptionalError& error) {
    if (characteristicDiscoveries_ <= 0) return;
    if (error) {
        characteristicDiscoveries_ = 0;
        failConnect("org.bluez.Error.Failed", "Characteristic discovery failed: " + error->description);
        owner_.labCentral().cancelPeripheralConnection(labPeripheral_);
        return;
    }
    if (--characteristicDiscoveries_ == 0) resolved();
}

void DoubleDevice::resolved() {
    publishGatt();
    setServicesResolved(true);
    auto result = std::exchange(pendingConnect_, nullptr);
    owner_.log("connected " + address_ + ", services resolved");
    if (result) owner_.later([result] { result->returnResults(); });
}

void DoubleDevice::labDisconnected() {
    endLink("Software caused connection abort");
    for (auto& result : std::exchange(pendingDisconnects_, {})) result->returnResults();
}

void DoubleDevice::endLink(const std::string& reason) {
    for (auto& characteristic : characteristics_) characteristic->linkEnded();
    setServicesResolved(false);
    setConnected(false);
    failConnect("org.bluez.Error.Failed", reason);
    characteristicDiscoveries_ = 0;
}

void DoubleDevice::powerOff() {
    endLink("Adapter powered off");
    for (auto& result : std::exchange(pendingDisconnects_, {})) result->returnResults();
}

// ---------------------------------------------------------------- GATT objects

std::string DoubleDevice::servicePathFor(const BLEUUID& uuid) {
    for (const auto& service : services_) {
        if (service.uuid == uuid) return service.path;
    }
    ServiceObject service{uuid, path_ + format("/service%04x", nextHandle_++), nullptr};
    service.object = sdbus::createObject(owner_.connection(), service.path);
    const std::string uuidText = lowerUUID(uuid);
    const std::string devicePath = path_;
    service.object->registerProperty("UUID").onInterface(kGattServiceInterface).withGetter([uuidText] {
        return uuidText;
    });
    service.object->registerProperty("Device").onInterface(kGattServiceInterface).withGetter([devicePath] {
        return sdbus::ObjectPath(devicePath);
    });
    service.object->registerProperty("Primary").onInterface(kGattServiceInterface).withGetter([] { return true; });
    service.object->registerProperty("Includes").onInterface(kGattServiceInterface).withGetter([] {
        return std::vector<sdbus::ObjectPath>{};
    });
    service.object->finishRegistration();
    emitInterfacesAdded(owner_.root(), service.path,
                        {{kGattServiceInterface,
                          {{"UUID", sdbus::Variant(uuidText)},
                           {"Device", sdbus::Variant(sdbus::ObjectPath(devicePath))},
                           {"Primary", sdbus::Variant(true)},
                           {"Includes", sdbus::Variant(std::vector<sdbus::ObjectPath>{})}}}});
    services_.push_back(std::move(service));
    return services_.back().path;
}

// Published once, kept across links; each link binds the objects to that link's lab characteristics.
void DoubleDevice::publishGatt() {
    for (const auto& service : labPeripheral_->services()) {
        const std::string servicePath = servicePathFor(service->uuid());
        for (const auto& characteristic : service->characteristics()) {
            auto existing = std::find_if(characteristics_.begin(), characteristics_.end(), [&](const auto& known) {
                return known->serviceUUID() == service->uuid() && known->uuid() == characteristic->uuid();
            });
            if (existing == characteristics_.end()) {
                const std::uint16_t handle = nextHandle_;
                nextHandle_ = static_cast<std::uint16_t>(nextHandle_ + 3);
                characteristics_.push_back(std::make_unique<DoubleCharacteristic>(
                    *this, servicePath + format("/char%04x", handle),
                    servicePath + format("/char%04x/desc%04x", handle, handle + 2), servicePath, service->uuid(),
                    characteristic->uuid(), characteristic->properties()));
                characteristics_.back()->publish(owner_.connection(), owner_.root());
                existing = std::prev(characteristics_.end());
            }
            (*existing)->bind(characteristic);
        }
    }
}

DoubleCharacteristic* DoubleDevice::characteristicFor(const std::shared_ptr<Characteristic>& characteristic) {
    for (auto& known : characteristics_) {
        if (known->standsFor(characteristic)) return known.get();
    }
    return nullptr;
}

void DoubleDevice::withdraw() {
    if (connected_ || pendingConnect_) {
        owner_.labCentral().cancelPeripheralConnection(labPeripheral_);
        endLink("Device removed");
    }
    for (auto& characteristic : characteristics_) characteristic->withdraw(owner_.root());
    characteristics_.clear();
    for (auto& service : services_) {
        emitInterfacesRemoved(owner_.root(), service.path, {kGattServiceInterface});
        service.object.reset();
    }
    services_.clear();
    if (object_) {
        emitInterfacesRemoved(owner_.root(), path_, {kDeviceInterface});
        object_.reset();
    }
    rssi_ = 0;
    owner_.log("device " + address_ + " removed");
}

void DoubleDevice::withdrawQuietly() {
    characteristics_.clear();
    services_.clear();
    object_.reset();
    pendingConnect_.reset();
    pendingDisconnects_.clear();
}

void DoubleDevice::emitGarbage() {
    if (!object_) return;
    emitPropertiesChanged(*object_, kDeviceInterface,
                          {{"RSSI", sdbus::Variant(std::string("loud"))},
                           {"ManufacturerData", sdbus::Variant(std::map<std::string, std::string>{{"acme", "x"}})},
                           {"ServiceData", sdbus::Variant(std::map<std::string, sdbus::Variant>{
                                               {"not-a-uuid", sdbus::Variant(std::vector<std::uint8_t>{1})},
                                               {"fff0", sdbus::Variant(std::string("text"))}})},
                           {"Connected", sdbus::Variant(std::string("maybe"))},
                           {"UUIDs", sdbus::Variant(std::int32_t(5))}});
    for (auto& characteristic : characteristics_) characteristic->emitGarbage();
}

}  // namespace halvora::bluezdouble
