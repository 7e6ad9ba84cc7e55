#include "BlueZDouble.hpp"

#include <algorithm>
#include <cctype>
#include <cstdio>

#include "LabBridge.hpp"
#include "halvora/Core/Format.hpp"
#include "lab/LabTransport.hpp"
#include "lab/VirtualPeripheral.hpp"

namespace halvora::bluezdouble {

namespace {

constexpr const char* kBlueZName = "org.bluez";
constexpr const char* kControlPath = "/org/halvora/double";
constexpr const char* kControlInterface = "org.halvora.Double1";
constexpr auto kGarbageInterval = std::chrono::milliseconds(200);
/// Static random addresses have the two top bits set.
constexpr std::uint8_t kStaticRandomBits = 0xC0;

/// Public addresses have them clear.
constexpr std::uint8_t kPublicMask = 0x3F;
/// Duplicate-filter cycles of one discovery (the cycle id is epoch * this + cycle).
constexpr std::uint64_t kCyclesPerDiscovery = 1000000;

/// A device's address: the last six bytes of its lab identifier, as a static random address (or a public
/// one).
std::string addressOf(const std::string& labIdentifier, bool publicAddress) {
    const BLEUUID uuid(labIdentifier);
    const auto& b = uuid.bytes();
    const int first = publicAddress ? (b[10] & kPublicMask) : (b[10] | kStaticRandomBits);
    return format("%02X:%02X:%02X:%02X:%02X:%02X", first, b[11], b[12], b[13], b[14], b[15]);
}

std::string upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
    return text;
}

void checkFilter(const Properties& filter) {
    for (const auto& [key, value] : filter) {
        bool valid = false;
        if (key == "Transport") {
            valid = value.containsValueOfType<std::string>();
            if (valid) {
                const auto transport = value.get<std::string>();
                valid = transport == "auto" || transport == "le" || transport == "bredr";
            }
        } else if (key == "DuplicateData" || key == "Discoverable") {
            valid = value.containsValueOfType<bool>();
        } else if (key == "UUIDs") {
            valid = value.containsValueOfType<std::vector<std::string>>();
        } else if (key == "RSSI") {
            valid = value.containsValueOfType<std::int16_t>();
        } else if (key == "Pathloss") {
            valid = value.containsValueOfType<std::uint16_t>();
        } else if (key == "Pattern") {
            valid = value.containsValueOfType<std::string>();
        }
        if (!valid) throw bluezError("org.bluez.Error.InvalidArguments", "Invalid arguments in method call");
    }
}

}  // namespace

BlueZDouble::BlueZDouble(DoubleOptions options, std::vector<std::shared_ptr<lab::VirtualPeripheral>> devices)
    : options_(std::move(options)),
      adapterPath_("/org/bluez/" + options_.adapter),
      executor_(ThreadedExecutor::create()),
      radio_(std::make_shared<lab::Radio>(executor_, options_.seed.value_or(1))),
      virtualDevices_(std::move(devices)),
      loop_(std::make_unique<bluez::BusLoop>("bluez-double", std::chrono::seconds(1))),
      powered_(!options_.poweredOff) {
    if (options_.connectErrorName)
        connectError_ = std::make_pair(*options_.connectErrorName, options_.connectErrorMessage);
    if (options_.poweredOff) radio_->setPoweredOn(false);
    bridge_ = std::make_shared<LabBridge>(*this, *loop_);
    for (const auto& device : virtualDevices_) radio_->addPeripheral(device);
    lab::LabTransport transport(radio_);
    labCentral_ = transport.makeCentral(bridge_, executor_->makeQueue("double.lab-central"), {});
    for (const auto& device : virtualDevices_) {
        devices_.push_back(std::make_unique<DoubleDevice>(*this, device->identifier(),
                                                          addressOf(device->identifier(), options_.publicAddresses)));
        auto peripherals = labCentral_->retrievePeripheralsWithIdentifiers({device->identifier()});
        if (peripherals.empty()) continue;
        peripherals.front()->setDelegate(bridge_);
        devices_.back()->setLabPeripheral(peripherals.front());
    }
}

