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
/// How often a Connect to a device off the air looks again whether it is back.
constexpr auto kAirPollInterval = std::chrono::milliseconds(100);
constexpr const char* kErrorFailed = "org.bluez.Error.Failed";
/// bluetoothd's reason when the controller gives up a connection attempt.
constexpr const char* kLeAbortByLocal = "le-connection-abort-by-local";
/// bluetoothd's reason when a page over BR/EDR is not answered.
constexpr const char* kBrPageTimeout = "br-connection-page-timeout";

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
        {"AddressType", sdbus::Variant(std::string(owner_.options().publicAddresses ? "public" : "random"))},
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
    property("AddressType", [this] { return std::string(owner_.options().publicAddresses ? "public" : "random"); });
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
    std::vector<std::string> uuids;
    for (const auto& uuid : data.serviceUUIDs) uuids.push_back(lowerUUID(uuid));
    std::vector<std::uint8_t> manufacturerBytes = manufacturerBytes_;
    if (data.manufacturerData && data.manufacturerData->size() >= 2) manufacturerBytes = *data.manufacturerData;
    std::map<std::string, sdbus::Variant> serviceData;
    for (const auto& [uuid, bytes] : data.serviceData) serviceData[lowerUUID(uuid)] = sdbus::Variant(bytes);
    const bool nameChanged = data.localName && data.localName != name_;
    const bool changedData = nameChanged || uuids != uuids_ || manufacturerBytes != manufacturerBytes_ ||
                             serviceData.size() != serviceData_.size();
    // The controller's duplicate filter: an unchanged advertisement once per cycle.
    const std::uint64_t cycle = owner_.reportCycle();
    if (object_ && !changedData && reportedCycle_ == cycle) return;
    reportedCycle_ = cycle;

    const auto oldName = name_;
    const auto oldUUIDs = uuids_;
    const auto oldManufacturer = manufacturerBytes_;
    const auto oldServiceData = serviceData_.size();
    if (data.localName) name_ = data.localName;
    uuids_ = std::move(uuids);
    if (manufacturerBytes != manufacturerBytes_) {
        manufacturerBytes_ = manufacturerBytes;
        manufacturerData_.clear();
        const auto company = static_cast<std::uint16_t>(manufacturerBytes[0] | manufacturerBytes[1] << 8);
        manufacturerData_[company] =
            sdbus::Variant(std::vector<std::uint8_t>(manufacturerBytes.begin() + 2, manufacturerBytes.end()));
    }
    serviceData_ = std::move(serviceData);
    const auto heardRssi = static_cast<std::int16_t>(rssi);
    if (!object_) {
        rssi_ = heardRssi;
        publish();
        armExpiry();
        return;
    }
    armExpiry();
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

// ---------------------------------------------------------------- expiry

void DoubleDevice::armExpiry() {
    disarmExpiry();
    if (!object_ || connected_ || pendingConnect_) return;
    expiryTimer_ = owner_.after(owner_.options().temporaryTimeout, [this] {
        expiryTimer_.reset();
        if (connected_ || pendingConnect_ || !object_) return;
        owner_.log("device " + address_ + " expired");
        withdraw();
    });
}

void DoubleDevice::disarmExpiry() {
    if (expiryTimer_) owner_.cancelTimer(*expiryTimer_);
    expiryTimer_.reset();
}

void DoubleDevice::discoveryStopped() {
    reportedCycle_.reset();
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
    if (connected_) return result->returnResults();
    if (const auto& fault = owner_.connectError()) {
        const auto error = bluezError(fault->first, fault->second);
        owner_.log("Connect of " + address_ + " answered with the injected error " + fault->first);
        owner_.later([result, error] { result->returnError(error); });
        return;
    }
    if (!labPeripheral_) throw bluezError(kErrorFailed, "Host is down");
    if (owner_.options().publicAddresses) {
        // A public address without "BR/EDR not supported" in the flags: bluetoothd pages it over BR/EDR.
        const auto error = bluezError(kErrorFailed, kBrPageTimeout);
        owner_.log("Connect of " + address_ + " went over BR/EDR and failed");
        owner_.later([result, error] { result->returnError(error); });
        return;
    }
    pendingConnect_ = result;
    disarmExpiry();
    waitForAir(result, std::chrono::steady_clock::now() + owner_.options().connectAbortDelay);
}

// The controller connects as soon as the device advertises, and gives up after the abort delay.
void DoubleDevice::waitForAir(std::shared_ptr<sdbus::Result<>> result, std::chrono::steady_clock::time_point deadline) {
    if (pendingConnect_ != result) return;  // answered or cancelled meanwhile
    if (owner_.isOnAir(labIdentifier_)) {
        owner_.log("connecting " + address_);
        owner_.labCentral().connectPeripheral(labPeripheral_, {});
        return;
    }
    if (std::chrono::steady_clock::now() >= deadline) {
        owner_.log("connection to " + address_ + " aborted: the device is not advertising");
        return failConnect(kErrorFailed, kLeAbortByLocal);
    }
    owner_.after(std::chrono::duration_cast<std::chrono::milliseconds>(kAirPollInterval),
                 [this, result, deadline] { waitForAir(result, deadline); });
}

