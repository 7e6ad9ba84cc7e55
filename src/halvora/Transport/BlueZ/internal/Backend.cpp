#include "halvora/Transport/BlueZ/internal/Backend.hpp"

#include <sdbus-c++/sdbus-c++.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>

#include "halvora/Transport/BlueZ/internal/BlueZCentral.hpp"
#include "halvora/Transport/BlueZ/internal/BlueZNames.hpp"
#include "halvora/Transport/BlueZ/internal/NameBasedUUID.hpp"
#include "halvora/Transport/BlueZ/internal/PropertyReader.hpp"

namespace halvora::bluez {

namespace {

/// The namespace of peripheral identifiers: name-based UUIDs of "adapter address/device address".
const BLEUUID kIdentifierNamespace("6A0F3C52-8E1D-4B7A-9C25-3F4D8E7B1A60");
/// Distinct reports of malformed input logged; later ones are not.
constexpr std::size_t kMaxDropReports = 256;
/// Proxies kept for reuse; beyond this, idle ones are let go.
constexpr std::size_t kMaxIdleProxies = 64;

std::string upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
    return text;
}

std::string matchRule(const std::string& sender, const std::string& interface, const std::string& member,
                      const std::string& extra) {
    std::string rule = "type='signal',sender='" + sender + "',interface='" + interface + "',member='" + member + "'";
    if (!extra.empty()) rule += "," + extra;
    return rule;
}

DBusFailure failureOf(const sdbus::Error& error) {
    return DBusFailure{error.getName(), error.getMessage()};
}

/// The socket path of a single "unix:path=..." bus address (with %XX escapes decoded), or nothing.
std::optional<std::string> unixSocketPath(const std::string& address) {
    const std::string prefix = "unix:";
    if (address.compare(0, prefix.size(), prefix) != 0 || address.find(';') != std::string::npos) return std::nullopt;
    std::size_t start = prefix.size();
    while (start < address.size()) {
        const auto end = std::min(address.find(',', start), address.size());
        const std::string pair = address.substr(start, end - start);
        if (pair.compare(0, 5, "path=") == 0) {
            std::string path;
            for (std::size_t i = 5; i < pair.size(); ++i) {
                if (pair[i] == '%' && i + 2 < pair.size()) {
                    path.push_back(static_cast<char>(std::stoi(pair.substr(i + 1, 2), nullptr, 16)));
                    i += 2;
                } else {
                    path.push_back(pair[i]);
                }
            }
            return path;
        }
        start = end + 1;
    }
    return std::nullopt;
}

/// Fails like sd-bus would when nothing listens at a unix socket address. sdbus-c++ 1.2 leaks the bus
/// object of a custom address whose connection fails, so such addresses are tried here first.
void requireListener(const std::string& address) {
    std::optional<std::string> path;
    try {
        path = unixSocketPath(address);
    } catch (const std::exception&) {
        throw sdbus::Error("org.freedesktop.DBus.Error.BadAddress", "malformed bus address " + address);
    }
    if (!path) return;
    sockaddr_un socketAddress{};
    socketAddress.sun_family = AF_UNIX;
    if (path->size() >= sizeof socketAddress.sun_path) {
        throw sdbus::Error("org.freedesktop.DBus.Error.BadAddress", "socket path too long: " + *path);
    }
    std::memcpy(socketAddress.sun_path, path->c_str(), path->size() + 1);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) throw sdbus::Error("org.freedesktop.DBus.Error.Failed", std::strerror(errno));
    const int connected = ::connect(fd, reinterpret_cast<const sockaddr*>(&socketAddress), sizeof socketAddress);
    const int error = errno;
    ::close(fd);
    if (connected != 0) {
        throw sdbus::Error("org.freedesktop.DBus.Error.FileNotFound",
                           "Failed to open bus (" + std::string(std::strerror(error)) + ")");
    }
}

/// The failure of an answer that could not be read.
DBusFailure malformed(const std::string& what, const sdbus::Error& error) {
    return DBusFailure{kErrorMalformedAnswer, "malformed " + what + ": " + error.getMessage()};
}

}  // namespace