BlueZDouble::~BlueZDouble() {
    stop();
}

void BlueZDouble::start(std::function<void()> ready, std::function<void(const std::string&)> failed) {
    ready_ = std::move(ready);
    failed_ = std::move(failed);
    bluez::BusLoop::Hooks hooks;
    hooks.open = [this] { return open(); };
    hooks.opened = [this](sdbus::IConnection& connection) { opened(connection); };
    hooks.openFailed = [this](const std::string& reason) {
        if (failed_) failed_("cannot take " + std::string(kBlueZName) + " on the system bus: " + reason);
    };
    hooks.closing = [this](const std::string& reason) {
        for (auto& device : devices_) device->withdrawQuietly();
        garbageObjects_.clear();
        senderWatch_.reset();
        control_.reset();
        adapter_.reset();
        root_.reset();
        if (!stopping_ && failed_) failed_("lost the system bus: " + reason);
    };
    hooks.failed = [this](const std::string& what) { log("internal error: " + what); };
    loop_->start(std::move(hooks));
}

void BlueZDouble::stop() {
    stopping_ = true;
    // The lab first, so that no more of its events come; then the bus.
    if (executor_) executor_->shutdown();
    if (loop_) loop_->stop();
}

std::unique_ptr<sdbus::IConnection> BlueZDouble::open() {
    auto connection = sdbus::createSystemBusConnection();
    connection->requestName(kBlueZName);
    return connection;
}

sdbus::IConnection& BlueZDouble::connection() {
    return *loop_->connection();
}

void BlueZDouble::opened(sdbus::IConnection& connection) {
    root_ = sdbus::createObject(connection, "/");
    root_->addObjectManager();
    if (!options_.noAdapter) publishAdapter(connection);
    publishControl(connection);
    watchSenders(connection);
    if (options_.garbage) {
        publishGarbage(connection);
        scheduleGarbage();
    }
    log("serving " + adapterPath_ + " with " + std::to_string(devices_.size()) + " devices");
    if (ready_) ready_();
}

void BlueZDouble::watchSenders(sdbus::IConnection& connection) {
    const std::string rule =
        "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',member='NameOwnerChanged'";
    senderWatch_ = connection.addMatch(rule, [this](sdbus::Message& message) {
        try {
            std::string name, oldOwner, newOwner;
            message >> name >> oldOwner >> newOwner;
            // Unique names (":1.42") that lose their owner are programs that left.
            if (!newOwner.empty() || name.empty() || name.front() != ':') return;
            loop_->post([this, name] {
                for (auto& device : devices_) device->senderLeft(name);
            });
        } catch (const sdbus::Error& error) {
            log("ignored a malformed NameOwnerChanged: " + error.getMessage());
        }
    });
}

void BlueZDouble::later(std::function<void()> reply) {
    if (options_.replyDelay.count() <= 0) return reply();
    loop_->postAfter(options_.replyDelay, std::move(reply));
}

std::uint64_t BlueZDouble::after(std::chrono::milliseconds delay, std::function<void()> task) {
    return loop_->postAfter(delay, std::move(task));
}

void BlueZDouble::cancelTimer(std::uint64_t timer) {
    loop_->cancel(timer);
}

std::uint64_t BlueZDouble::reportCycle() const {
    const auto elapsed = std::chrono::steady_clock::now() - discoveryStarted_;
    const auto cycle = static_cast<std::uint64_t>(elapsed / options_.duplicateFilterCycle);
    return discoveryEpoch_ * kCyclesPerDiscovery + cycle;
}

bool BlueZDouble::isOnAir(const std::string& labIdentifier) const {
    for (const auto& device : virtualDevices_) {
        if (upper(device->identifier()) == upper(labIdentifier)) return device->isPresent() && device->faults().inRange;
    }
    return false;
}

