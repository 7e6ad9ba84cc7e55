#include "halvora/Transport/BlueZ/internal/BlueZCentral.hpp"

#include <algorithm>

#include "halvora/Transport/BlueZ/internal/BlueZPeripheral.hpp"

namespace halvora::bluez {

namespace {

AdvertisementData advertisementOf(const ObjectMirror::Device& device) {
    AdvertisementData data;
    data.localName = device.name;
    data.manufacturerData = device.manufacturerData;
    data.serviceUUIDs = device.uuids;
    data.serviceData = device.serviceData;
    if (device.txPower) data.txPowerLevel = *device.txPower;
    return data;
}

}  // namespace

BlueZCentral::BlueZCentral(std::shared_ptr<Backend> backend, std::weak_ptr<CentralDelegate> delegate,
                           std::shared_ptr<SerialQueue> queue, CentralOptions options)
    : backend_(backend),
      bus_(backend.get()),
      log_(backend->logger()),
      options_(backend->options()),
      queue_(std::move(queue)),
      restoreIdentifier_(std::move(options.restoreIdentifier)),
      delegate_(std::move(delegate)) {
    if (!queue_) log_->write("BlueZ: a central was made without a queue: its events go nowhere");
}

// The links this central made end with it, unless the system keeps them for a relaunch (restore identifier).
BlueZCentral::~BlueZCentral() {
    std::vector<std::uint64_t> holders;
    if (!restoreIdentifier_) {
        for (const auto& [identifier, peripheral] : peripherals_) holders.push_back(peripheral->holder());
    }
    onBus([holders](Backend& backend) {
        backend.releaseQuietly(holders);
        backend.updateDiscovery();
    });
}

void BlueZCentral::onBus(std::function<void(Backend& backend)> work) const {
    auto backend = backend_.lock();
    if (!backend) return;
    Backend* bus = backend.get();
    // The loop runs only while the backend exists: the raw pointer is safe inside its tasks.
    backend->post([bus, work = std::move(work)] { work(*bus); });
}

CentralState BlueZCentral::state() const {
    std::lock_guard lock(mutex_);
    return state_;
}

void BlueZCentral::setDelegate(std::weak_ptr<CentralDelegate> delegate) {
    std::lock_guard lock(mutex_);
    delegate_ = std::move(delegate);
}

std::shared_ptr<CentralDelegate> BlueZCentral::delegate() const {
    std::lock_guard lock(mutex_);
    return delegate_.lock();
}

// ---------------------------------------------------------------- events

void BlueZCentral::postEvent(EventKind kind, Task event) {
    if (!queue_) return;
    const std::size_t cap = options_.maxPendingEvents;
    const std::size_t pending = pendingEvents_.load();
    if (kind == EventKind::Advertisement && pending >= cap) {
        if (!droppingAdvertisements_.exchange(true)) {
            log_->write("BlueZ: the event queue is full; advertisements are dropped");
        }
        return;
    }
    if (kind == EventKind::Notification && pending >= 4 * cap) {
        if (!droppingNotifications_.exchange(true)) {
            log_->write("BlueZ: the event queue is full; notifications are dropped");
        }
        return;
    }
    ++pendingEvents_;
    std::weak_ptr<BlueZCentral> weak = weak_from_this();
    queue_->async([weak, event = std::move(event)] {
        event();
        if (auto self = weak.lock()) self->eventDone();
    });
}

void BlueZCentral::eventDone() {
    const std::size_t left = --pendingEvents_;
    if (left <= options_.maxPendingEvents / 2) {
        droppingAdvertisements_.store(false);
        droppingNotifications_.store(false);
    }
}

void BlueZCentral::postStateUpdate() {
    std::weak_ptr<BlueZCentral> weak = weak_from_this();
    postEvent(EventKind::Other, [weak] {
        auto self = weak.lock();
        auto delegate = self ? self->delegate() : nullptr;
        if (delegate) delegate->centralManagerDidUpdateState(*self);
    });
}

// ---------------------------------------------------------------- scanning

void BlueZCentral::scanForPeripheralsWithServices(const std::vector<BLEUUID>& services, ScanOptions options) {
    {
        std::lock_guard lock(mutex_);
        if (state_ != CentralState::PoweredOn) {
            log_->write("BlueZ: scan ignored: Bluetooth is not powered on");
            return;
        }
        scanning_ = true;
        ++scanGeneration_;
        scanServices_ = services;
        allowDuplicates_ = options.allowDuplicates;
        reportedThisScan_.clear();
    }
    std::weak_ptr<BlueZCentral> weak = weak_from_this();
    onBus([weak](Backend& backend) {
        backend.requestDiscovery();
        if (auto self = weak.lock()) self->announceHeldDevices();
    });
}

void BlueZCentral::announceHeldDevices() {
    for (const auto& [path, device] : bus_->mirror().devices()) {
        if (device.rssi) advertised(device);
    }
}

bool BlueZCentral::wantsDiscovery() const {
    if (isScanning()) return true;
    const auto peripherals = peripheralList();
    return std::any_of(peripherals.begin(), peripherals.end(),
                       [](const auto& peripheral) { return peripheral->isAwaitingDevice(); });
}

bool BlueZCentral::wantsDuplicateReports() const {
    std::lock_guard lock(mutex_);
    return scanning_ && allowDuplicates_;
}

void BlueZCentral::stopScan() {
    {
        std::lock_guard lock(mutex_);
        if (!scanning_) return;
        scanning_ = false;
        ++scanGeneration_;
        reportedThisScan_.clear();
    }
    onBus([](Backend& backend) { backend.updateDiscovery(); });
}

bool BlueZCentral::isScanning() const {
    std::lock_guard lock(mutex_);
    return scanning_;
}

bool BlueZCentral::scanAccepts(const std::string& identifier, const std::vector<BLEUUID>& uuids, std::uint64_t& scan) {
    std::lock_guard lock(mutex_);
    if (!scanning_ || state_ != CentralState::PoweredOn) return false;
    if (!scanServices_.empty()) {
        const bool wanted = std::any_of(uuids.begin(), uuids.end(), [&](const BLEUUID& uuid) {
            return std::find(scanServices_.begin(), scanServices_.end(), uuid) != scanServices_.end();
        });
        if (!wanted) return false;
    }
    if (!allowDuplicates_ && !reportedThisScan_.insert(identifier).second) return false;
    scan = scanGeneration_;
    return true;
}

bool BlueZCentral::isCurrentScan(std::uint64_t scan) const {
    std::lock_guard lock(mutex_);
    return scanning_ && scanGeneration_ == scan;
}

// ---------------------------------------------------------------- connections

void BlueZCentral::connectPeripheral(const std::shared_ptr<Peripheral>& peripheral, ConnectOptions /*options*/) {
    auto own = this->own(peripheral);
    if (!own) {
        if (!peripheral) {
            log_->write("BlueZ: connect request without a peripheral ignored");
            return;
        }
        std::weak_ptr<BlueZCentral> weak = weak_from_this();
        postEvent(EventKind::Other, [weak, peripheral] {
            auto self = weak.lock();
            auto delegate = self ? self->delegate() : nullptr;
            if (!delegate) return;
            delegate->centralManagerDidFailToConnectPeripheral(
                *self, peripheral,
                BLEError{BLEErrorInvalidParameters, "The peripheral does not belong to this central."});
        });
        return;
    }
    std::weak_ptr<BlueZPeripheral> weak = own;
    onBus([weak](Backend&) {
        if (auto peripheral = weak.lock()) peripheral->requestConnect();
    });
}

void BlueZCentral::cancelPeripheralConnection(const std::shared_ptr<Peripheral>& peripheral) {
    auto own = this->own(peripheral);
    if (!own) {
        log_->write("BlueZ: cancel request for a peripheral of another central ignored");
        return;
    }
    std::weak_ptr<BlueZPeripheral> weak = own;
    onBus([weak](Backend&) {
        if (auto peripheral = weak.lock()) peripheral->requestCancel();
    });
}

std::vector<std::shared_ptr<Peripheral>> BlueZCentral::retrievePeripheralsWithIdentifiers(
    const std::vector<std::string>& identifiers) {
    std::vector<std::shared_ptr<Peripheral>> found;
    auto backend = backend_.lock();
    if (!backend) return found;
    for (const auto& entry : backend->devicesWithIdentifiers(identifiers)) {
        std::shared_ptr<Peripheral> peripheral = peripheralFor(entry.identifier, entry.path, entry.name);
        if (peripheral && std::find(found.begin(), found.end(), peripheral) == found.end()) found.push_back(peripheral);
    }
    return found;
}

std::vector<std::shared_ptr<Peripheral>> BlueZCentral::retrieveConnectedPeripheralsWithServices(
    const std::vector<BLEUUID>& services) {
    std::vector<std::shared_ptr<Peripheral>> found;
    auto backend = backend_.lock();
    if (!backend) return found;
    for (const auto& entry : backend->connectedDevicesWithServices(services)) {
        if (auto peripheral = peripheralFor(entry.identifier, entry.path, entry.name)) found.push_back(peripheral);
    }
    return found;
}

// ---------------------------------------------------------------- peripherals

std::shared_ptr<BlueZPeripheral> BlueZCentral::peripheralFor(const std::string& identifier, const std::string& path,
                                                             const std::optional<std::string>& name) {
    std::lock_guard lock(mutex_);
    auto it = peripherals_.find(identifier);
    if (it != peripherals_.end()) return it->second;
    // The device's address changed (its identity after pairing): a peripheral in use keeps the identifier
    // it was met with; an unused one is made again under the new identifier.
    for (auto known = peripherals_.begin(); known != peripherals_.end(); ++known) {
        if (known->second->path() != path) continue;
        if (!isUnused(known->second)) return known->second;
        peripherals_.erase(known);
        break;
    }
    if (peripherals_.size() >= options_.maxDevices) evictUnused();
    if (peripherals_.size() >= options_.maxDevices) return nullptr;
    auto peripheral = std::make_shared<BlueZPeripheral>(weak_from_this(), backend_, bus_, identifier, path, name);
    peripherals_.emplace(identifier, peripheral);
    return peripheral;
}

// Caller holds the lock. Peripherals nobody else holds and that have no link can be made again later.
void BlueZCentral::evictUnused() {
    for (auto it = peripherals_.begin(); it != peripherals_.end();) {
        it = isUnused(it->second) ? peripherals_.erase(it) : std::next(it);
    }
}

// Caller holds the lock: only this central holds it, and it has no link.
bool BlueZCentral::isUnused(const std::shared_ptr<BlueZPeripheral>& peripheral) {
    return peripheral.use_count() == 1 && peripheral->state() == PeripheralState::Disconnected;
}

std::shared_ptr<BlueZPeripheral> BlueZCentral::peripheralAt(const std::string& path) const {
    std::lock_guard lock(mutex_);
    for (const auto& [identifier, peripheral] : peripherals_) {
        if (peripheral->path() == path) return peripheral;
    }
    return nullptr;
}

std::shared_ptr<BlueZPeripheral> BlueZCentral::own(const std::shared_ptr<Peripheral>& peripheral) const {
    if (!peripheral) return nullptr;
    std::lock_guard lock(mutex_);
    const auto it = peripherals_.find(peripheral->identifier());
    if (it == peripherals_.end() || it->second != peripheral) return nullptr;
    return it->second;
}

std::vector<std::shared_ptr<BlueZPeripheral>> BlueZCentral::peripheralList() const {
    std::lock_guard lock(mutex_);
    std::vector<std::shared_ptr<BlueZPeripheral>> list;
    for (const auto& [identifier, peripheral] : peripherals_) list.push_back(peripheral);
    return list;
}

// ---------------------------------------------------------------- what the bus saw

void BlueZCentral::powerChanged(CentralState state) {
    bool changed = false;
    {
        std::lock_guard lock(mutex_);
        changed = state_ != state;
        state_ = state;
        if (state != CentralState::PoweredOn) {
            scanning_ = false;
            ++scanGeneration_;
            reportedThisScan_.clear();
        }
    }
    if (state != CentralState::PoweredOn) {
        for (const auto& peripheral : peripheralList()) peripheral->powerOff();
    }
    if (changed) postStateUpdate();
}

void BlueZCentral::advertised(const ObjectMirror::Device& device) {
    if (!device.rssi) return;
    const std::string identifier = bus_->identifierOf(device);
    std::uint64_t scan = 0;
    if (!scanAccepts(identifier, device.uuids, scan)) return;
    auto peripheral = peripheralFor(identifier, device.path, device.name);
    if (!peripheral) return;
    const AdvertisementData data = advertisementOf(device);
    const int rssi = *device.rssi;
    std::weak_ptr<BlueZCentral> weak = weak_from_this();
    // An advertisement still on its way when the scan stops is not reported.
    postEvent(EventKind::Advertisement, [weak, peripheral, data, rssi, scan] {
        auto self = weak.lock();
        auto delegate = self ? self->delegate() : nullptr;
        if (delegate && self->isCurrentScan(scan))
            delegate->centralManagerDidDiscoverPeripheral(*self, peripheral, data, rssi);
    });
}

void BlueZCentral::deviceNamed(const ObjectMirror::Device& device) {
    if (auto peripheral = peripheralAt(device.path)) peripheral->setName(device.name);
}

void BlueZCentral::deviceLinkChanged(const ObjectMirror::Device& device) {
    if (auto peripheral = peripheralAt(device.path)) peripheral->linkChanged(&device);
}

void BlueZCentral::deviceGone(const std::string& path) {
    if (auto peripheral = peripheralAt(path)) peripheral->linkChanged(nullptr);
}

void BlueZCentral::characteristicValue(const std::string& devicePath, const std::string& path,
                                       const std::vector<std::uint8_t>& value) {
    if (auto peripheral = peripheralAt(devicePath)) peripheral->valueArrived(path, value);
}

void BlueZCentral::gattChanged(const std::string& devicePath) {
    if (auto peripheral = peripheralAt(devicePath)) peripheral->gattChanged();
}

}  // namespace halvora::bluez