std::shared_ptr<Backend> Backend::create(BlueZOptions options, std::shared_ptr<Log> log) {
    std::shared_ptr<Backend> backend(new Backend(std::move(options), std::move(log)));
    backend->start();
    return backend;
}

Backend::Backend(BlueZOptions options, std::shared_ptr<Log> log)
    : options_(std::move(options)),
      log_(log ? std::move(log) : std::shared_ptr<Log>(&Log::shared(), [](Log*) {})),
      adapterPath_(std::string(kBlueZPathPrefix) + "/" + options_.adapter),
      loop_(std::make_unique<BusLoop>("BlueZ", options_.reconnectInterval)),
      mirror_(adapterPath_, ObjectMirror::Limits{options_.maxDevices, options_.maxGattObjects, options_.maxValueSize},
              [this](const std::string& path, const std::string& property, const std::string& why) {
                  dropped(path, property, why);
              }) {}

Backend::~Backend() {
    // Stopping runs busClosing() on the loop thread, which needs every member still alive.
    stopping_ = true;
    loop_->stop();
}

void Backend::start() {
    BusLoop::Hooks hooks;
    hooks.open = [this] { return openConnection(); };
    hooks.opened = [this](sdbus::IConnection& connection) { busOpened(connection); };
    hooks.openFailed = [this](const std::string& reason) { busOpenFailed(reason); };
    hooks.closing = [this](const std::string& reason) { busClosing(reason); };
    hooks.failed = [this](const std::string& what) { log_->write("BlueZ: internal error: " + what); };
    loop_->start(std::move(hooks));
}

void Backend::post(Task task) {
    loop_->post(std::move(task));
}

// ---------------------------------------------------------------- bus life

std::unique_ptr<sdbus::IConnection> Backend::openConnection() const {
    if (options_.busAddress) {
        requireListener(*options_.busAddress);
        return sdbus::createSessionBusConnectionWithAddress(*options_.busAddress);
    }
    return sdbus::createSystemBusConnection();
}

void Backend::busOpened(sdbus::IConnection& connection) {
    // Matches first, then the questions: nothing that happens in between can be missed.
    addMatch(connection,
             matchRule(kBusService, kBusInterface, "NameOwnerChanged", std::string("arg0='") + kBlueZService + "'"),
             [this](sdbus::Message& message) -> Task {
                 std::string name, oldOwner, newOwner;
                 message >> name >> oldOwner >> newOwner;
                 return [this, name, newOwner] { onNameOwnerChanged(name, newOwner); };
             });
    addMatch(connection, matchRule(kBlueZService, kObjectManagerInterface, "InterfacesAdded", ""),
             [this](sdbus::Message& message) -> Task {
                 sdbus::ObjectPath path;
                 InterfaceMap interfaces;
                 message >> path >> interfaces;
                 return [this, path = std::string(path), interfaces] { onInterfacesAdded(path, interfaces); };
             });
    addMatch(connection, matchRule(kBlueZService, kObjectManagerInterface, "InterfacesRemoved", ""),
             [this](sdbus::Message& message) -> Task {
                 sdbus::ObjectPath path;
                 std::vector<std::string> interfaces;
                 message >> path >> interfaces;
                 return [this, path = std::string(path), interfaces] { onInterfacesRemoved(path, interfaces); };
             });
    addMatch(connection,
             matchRule(kBlueZService, kPropertiesInterface, "PropertiesChanged",
                       std::string("path_namespace='") + kBlueZPathPrefix + "'"),
             [this](sdbus::Message& message) -> Task {
                 std::string interface;
                 PropertyMap changed;
                 std::vector<std::string> invalidated;
                 message >> interface >> changed >> invalidated;
                 return [this, path = message.getPath(), interface, changed, invalidated] {
                     onPropertiesChanged(path, interface, changed, invalidated);
                 };
             });
    askForOwner();
}

void Backend::addMatch(sdbus::IConnection& connection, const std::string& rule, SignalDecoder decoder) {
    // The signal is read here and handled in a task, in arrival order with the answers.
    slots_.push_back(connection.addMatch(rule, [this, decoder](sdbus::Message& message) {
        try {
            loop_->post(decoder(message));
        } catch (const sdbus::Error& error) {
            logOnce("BlueZ: ignored a malformed signal " + message.getMemberName() + " of " + message.getPath() + ": " +
                    error.getMessage());
        } catch (const std::exception& error) {
            // Nothing may be thrown through sd-bus's C code.
            log_->write(std::string("BlueZ: a signal could not be handled: ") + error.what());
        }
    }));
}