void BlueZDouble::log(const std::string& line) const {
    if (options_.verbose) std::fprintf(stderr, "bluez-double: %s\n", line.c_str());
}

// ---------------------------------------------------------------- adapter

Properties BlueZDouble::adapterProperties() const {
    return {{"Address", sdbus::Variant(options_.adapterAddress)},
            {"AddressType", sdbus::Variant(std::string("public"))},
            {"Name", sdbus::Variant(std::string("halvora-double"))},
            {"Alias", sdbus::Variant(std::string("halvora-double"))},
            {"Class", sdbus::Variant(std::uint32_t(0))},
            {"Powered", sdbus::Variant(powered_)},
            {"Discoverable", sdbus::Variant(false)},
            {"Pairable", sdbus::Variant(false)},
            {"Discovering", sdbus::Variant(discovering_)},
            {"UUIDs", sdbus::Variant(std::vector<std::string>{})}};
}

void BlueZDouble::publishAdapter(sdbus::IConnection& connection) {
    adapter_ = sdbus::createObject(connection, adapterPath_);
    auto property = [this](const char* name, auto getter) { addProperty(*adapter_, kAdapterInterface, name, getter); };
    property("Address", [this] { return options_.adapterAddress; });
    property("AddressType", [] { return std::string("public"); });
    property("Name", [] { return std::string("halvora-double"); });
    property("Alias", [] { return std::string("halvora-double"); });
    property("Class", [] { return std::uint32_t(0); });
    adapter_->registerProperty("Powered")
        .onInterface(kAdapterInterface)
        .withGetter([this] { return powered_; })
        .withSetter([this](const bool& on) { setPowered(on); });
    property("Discoverable", [] { return false; });
    property("Pairable", [] { return false; });
    property("Discovering", [this] { return discovering_; });
    property("UUIDs", [] { return std::vector<std::string>{}; });
    adapter_->registerMethod("StartDiscovery").onInterface(kAdapterInterface).implementedAs([this] {
        startDiscovery();
    });
    adapter_->registerMethod("StopDiscovery").onInterface(kAdapterInterface).implementedAs([this] { stopDiscovery(); });
    adapter_->registerMethod("SetDiscoveryFilter")
        .onInterface(kAdapterInterface)
        .implementedAs([this](const Properties& filter) { setDiscoveryFilter(filter); });
    adapter_->registerMethod("GetDiscoveryFilters").onInterface(kAdapterInterface).implementedAs([] {
        return std::vector<std::string>{"UUIDs",         "RSSI",         "Pathloss", "Transport",
                                        "DuplicateData", "Discoverable", "Pattern"};
    });
    adapter_->registerMethod("RemoveDevice")
        .onInterface(kAdapterInterface)
        .implementedAs([this](const sdbus::ObjectPath& path) { removeDevice(path); });
    adapter_->finishRegistration();
    emitInterfacesAdded(*root_, adapterPath_, {{kAdapterInterface, adapterProperties()}});
}

void BlueZDouble::setPowered(bool powered) {
    if (powered == powered_) return;
    log(powered ? "adapter powered on" : "adapter powered off");
    if (!powered) {
        // As the controller goes down: links drop, discovery ends, then the adapter reports off.
        for (auto& device : devices_) device->powerOff();
        if (discovering_) {
            discovering_ = false;
            labScanning_ = false;
            labCentral_->stopScan();
            emitPropertiesChanged(*adapter_, kAdapterInterface, {{"Discovering", sdbus::Variant(false)}});
            for (auto& device : devices_) device->discoveryStopped();
        }
        filtered_ = false;
    }
    radio_->setPoweredOn(powered);
    powered_ = powered;
    emitPropertiesChanged(*adapter_, kAdapterInterface, {{"Powered", sdbus::Variant(powered_)}});
}