void DoubleDevice::failConnect(const std::string& name, const std::string& message) {
    auto result = std::exchange(pendingConnect_, nullptr);
    if (!result) return;
    const auto error = bluezError(name, message);
    owner_.later([result, error] { result->returnError(error); });
    armExpiry();
}

void DoubleDevice::disconnect(std::shared_ptr<sdbus::Result<>> result) {
    // Without a link (or an attempt) there is nothing to end, and bluetoothd says so by succeeding.
    if (!connected_ && !pendingConnect_) return result->returnResults();
    if (!labPeripheral_ || labPeripheral_->state() == PeripheralState::Disconnected) {
        endLink("Software caused connection abort");
        return result->returnResults();
    }
    pendingDisconnects_.push_back(result);
    owner_.labCentral().cancelPeripheralConnection(labPeripheral_);
}

// bluetoothd answers Connect once the link is up; GATT discovery and ServicesResolved come after.
void DoubleDevice::labConnected() {
    if (!pendingConnect_ && !connected_) {
        // The attempt was given up meanwhile: let the link go.
        owner_.labCentral().cancelPeripheralConnection(labPeripheral_);
        return;
    }
    ++link_;
    setConnected(true);
    auto result = std::exchange(pendingConnect_, nullptr);
    owner_.log("connected " + address_);
    if (result) owner_.later([result] { result->returnResults(); });
    characteristicDiscoveries_ = 0;
    if (owner_.options().gattDiscoveryFails) return resolveLater();
    labPeripheral_->discoverServices(std::nullopt);
}

void DoubleDevice::labConnectFailed(const BLEError& error) {
    owner_.log("connection to " + address_ + " failed: " + error.description);
    failConnect(kErrorFailed, error.description);
}

// A failed discovery is not an error on the bus: ServicesResolved becomes true all the same.
void DoubleDevice::labServicesDiscovered(const OptionalError& error) {
    if (!connected_) return;
    if (error) {
        owner_.log("service discovery of " + address_ + " failed: " + error->description);
        return resolveLater();
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
        owner_.log("characteristic discovery of " + address_ + " failed: " + error->description);
        return resolveLater();
    }
    if (--characteristicDiscoveries_ == 0) resolved();
}

void DoubleDevice::resolved() {
    publishGatt();
    for (auto& characteristic : characteristics_) characteristic->reenable();
    resolveLater();
}

void DoubleDevice::resolveLater() {
    const std::uint64_t link = link_;
    owner_.after(owner_.options().resolveDelay, [this, link] {
        if (link != link_ || !connected_) return;
        setServicesResolved(true);
        owner_.log("services of " + address_ + " resolved");
        if (owner_.options().lateCharacteristics.count() > 0) {
            owner_.after(owner_.options().lateCharacteristics, [this] { publishLateCharacteristics(); });
        }
    });
}

void DoubleDevice::publishLateCharacteristics() {
    if (!object_) return;
    for (auto& characteristic : characteristics_) {
        if (!characteristic->isPublished()) characteristic->publish(owner_.connection(), owner_.root());
    }
}

void DoubleDevice::labDisconnected() {
    endLink("Software caused connection abort");
    for (auto& result : std::exchange(pendingDisconnects_, {})) result->returnResults();
}

void DoubleDevice::endLink(const std::string& reason) {
    ++link_;
    for (auto& characteristic : characteristics_) characteristic->linkEnded();
    setServicesResolved(false);
    setConnected(false);
    failConnect(kErrorFailed, reason);
    characteristicDiscoveries_ = 0;
    armExpiry();
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
                // Late characteristics appear only after ServicesResolved (publishLateCharacteristics()).
                if (owner_.options().lateCharacteristics.count() == 0) {
                    characteristics_.back()->publish(owner_.connection(), owner_.root());
                }
                existing = std::prev(characteristics_.end());
            }
            (*existing)->bind(characteristic);
        }
    }
}

void DoubleDevice::senderLeft(const std::string& sender) {
    for (auto& characteristic : characteristics_) characteristic->endSession(sender);
}

DoubleCharacteristic* DoubleDevice::characteristicFor(const std::shared_ptr<Characteristic>& characteristic) {
    for (auto& known : characteristics_) {
        if (known->standsFor(characteristic)) return known.get();
    }
    return nullptr;
}

void DoubleDevice::withdraw() {
    disarmExpiry();
    if (connected_ || pendingConnect_) {
        owner_.labCentral().cancelPeripheralConnection(labPeripheral_);
        endLink("Device removed");
    }
    disarmExpiry();
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
    disarmExpiry();
    characteristics_.clear();
    services_.clear();
    object_.reset();
    pendingConnect_.reset();
    pendingDisconnects_.clear();
}

void DoubleDevice::setIdentityAddress(const std::string& address) {
    address_ = address;
    owner_.log("device at " + path_ + " is now " + address_);
    if (object_) {
        emitPropertiesChanged(*object_, kDeviceInterface,
                              {{"Address", sdbus::Variant(address_)}, {"AddressType", sdbus::Variant(std::string("public"))}});
    }
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