void Backend::busOpenFailed(const std::string& reason) {
    setAvailability(Availability::NoBus, "cannot connect to the system bus (" + reason + ")");
    refreshPower();
}

void Backend::busClosing(const std::string& reason) {
    if (stopping_) sayGoodbye();
    // Nothing made on the connection may outlive it.
    slots_.clear();
    proxies_.clear();
    discoveryActive_ = false;
    discoveryBusy_ = false;
    bluezGone(Availability::NoBus, "lost the system bus (" + reason + ")");
}

sdbus::IProxy& Backend::proxyFor(const std::string& destination, const std::string& path) {
    auto& entry = proxies_[{destination, path}];
    if (!entry.proxy) entry.proxy = sdbus::createProxy(*loop_->connection(), destination, path);
    return *entry.proxy;
}

void Backend::pruneProxies() {
    if (proxies_.size() <= kMaxIdleProxies) return;
    for (auto it = proxies_.begin(); it != proxies_.end();) {
        it = it->second.pending == 0 ? proxies_.erase(it) : std::next(it);
    }
}

void Backend::call(const std::string& path, const std::string& interface, const std::string& method,
                   const Arguments& arguments, Duration timeout, Done done, Decoder decoder) {
    callOn(kBlueZService, path, interface, method, arguments, timeout, std::move(done), std::move(decoder));
}

void Backend::callOn(const std::string& destination, const std::string& path, const std::string& interface,
                     const std::string& method, const Arguments& arguments, Duration timeout, Done done,
                     Decoder decoder) {
    auto fail = [this, &done](DBusFailure failure) {
        loop_->post([done = std::move(done), failure = std::move(failure)] { done(failure); });
    };
    if (loop_->connection() == nullptr) {
        fail(DBusFailure{kErrorDisconnected, "not connected to the system bus"});
        return;
    }
    try {
        pruneProxies();
        auto& proxy = proxyFor(destination, path);
        auto message = proxy.createMethodCall(interface, method);
        if (arguments) arguments(message);
        const auto key = std::make_pair(destination, path);
        proxy.callMethod(
            message,
            [this, key, method, done, decoder](sdbus::MethodReply& reply, const sdbus::Error* error) {
                auto entry = proxies_.find(key);
                if (entry != proxies_.end()) --entry->second.pending;
                std::optional<DBusFailure> failure;
                if (error != nullptr) {
                    failure = failureOf(*error);
                } else if (decoder) {
                    try {
                        decoder(reply);
                    } catch (const sdbus::Error& unreadable) {
                        failure = malformed(method + " answer", unreadable);
                    } catch (const std::exception& unreadable) {
                        // Nothing may be thrown through sd-bus's C code.
                        failure = DBusFailure{kErrorMalformedAnswer, method + " answer: " + unreadable.what()};
                    }
                }
                loop_->post([done, failure] { done(failure); });
            },
            std::chrono::duration_cast<std::chrono::microseconds>(timeout));
        ++proxies_[key].pending;
    } catch (const sdbus::Error& error) {
        fail(failureOf(error));
    }
}

// ---------------------------------------------------------------- following bluetoothd

void Backend::askForOwner() {
    callOn(
        kBusService, kBusPath, kBusInterface, "GetNameOwner",
        [](sdbus::MethodCall& call) { call << std::string(kBlueZService); }, options_.localCallTimeout,
        [this](const std::optional<DBusFailure>& failure) {
            if (!failure) return synchronise();
            if (failure->name == kErrorNameHasNoOwner) {
                bluezGone(Availability::NoBluez, "bluetoothd is not running (org.bluez is not on the system bus)");
            } else {
                bluezGone(Availability::NoBluez, "cannot ask the bus for bluetoothd: " + failure->text());
            }
        },
        {});
}