void BlueZDouble::startDiscovery() {
    if (!powered_) throw bluezError("org.bluez.Error.NotReady", "Resource Not Ready");
    if (discovering_) throw bluezError("org.bluez.Error.InProgress", "Operation already in progress");
    discovering_ = true;
    // A new discovery resets the controller's duplicate filter.
    ++discoveryEpoch_;
    discoveryStarted_ = std::chrono::steady_clock::now();
    emitPropertiesChanged(*adapter_, kAdapterInterface, {{"Discovering", sdbus::Variant(true)}});
    scanLab();
}

void BlueZDouble::scanLab() {
    if (!discovering_ || labScanning_ || labCentral_->state() != CentralState::PoweredOn) return;
    labCentral_->scanForPeripheralsWithServices({}, ScanOptions{true});
    labScanning_ = true;
}

void BlueZDouble::labStateChanged(CentralState state) {
    if (state == CentralState::PoweredOn) scanLab();
}

void BlueZDouble::stopDiscovery() {
    if (!discovering_) throw bluezError("org.bluez.Error.Failed", "No discovery started");
    discovering_ = false;
    labScanning_ = false;
    labCentral_->stopScan();
    filtered_ = false;
    emitPropertiesChanged(*adapter_, kAdapterInterface, {{"Discovering", sdbus::Variant(false)}});
    for (auto& device : devices_) device->discoveryStopped();
}

void BlueZDouble::setDiscoveryFilter(const Properties& filter) {
    checkFilter(filter);
    filtered_ = !filter.empty();
}

void BlueZDouble::removeDevice(const sdbus::ObjectPath& path) {
    auto* device = deviceAt(path);
    if (device == nullptr || !device->isPublished()) throw bluezError("org.bluez.Error.DoesNotExist", "Does Not Exist");
    // Objects go after this call is answered, never under its own dispatch.
    const std::string labIdentifier = device->labIdentifier();
    loop_->post([this, labIdentifier] {
        if (auto* gone = deviceFor(labIdentifier)) gone->withdraw();
    });
}

void BlueZDouble::labAdvertisement(const std::string& labIdentifier, const AdvertisementData& data, int rssi) {
    if (!discovering_ || !root_) return;
    if (auto* device = deviceFor(labIdentifier)) device->heard(data, rssi, filtered_);
}

DoubleDevice* BlueZDouble::deviceFor(const std::string& labIdentifier) {
    if (!root_) return nullptr;
    const std::string wanted = upper(labIdentifier);
    for (auto& device : devices_) {
        if (upper(device->labIdentifier()) == wanted) return device.get();
    }
    return nullptr;
}

DoubleDevice* BlueZDouble::deviceAt(const std::string& path) {
    for (auto& device : devices_) {
        if (device->path() == path) return device.get();
    }
    return nullptr;
}

DoubleDevice* BlueZDouble::deviceWithAddress(const std::string& address) {
    for (auto& device : devices_) {
        if (device->address() == upper(address)) return device.get();
    }
    return nullptr;
}

// ---------------------------------------------------------------- control and garbage