void Backend::synchronise() {
    const std::uint64_t generation = ++syncGeneration_;
    auto objects = std::make_shared<ManagedObjects>();
    callOn(
        kBlueZService, kRootPath, kObjectManagerInterface, "GetManagedObjects", {}, options_.localCallTimeout,
        [this, generation, objects](const std::optional<DBusFailure>& failure) {
            if (generation != syncGeneration_) return;  // a newer question is on its way
            if (failure)
                return bluezGone(Availability::NoBluez, "bluetoothd did not list its objects: " + failure->text());
            applySnapshot(*objects);
        },
        [objects](sdbus::MethodReply& reply) { reply >> *objects; });
}

void Backend::applySnapshot(const ManagedObjects& objects) {
    std::vector<std::string> before;
    for (const auto& [path, device] : mirror_.devices()) before.push_back(path);
    mirror_.clear();
    for (const auto& [path, interfaces] : objects) mirror_.addObject(path, interfaces);
    synced_ = true;
    if (mirror_.adapter()) {
        setAvailability(Availability::Ready, "");
    } else {
        setAvailability(Availability::NoAdapter, "no adapter " + options_.adapter + " in bluetoothd");
    }
    refreshPower();
    std::vector<std::string> gone;
    for (const auto& path : before) {
        if (mirror_.device(path) == nullptr) gone.push_back(path);
    }
    devicesGone(gone);
    for (const auto& central : liveCentrals()) {
        for (const auto& [path, device] : mirror_.devices()) central->deviceLinkChanged(device);
    }
    refreshDirectory();
}

void Backend::bluezGone(Availability availability, const std::string& reason) {
    synced_ = false;
    ++syncGeneration_;
    discoveryActive_ = false;
    setAvailability(availability, reason);
    refreshPower();
    std::vector<std::string> gone;
    for (const auto& [path, device] : mirror_.devices()) gone.push_back(path);
    mirror_.clear();
    devicesGone(gone);
    refreshDirectory();
}

void Backend::onNameOwnerChanged(const std::string& name, const std::string& newOwner) {
    if (name != kBlueZService) return;
    if (newOwner.empty()) {
        bluezGone(Availability::NoBluez, "bluetoothd left the system bus");
    } else {
        log_->write("BlueZ: bluetoothd is on the system bus; reading its objects");
        synchronise();
    }
}

void Backend::onInterfacesAdded(const std::string& path, const InterfaceMap& interfaces) {
    if (!synced_) return;  // the next object list has it
    const auto change = mirror_.addObject(path, interfaces);
    if (interfaces.count(kAdapterInterface) != 0 && path == adapterPath_) {
        setAvailability(Availability::Ready, "");
        refreshPower();
    }
    if (change) deviceChanged(path, *change);
    // Characteristics may be announced after ServicesResolved: peripherals waiting for them look again.
    if (interfaces.count(kGattServiceInterface) != 0 || interfaces.count(kGattCharacteristicInterface) != 0) {
        gattChangedBelow(path);
    }
}

void Backend::onInterfacesRemoved(const std::string& path, const std::vector<std::string>& interfaces) {
    if (!synced_) return;
    const bool adapterGone =
        path == adapterPath_ && std::find(interfaces.begin(), interfaces.end(), kAdapterInterface) != interfaces.end();
    if (adapterGone) {
        setAvailability(Availability::NoAdapter, "adapter " + options_.adapter + " was removed");
        refreshPower();
    }
    const auto gone = mirror_.removeInterfaces(path, interfaces);
    devicesGone(gone);
    if (gone.empty()) gattChangedBelow(path);
    for (const auto& device : gone) refreshDirectoryEntry(device);
}

void Backend::onPropertiesChanged(const std::string& path, const std::string& interface, const PropertyMap& changed,
                                  const std::vector<std::string>& invalidated) {
    if (!synced_) return;
    if (interface == kGattCharacteristicInterface) characteristicValue(path, changed);
    const auto change = mirror_.changeProperties(path, interface, changed, invalidated);
    if (change) deviceChanged(path, *change);
    if (interface == kAdapterInterface && path == adapterPath_) refreshPower();
}

void Backend::deviceChanged(const std::string& path, const ObjectMirror::DeviceChange& change) {
    const auto* device = mirror_.device(path);
    if (device == nullptr) return;
    if (change.readdressed) {
        // A bonded device is known by its identity address from now on, and after bluetoothd restarts.
        log_->write("BlueZ: " + path + " is now " + device->address + ", identifier " + identifierOf(*device));
    }
    const bool heard = (change.added || change.advertised) && device->rssi.has_value();
    for (const auto& central : liveCentrals()) {
        if (change.advertised || change.added) central->deviceNamed(*device);
        if (heard) central->advertised(*device);
        // A new object matters to a peripheral waiting for its device to come back.
        if (change.link || change.added) central->deviceLinkChanged(*device);
    }
    refreshDirectoryEntry(path);
}

void Backend::devicesGone(const std::vector<std::string>& paths) {
    if (paths.empty()) return;
    for (const auto& central : liveCentrals()) {
        for (const auto& path : paths) central->deviceGone(path);
    }
}

void Backend::characteristicValue(const std::string& path, const PropertyMap& changed) {
    if (changed.count("Value") == 0) return;
    const auto device = mirror_.deviceOfCharacteristic(path);
    if (!device) return;
    PropertyReader reader(changed, options_.maxValueSize,
                          [&](const std::string& property, const std::string& why) { dropped(path, property, why); });
    const auto value = reader.bytes("Value");
    if (!value) return;
    for (const auto& central : liveCentrals()) central->characteristicValue(*device, path, *value);
}

void Backend::gattChangedBelow(const std::string& path) {
    const auto device = deviceOfPath(path);
    if (!device) return;
    for (const auto& central : liveCentrals()) central->gattChanged(*device);
    refreshDirectoryEntry(*device);
}

std::optional<std::string> Backend::deviceOfPath(const std::string& path) const {
    const std::string prefix = adapterPath_ + "/";
    if (path.compare(0, prefix.size(), prefix) != 0) return std::nullopt;
    const auto end = path.find('/', prefix.size());
    return end == std::string::npos ? path : path.substr(0, end);
}

// ---------------------------------------------------------------- state

void Backend::setAvailability(Availability availability, const std::string& reason) {
    // One line per change of state; a new reason for the same state (another failed attempt) is not news.
    const bool changed = availability != availability_;
    availability_ = availability;
    if (changed) {
        if (availability == Availability::Ready) {
            const auto& adapter = mirror_.adapter();
            log_->write("BlueZ: using adapter " + options_.adapter +
                        (adapter && adapter->address ? " (" + *adapter->address + ")" : std::string()));
        } else {
            log_->write("BlueZ: " + reason + "; Bluetooth is off");
        }
    }
    {
        std::lock_guard lock(mutex_);
        stateKnown_ = true;
        unusableReason_ = availability == Availability::Ready ? std::nullopt : std::optional<std::string>(reason);
    }
    known_.notify_all();
}

void Backend::refreshPower() {
    const auto& adapter = mirror_.adapter();
    const bool on = availability_ == Availability::Ready && adapter && adapter->powered;
    const CentralState next = on ? CentralState::PoweredOn : CentralState::PoweredOff;
    if (next == state_) return;
    state_ = next;
    if (!on) discoveryActive_ = false;
    if (availability_ == Availability::Ready) {
        log_->write("BlueZ: adapter " + options_.adapter + (on ? " is powered on" : " is powered off"));
    }
    for (const auto& central : liveCentrals()) central->powerChanged(state_);
    requestDiscovery();
}

void Backend::attach(const std::shared_ptr<BlueZCentral>& central) {
    std::weak_ptr<BlueZCentral> weak = central;
    post([this, weak] {
        auto central = weak.lock();
        if (!central) return;
        centrals_.push_back(weak);
        if (state_ != CentralState::Unknown) central->powerChanged(state_);
    });
}

std::vector<std::shared_ptr<BlueZCentral>> Backend::liveCentrals() {
    std::vector<std::shared_ptr<BlueZCentral>> live;
    std::vector<std::weak_ptr<BlueZCentral>> kept;
    for (const auto& weak : centrals_) {
        if (auto central = weak.lock()) {
            live.push_back(std::move(central));
            kept.push_back(weak);
        }
    }
    centrals_.swap(kept);
    return live;
}