void BlueZDouble::publishControl(sdbus::IConnection& connection) {
    control_ = sdbus::createObject(connection, kControlPath);
    control_->registerMethod("DropLink")
        .onInterface(kControlInterface)
        .implementedAs([this](const std::string& address) {
            auto* device = deviceWithAddress(address);
            if (device == nullptr) throw bluezError("org.bluez.Error.DoesNotExist", "No such device");
            for (const auto& virtualDevice : virtualDevices_) {
                if (upper(virtualDevice->identifier()) == upper(device->labIdentifier())) virtualDevice->dropLink();
            }
        });
    control_->registerMethod("SetConnectError")
        .onInterface(kControlInterface)
        .implementedAs([this](const std::string& name, const std::string& message) {
            connectError_.reset();
            if (!name.empty()) connectError_ = std::make_pair(name, message);
        });
    control_->registerMethod("SetOnAir")
        .onInterface(kControlInterface)
        .implementedAs([this](const std::string& address, bool on) {
            auto* device = deviceWithAddress(address);
            if (device == nullptr) throw bluezError("org.bluez.Error.DoesNotExist", "No such device");
            for (const auto& virtualDevice : virtualDevices_) {
                if (upper(virtualDevice->identifier()) == upper(device->labIdentifier())) virtualDevice->setPresent(on);
            }
        });
    control_->registerMethod("SetIdentityAddress")
        .onInterface(kControlInterface)
        .implementedAs([this](const std::string& address, const std::string& identity) {
            auto* device = deviceWithAddress(address);
            if (device == nullptr) throw bluezError("org.bluez.Error.DoesNotExist", "No such device");
            device->setIdentityAddress(upper(identity));
        });
    control_->registerMethod("DeviceAddresses").onInterface(kControlInterface).implementedAs([this] {
        std::map<std::string, std::string> addresses;
        for (const auto& device : devices_) addresses[device->labIdentifier()] = device->address();
        return addresses;
    });
    control_->finishRegistration();
}

// Objects bluetoothd never makes: a device without a usable address and one whose properties all have the
// wrong types, with a characteristic that points at no service.
void BlueZDouble::publishGarbage(sdbus::IConnection& connection) {
    auto nameless = sdbus::createObject(connection, adapterPath_ + "/dev_garbage");
    nameless->registerProperty("Address").onInterface(kDeviceInterface).withGetter([] { return std::uint32_t(7); });
    nameless->registerProperty("RSSI").onInterface(kDeviceInterface).withGetter([] { return std::string("strong"); });
    nameless->finishRegistration();
    garbageObjects_.push_back(std::move(nameless));

    const std::string wrongPath = adapterPath_ + "/dev_0A_0B_0C_0D_0E_0F";
    auto wrong = sdbus::createObject(connection, wrongPath);
    auto property = [&wrong](const char* name, auto getter) { addProperty(*wrong, kDeviceInterface, name, getter); };
    property("Address", [] { return std::string("0A:0B:0C:0D:0E:0F"); });
    property("Name", [] { return std::uint32_t(42); });
    property("Connected", [] { return std::string("yes"); });
    property("UUIDs", [] { return std::string("fff0"); });
    property("ManufacturerData", [] { return std::map<std::string, std::string>{{"acme", "x"}}; });
    wrong->finishRegistration();
    garbageObjects_.push_back(std::move(wrong));

    auto orphan = sdbus::createObject(connection, wrongPath + "/service0001/char0002");
    orphan->registerProperty("UUID").onInterface(kGattCharacteristicInterface).withGetter([] {
        return std::string("zzz");
    });
    orphan->registerProperty("Service").onInterface(kGattCharacteristicInterface).withGetter([] {
        return sdbus::ObjectPath("/nowhere");
    });
    orphan->finishRegistration();
    garbageObjects_.push_back(std::move(orphan));
}

void BlueZDouble::scheduleGarbage() {
    loop_->postAfter(kGarbageInterval, [this] {
        if (stopping_ || !root_) return;
        for (auto& device : devices_) device->emitGarbage();
        // An InterfacesAdded whose arguments have the wrong types.
        auto signal = root_->createSignal("org.freedesktop.DBus.ObjectManager", "InterfacesAdded");
        signal << sdbus::ObjectPath(adapterPath_ + "/dev_0A_0B_0C_0D_0E_0F") << std::string("nonsense");
        root_->emitSignal(signal);
        emitInterfacesAdded(
            *root_, adapterPath_ + "/dev_0A_0B_0C_0D_0E_0F",
            {{kDeviceInterface,
              {{"RSSI", sdbus::Variant(std::string("near"))}, {"Name", sdbus::Variant(std::uint32_t(1))}}}});
        scheduleGarbage();
    });
}

}  // namespace halvora::bluezdouble