std::optional<std::string> Backend::probe(Duration limit) const {
    std::unique_lock lock(mutex_);
    if (!known_.wait_for(lock, limit, [this] { return stateKnown_; })) {
        return std::string("no answer from the system bus");
    }
    return unusableReason_;
}

std::string Backend::identifierOf(const ObjectMirror::Device& device) const {
    const auto& adapter = mirror_.adapter();
    const std::string adapterName = adapter && adapter->address ? *adapter->address : options_.adapter;
    return nameBasedUUID(kIdentifierNamespace, adapterName + "/" + device.address).toLongString();
}

void Backend::refreshDirectory() {
    {
        std::lock_guard lock(mutex_);
        directory_.clear();
    }
    for (const auto& [path, device] : mirror_.devices()) refreshDirectoryEntry(path);
}

void Backend::refreshDirectoryEntry(const std::string& devicePath) {
    const auto* device = mirror_.device(devicePath);
    std::lock_guard lock(mutex_);
    if (device == nullptr) {
        for (auto it = directory_.begin(); it != directory_.end(); ++it) {
            if (it->second.path == devicePath) {
                directory_.erase(it);
                break;
            }
        }
        return;
    }
    DeviceEntry entry{identifierOf(*device), devicePath, device->name, device->connected, device->uuids};
    for (const auto& service : mirror_.servicesOf(devicePath)) entry.services.push_back(service.uuid);
    // An identifier the device had before its address changed still finds it, under its new identifier.
    for (auto& [identifier, known] : directory_) {
        if (known.path == devicePath) known = entry;
    }
    directory_[entry.identifier] = std::move(entry);
}

std::vector<Backend::DeviceEntry> Backend::devicesWithIdentifiers(const std::vector<std::string>& identifiers) const {
    std::vector<DeviceEntry> found;
    std::lock_guard lock(mutex_);
    for (const auto& identifier : identifiers) {
        const auto it = directory_.find(upper(identifier));
        if (it != directory_.end()) found.push_back(it->second);
    }
    return found;
}

std::vector<Backend::DeviceEntry> Backend::connectedDevicesWithServices(const std::vector<BLEUUID>& services) const {
    std::vector<DeviceEntry> found;
    std::lock_guard lock(mutex_);
    for (const auto& [identifier, entry] : directory_) {
        if (!entry.connected) continue;
        const bool offers = std::any_of(services.begin(), services.end(), [&](const BLEUUID& uuid) {
            return std::find(entry.services.begin(), entry.services.end(), uuid) != entry.services.end();
        });
        if (offers) found.push_back(entry);
    }
    return found;
}

void Backend::dropped(const std::string& path, const std::string& property, const std::string& why) {
    logOnce(property.empty() ? "BlueZ: ignored " + path + ": " + why
                             : "BlueZ: dropped " + property + " of " + path + ": " + why);
}

void Backend::logOnce(const std::string& line) {
    if (loggedOnce_.size() >= kMaxDropReports) return;
    if (!loggedOnce_.insert(line).second) return;
    log_->write(line);
    if (loggedOnce_.size() == kMaxDropReports) log_->write("BlueZ: further malformed input is not logged");
}

// ---------------------------------------------------------------- links the kit asked for

void Backend::holdLink(const std::string& path, std::uint64_t holder) {
    links_.hold(path, holder);
}

bool Backend::releaseLink(const std::string& path, std::uint64_t holder) {
    return links_.release(path, holder);
}

void Backend::holdNotifySession(const std::string& path, std::uint64_t holder) {
    notifySessions_.hold(path, holder);
}

bool Backend::notifySessionHeld(const std::string& path) const {
    return notifySessions_.held(path);
}

bool Backend::releaseNotifySession(const std::string& path, std::uint64_t holder) {
    return notifySessions_.release(path, holder);
}

void Backend::releaseQuietly(const std::vector<std::uint64_t>& holders) {
    const auto ignore = [](const std::optional<DBusFailure>&) {};
    for (const auto holder : holders) {
        for (const auto& path : notifySessions_.releaseAll(holder)) {
            call(path, kGattCharacteristicInterface, "StopNotify", {}, options_.deviceCallTimeout, ignore);
        }
        for (const auto& path : links_.releaseAll(holder)) {
            call(path, kDeviceInterface, "Disconnect", {}, options_.deviceCallTimeout, ignore);
        }
    }
}

// The transport goes away: links its peripherals hold are closed (the messages leave when the connection is
// flushed on closing), as links of an application end with it.
void Backend::sayGoodbye() {
    if (loop_->connection() == nullptr) return;
    for (const auto& path : links_.paths()) {
        try {
            auto& proxy = proxyFor(kBlueZService, path);
            auto message = proxy.createMethodCall(kDeviceInterface, "Disconnect");
            message.dontExpectReply();
            proxy.callMethod(message);
        } catch (const sdbus::Error& error) {
            log_->write("BlueZ: could not disconnect " + path + ": " + error.getMessage());
        }
    }
    links_.clear();
}

// ---------------------------------------------------------------- discovery

void Backend::requestDiscovery() {
    discoveryRefused_ = false;
    updateDiscovery();
}

void Backend::updateDiscovery() {
    if (discoveryBusy_) return;  // re-decided when the call in flight is answered
    bool wanted = false;
    if (state_ == CentralState::PoweredOn) {
        for (const auto& central : liveCentrals()) wanted |= central->wantsDiscovery();
    }
    if (!wanted) discoveryRefused_ = false;
    if (wanted && !discoveryActive_ && !discoveryRefused_) {
        startDiscovery();
    } else if (!wanted && discoveryActive_) {
        stopDiscovery();
    }
}

void Backend::startDiscovery() {
    discoveryBusy_ = true;
    // Every advertisement, duplicates included, reported as a change of RSSI.
    auto filter = [](sdbus::MethodCall& call) {
        std::map<std::string, sdbus::Variant> options{{"Transport", sdbus::Variant(std::string("le"))},
                                                      {"DuplicateData", sdbus::Variant(true)}};
        call << options;
    };
    call(adapterPath_, kAdapterInterface, "SetDiscoveryFilter", filter, options_.localCallTimeout,
         [this](const std::optional<DBusFailure>& failure) {
             if (failure) log_->write("BlueZ: SetDiscoveryFilter failed: " + failure->text());
             call(adapterPath_, kAdapterInterface, "StartDiscovery", {}, options_.localCallTimeout,
                  [this](const std::optional<DBusFailure>& failure) {
                      discoveryBusy_ = false;
                      if (!failure || failure->name == kErrorInProgress) {
                          discoveryActive_ = true;
                          scheduleDiscoveryRestart();
                      } else {
                          // Not tried again until the next scan request or power change.
                          discoveryRefused_ = true;
                          log_->write("BlueZ: StartDiscovery failed: " + failure->text());
                      }
                      updateDiscovery();
                  });
         });
}

void Backend::after(Duration delay, Task task) {
    loop_->postAfter(delay, std::move(task));
}

void Backend::scheduleDiscoveryRestart() {
    const std::uint64_t generation = ++discoveryGeneration_;
    loop_->postAfter(options_.duplicateScanRestartInterval, [this, generation] { restartDiscovery(generation); });
}

// The kernel keeps the controller's duplicate filter on, so an unchanged device is reported once per scan
// cycle; a new discovery resets the filter and every device in range is reported again.
void Backend::restartDiscovery(std::uint64_t generation) {
    if (generation != discoveryGeneration_ || !discoveryActive_ || state_ != CentralState::PoweredOn) return;
    bool duplicates = false;
    for (const auto& central : liveCentrals()) duplicates |= central->wantsDuplicateReports();
    if (!duplicates || discoveryBusy_) return scheduleDiscoveryRestart();
    stopDiscovery();  // its answer starts discovery again, as a central still wants it
}

void Backend::stopDiscovery() {
    discoveryBusy_ = true;
    call(adapterPath_, kAdapterInterface, "StopDiscovery", {}, options_.localCallTimeout,
         [this](const std::optional<DBusFailure>& failure) {
             discoveryBusy_ = false;
             discoveryActive_ = false;
             if (failure) log_->write("BlueZ: StopDiscovery failed: " + failure->text());
             updateDiscovery();
         });
}

}  // namespace halvora::bluez
