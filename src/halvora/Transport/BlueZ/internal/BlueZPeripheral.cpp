#include "halvora/Transport/BlueZ/internal/BlueZPeripheral.hpp"

#include <sdbus-c++/sdbus-c++.h>

#include <algorithm>

#include "halvora/Transport/BlueZ/internal/Backend.hpp"
#include "halvora/Transport/BlueZ/internal/BlueZCentral.hpp"
#include "halvora/Transport/BlueZ/internal/BlueZNames.hpp"

namespace halvora::bluez {

namespace {

std::uint64_t nextHolder() {
    static std::atomic<std::uint64_t> next{1};
    return next.fetch_add(1);
}

using Kind = CharacteristicChannel::Request::Kind;

constexpr const char* kWriteTypeRequest = "request";
constexpr const char* kWriteTypeCommand = "command";
/// bluetoothd's Connect failures over BR/EDR start with this.
constexpr const char* kBrEdrFailurePrefix = "br-connection-";
/// What to do about them: health devices are LE only.
constexpr const char* kBrEdrAdvice =
    "bluetoothd tried BR/EDR for an LE device; set ControllerMode = le in /etc/bluetooth/main.conf";

/// The GAP service: bluetoothd serves it itself and never exports it as an object.
const BLEUUID kGenericAccessService("1800");

BLEError notConnectedError() {
    return BLEError{BLEErrorNotConnected, "The peripheral is not connected."};
}
BLEError unknownAttributeError() {
    return BLEError{BLEErrorUnknownAttribute, "The attribute is not from this peripheral's current link."};
}

bool contains(const std::vector<BLEUUID>& list, const BLEUUID& uuid) {
    return std::find(list.begin(), list.end(), uuid) != list.end();
}

std::string describe(const std::shared_ptr<Characteristic>& characteristic) {
    return characteristic ? characteristic->uuid().toString() : std::string("(none)");
}

std::map<std::string, sdbus::Variant> noOptions() {
    return {};
}

}  // namespace

BlueZPeripheral::BlueZPeripheral(std::weak_ptr<BlueZCentral> central, std::weak_ptr<Backend> backend, Backend* bus,
                                 std::string identifier, std::string path, std::optional<std::string> name)
    : central_(std::move(central)),
      backend_(std::move(backend)),
      bus_(bus),
      identifier_(std::move(identifier)),
      path_(std::move(path)),
      name_(std::move(name)),
      holder_(nextHolder()) {}

std::optional<std::string> BlueZPeripheral::name() const {
    std::lock_guard lock(mutex_);
    return name_;
}

void BlueZPeripheral::setName(const std::optional<std::string>& name) {
    if (!name) return;  // a name once known stays
    std::lock_guard lock(mutex_);
    name_ = name;
}

PeripheralState BlueZPeripheral::state() const {
    std::lock_guard lock(mutex_);
    return state_;
}

void BlueZPeripheral::setState(PeripheralState state) {
    std::lock_guard lock(mutex_);
    state_ = state;
}

void BlueZPeripheral::setDelegate(std::weak_ptr<PeripheralDelegate> delegate) {
    std::lock_guard lock(mutex_);
    delegate_ = std::move(delegate);
}

std::shared_ptr<PeripheralDelegate> BlueZPeripheral::delegate() const {
    std::lock_guard lock(mutex_);
    return delegate_.lock();
}

std::vector<std::shared_ptr<Service>> BlueZPeripheral::services() const {
    std::lock_guard lock(mutex_);
    return services_;
}

std::shared_ptr<BlueZPeripheral> BlueZPeripheral::self() {
    return std::static_pointer_cast<BlueZPeripheral>(shared_from_this());
}

// ---------------------------------------------------------------- events

void BlueZPeripheral::onBus(std::function<void(BlueZPeripheral& self)> work) {
    auto backend = backend_.lock();
    if (!backend) return;  // the transport is gone: nothing can be asked of BlueZ any more
    std::weak_ptr<BlueZPeripheral> weak = self();
    backend->post([weak, work = std::move(work)] {
        if (auto peripheral = weak.lock()) work(*peripheral);
    });
}

void BlueZPeripheral::postDelegateEvent(DelegateEvent event, bool notification) {
    auto central = central_.lock();
    if (!central) return;
    central->postEvent(notification ? BlueZCentral::EventKind::Notification : BlueZCentral::EventKind::Other,
                       [self = self(), event = std::move(event)] {
                           if (auto delegate = self->delegate()) event(self, *delegate);
                       });
}

void BlueZPeripheral::postCentralEvent(CentralEvent event) {
    auto central = central_.lock();
    if (!central) return;
    std::weak_ptr<BlueZCentral> weak = central;
    central->postEvent(BlueZCentral::EventKind::Other, [weak, self = self(), event = std::move(event)] {
        auto owner = weak.lock();
        auto delegate = owner ? owner->delegate() : nullptr;
        if (delegate) event(*owner, *delegate, self);
    });
}

// ---------------------------------------------------------------- connection (bus)

void BlueZPeripheral::requestConnect() {
    switch (state()) {
        case PeripheralState::Connected:
            postCentralEvent([](BlueZCentral& central, CentralDelegate& delegate, const auto& self) {
                delegate.centralManagerDidConnectPeripheral(central, self);
            });
            return;
        case PeripheralState::Connecting:
            return;
        case PeripheralState::Disconnecting:
            // The link being closed is over for the kit; the new attempt goes on.
            linkDown(std::nullopt);
            break;
        case PeripheralState::Disconnected:
            break;
    }
    if (bus_->state() != CentralState::PoweredOn) return failAttempt(BLEError{BLEErrorPoweredOff, "Bluetooth is off."});
    const std::uint64_t attempt = ++attempt_;
    connectAnswered_ = false;
    forgetEarlyValues();
    setState(PeripheralState::Connecting);
    bus_->holdLink(path_, holder_);
    const auto* device = bus_->mirror().device(path_);
    if (device == nullptr) return awaitDevice();
    if (device->connected && device->servicesResolved) return linkResolved();
    sendConnect(attempt);
}

// bluetoothd drops a device's object 30 s after its last advertisement: discover until it is back. The
// attempt's number moves on, so that the answer to a Connect sent to the vanishing object is not taken.
void BlueZPeripheral::awaitDevice() {
    ++attempt_;
    awaitingDevice_ = true;
    bus_->log().write("BlueZ: bluetoothd does not know " + path_ + "; discovering until it advertises");
    bus_->requestDiscovery();
}

void BlueZPeripheral::sendConnect(std::uint64_t attempt) {
    std::weak_ptr<BlueZPeripheral> weak = self();
    bus_->call(path_, kDeviceInterface, "Connect", {}, bus_->options().deviceCallTimeout,
               [weak, attempt](const std::optional<DBusFailure>& failure) {
                   if (auto peripheral = weak.lock()) peripheral->connectAnswered(attempt, failure);
               });
}

void BlueZPeripheral::deviceReturned() {
    awaitingDevice_ = false;
    bus_->log().write("BlueZ: " + path_ + " is back; connecting");
    bus_->updateDiscovery();
    sendConnect(attempt_);
}

void BlueZPeripheral::connectAnswered(std::uint64_t attempt, const std::optional<DBusFailure>& failure) {
    if (attempt != attempt_ || state() != PeripheralState::Connecting) return;
    // The object expired between the kit's look at it and the call's arrival.
    if (failure && failure->name == kErrorUnknownObject) return awaitDevice();
    if (failure && failure->name != kErrorAlreadyConnected) {
        ++attempt_;
        if (failure->message.rfind(kBrEdrFailurePrefix, 0) == 0) {
            bus_->log().write("BlueZ: Connect of " + path_ + " failed over BR/EDR (" + failure->message +
                              "): " + kBrEdrAdvice);
        }
        return failAttempt(failure->toError(BLEErrorConnectionFailed));
    }
    connectAnswered_ = true;
    // bluetoothd answers as soon as the ATT channel is up, often before it announces Connected (and it
    // never does when the channel beat the controller's connection event): the answer alone says nothing
    // about the link; its announcements decide, and a link already resolved is taken at once.
    const auto* device = bus_->mirror().device(path_);
    if (device == nullptr || (device->connected && device->servicesResolved)) linkChanged(device);
}

// ServicesResolved is also set when GATT discovery failed; then no service is ever announced. It can also
// come before every service object is announced: the link waits (at most kServicesWait) for the rest.
void BlueZPeripheral::linkResolved() {
    if (servicesAnnounced()) return becomeConnected();
    if (servicesWaitAttempt_ == attempt_) return;
    servicesWaitAttempt_ = attempt_;
    const std::uint64_t attempt = attempt_;
    std::weak_ptr<BlueZPeripheral> weak = self();
    bus_->after(kServicesWait, [weak, attempt] {
        if (auto peripheral = weak.lock()) peripheral->servicesWaitEnded(attempt);
    });
}

// The device's UUIDs name the services GATT discovery found; bluetoothd exports every one as an object
// except the GAP service, which it keeps for itself.
bool BlueZPeripheral::servicesAnnounced() const {
    const auto& mirror = bus_->mirror();
    const auto* device = mirror.device(path_);
    const auto services = mirror.servicesOf(path_);
    if (device == nullptr || services.empty()) return false;
    return std::all_of(device->uuids.begin(), device->uuids.end(), [&](const BLEUUID& uuid) {
        return uuid == kGenericAccessService ||
               std::any_of(services.begin(), services.end(), [&](const auto& record) { return record.uuid == uuid; });
    });
}

void BlueZPeripheral::servicesWaitEnded(std::uint64_t attempt) {
    if (attempt != attempt_ || state() != PeripheralState::Connecting) return;
    const auto* device = bus_->mirror().device(path_);
    if (device == nullptr || !device->connected || !device->servicesResolved) return;  // linkChanged decides
    if (!bus_->mirror().servicesOf(path_).empty()) return becomeConnected();
    ++attempt_;
    bus_->log().write("BlueZ: GATT discovery of " + path_ + " failed: services resolved, but none announced");
    const bool unused = bus_->releaseLink(path_, holder_);
    failAttempt(BLEError{BLEErrorConnectionFailed, "GATT discovery failed: the device's services are unknown."});
    if (unused) disconnectDevice({});
}

void BlueZPeripheral::failAttempt(BLEError error) {
    awaitingDevice_ = false;
    forgetEarlyValues();
    setState(PeripheralState::Disconnected);
    bus_->releaseLink(path_, holder_);
    postCentralEvent([error = std::move(error)](BlueZCentral& central, CentralDelegate& delegate, const auto& self) {
        delegate.centralManagerDidFailToConnectPeripheral(central, self, error);
    });
}

void BlueZPeripheral::linkChanged(const ObjectMirror::Device* device) {
    switch (state()) {
        case PeripheralState::Connecting:
            if (awaitingDevice_) {
                if (device != nullptr) deviceReturned();
            } else if (device != nullptr && device->connected && device->servicesResolved) {
                linkResolved();
            } else if (device == nullptr && !connectAnswered_) {
                awaitDevice();  // it expired while the Connect was on its way
            } else if (device == nullptr) {
                ++attempt_;
                failAttempt(BLEError{BLEErrorPeripheralDisconnected, "The device went away while connecting."});
            } else if (connectAnswered_ && !device->connected) {
                ++attempt_;
                failAttempt(BLEError{BLEErrorConnectionFailed, "The link was lost while connecting."});
            }
            break;
        case PeripheralState::Connected:
            if (device == nullptr) {
                linkDown(BLEError{BLEErrorPeripheralDisconnected, "The device went away."});
            } else if (!device->connected) {
                linkDown(BLEError{BLEErrorPeripheralDisconnected, "The link was lost."});
            }
            break;
        case PeripheralState::Disconnecting:
            if (device == nullptr || !device->connected) linkDown(std::nullopt);
            break;
        case PeripheralState::Disconnected:
            break;
    }
}

void BlueZPeripheral::becomeConnected() {
    ++generation_;
    forgetGatt();
    setState(PeripheralState::Connected);
    postCentralEvent([](BlueZCentral& central, CentralDelegate& delegate, const auto& self) {
        delegate.centralManagerDidConnectPeripheral(central, self);
    });
}

void BlueZPeripheral::linkDown(OptionalError error) {
    ++generation_;
    forgetGatt();
    forgetEarlyValues();
    setState(PeripheralState::Disconnected);
    bus_->releaseLink(path_, holder_);
    postCentralEvent([error = std::move(error)](BlueZCentral& central, CentralDelegate& delegate, const auto& self) {
        delegate.centralManagerDidDisconnectPeripheral(central, self, error);
    });
}

void BlueZPeripheral::requestCancel() {
    switch (state()) {
        case PeripheralState::Connected: {
            // Another central of this transport still uses the link: it stays, this peripheral lets go.
            if (!bus_->releaseLink(path_, holder_)) return linkDown(std::nullopt);
            setState(PeripheralState::Disconnecting);
            const std::uint64_t generation = generation_;
            disconnectDevice([generation](BlueZPeripheral& self) {
                if (self.state() == PeripheralState::Disconnecting && self.generation_ == generation) {
                    self.linkDown(std::nullopt);
                }
            });
            break;
        }
        case PeripheralState::Connecting: {
            ++attempt_;
            const bool awaiting = awaitingDevice_.exchange(false);
            forgetEarlyValues();
            setState(PeripheralState::Disconnected);
            const bool unused = bus_->releaseLink(path_, holder_);
            postCentralEvent([](BlueZCentral& central, CentralDelegate& delegate, const auto& self) {
                delegate.centralManagerDidDisconnectPeripheral(central, self, std::nullopt);
            });
            if (awaiting) {
                bus_->updateDiscovery();  // nothing to disconnect: the object never came back
            } else if (unused) {
                disconnectDevice({});
            }
            break;
        }
        case PeripheralState::Disconnecting:
        case PeripheralState::Disconnected:
            break;
    }
}

void BlueZPeripheral::disconnectDevice(std::function<void(BlueZPeripheral&)> answered) {
    std::weak_ptr<BlueZPeripheral> weak = self();
    Backend* backend = bus_;
    const std::string path = path_;
    bus_->call(path_, kDeviceInterface, "Disconnect", {}, bus_->options().deviceCallTimeout,
               [weak, answered, backend, path](const std::optional<DBusFailure>& failure) {
                   if (failure) backend->log().write("BlueZ: Disconnect of " + path + " failed: " + failure->text());
                   auto peripheral = weak.lock();
                   if (peripheral && answered) answered(*peripheral);
               });
}

void BlueZPeripheral::powerOff() {
    ++attempt_;
    awaitingDevice_ = false;
    if (state() == PeripheralState::Disconnected) return;
    ++generation_;
    forgetGatt();
    forgetEarlyValues();
    setState(PeripheralState::Disconnected);
    bus_->releaseLink(path_, holder_);
}

// Services and characteristics found over a link are not valid over the next one; requests still waiting
// end with their link.
void BlueZPeripheral::forgetGatt() {
    closeNotifySessions();
    servicesByPath_.clear();
    servicePaths_.clear();
    channels_.clear();
    notifyAsked_.clear();
    channelPaths_.clear();
    std::lock_guard lock(mutex_);
    services_.clear();
}

// bluetoothd keeps a notify session across links and switches delivery on again at the next link; the kit
// expects a new link to start with notifications off, so the sessions it opened end with their link.
void BlueZPeripheral::closeNotifySessions() {
    Backend* backend = bus_;
    for (const auto& [path, channel] : channels_) {
        if (!channel->isNotifying() && !channel->isNotifyRequested()) continue;
        if (!bus_->releaseNotifySession(path, holder_)) continue;  // another central still listens
        bus_->call(path, kGattCharacteristicInterface, "StopNotify", {}, bus_->options().deviceCallTimeout,
                   [backend, path = path](const std::optional<DBusFailure>& failure) {
                       // "No notify session started" (Failed) means it already ended; anything else is news.
                       if (failure && failure->name != kErrorFailed) {
                           backend->log().write("BlueZ: StopNotify of " + path + " failed: " + failure->text());
                       }
                   });
    }
}

// ---------------------------------------------------------------- GATT requests

void BlueZPeripheral::discoverServices(const std::optional<std::vector<BLEUUID>>& serviceUUIDs) {
    onBus([serviceUUIDs](BlueZPeripheral& self) { self.serveServiceDiscovery(serviceUUIDs); });
}

void BlueZPeripheral::discoverCharacteristics(const std::vector<BLEUUID>& characteristicUUIDs,
                                              const std::shared_ptr<Service>& service) {
    onBus([characteristicUUIDs, service](BlueZPeripheral& self) {
        self.serveCharacteristicDiscovery(characteristicUUIDs, service);
    });
}

void BlueZPeripheral::setNotifyValue(bool enabled, const std::shared_ptr<Characteristic>& characteristic) {
    onBus([enabled, characteristic](BlueZPeripheral& self) {
        self.submit(characteristic, {enabled ? Kind::NotifyOn : Kind::NotifyOff, {}});
    });
}

void BlueZPeripheral::writeValue(const std::vector<std::uint8_t>& value,
                                 const std::shared_ptr<Characteristic>& characteristic, WriteType type) {
    onBus([value, characteristic, type](BlueZPeripheral& self) {
        self.submit(characteristic,
                    {type == WriteType::WithResponse ? Kind::Write : Kind::WriteWithoutResponse, value});
    });
}

void BlueZPeripheral::readValue(const std::shared_ptr<Characteristic>& characteristic) {
    onBus([characteristic](BlueZPeripheral& self) { self.submit(characteristic, {Kind::Read, {}}); });
}

// ---------------------------------------------------------------- GATT (bus)

void BlueZPeripheral::serveServiceDiscovery(const std::optional<std::vector<BLEUUID>>& filter) {
    if (state() != PeripheralState::Connected) {
        return postDelegateEvent([](const auto& self, PeripheralDelegate& delegate) {
            delegate.peripheralDidDiscoverServices(self, notConnectedError());
        });
    }
    for (const auto& record : bus_->mirror().servicesOf(path_)) {
        if (!record.primary || servicesByPath_.count(record.path) != 0) continue;
        if (filter && !contains(*filter, record.uuid)) continue;
        auto service = std::make_shared<Service>(record.uuid, record.primary);
        servicesByPath_[record.path] = service;
        servicePaths_[service.get()] = record.path;
        std::lock_guard lock(mutex_);
        services_.push_back(service);
    }
    postDelegateEvent([](const auto& self, PeripheralDelegate& delegate) {
        delegate.peripheralDidDiscoverServices(self, std::nullopt);
    });
}

void BlueZPeripheral::serveCharacteristicDiscovery(const std::vector<BLEUUID>& filter,
                                                   const std::shared_ptr<Service>& service, bool waited) {
    auto answer = [this, service](OptionalError error) {
        postDelegateEvent([service, error](const auto& self, PeripheralDelegate& delegate) {
            delegate.peripheralDidDiscoverCharacteristicsForService(self, service, error);
        });
    };
    if (state() != PeripheralState::Connected) return answer(notConnectedError());
    const auto found = service ? servicePaths_.find(service.get()) : servicePaths_.end();
    if (found == servicePaths_.end()) return answer(unknownAttributeError());
    if (!waited && !characteristicsMirrored(filter, found->second)) {
        // bluetoothd may announce characteristics after ServicesResolved: wait a little for them.
        const std::uint64_t wait = ++nextWait_;
        waitingDiscoveries_[wait] = CharacteristicDiscovery{filter, service};
        std::weak_ptr<BlueZPeripheral> weak = self();
        bus_->after(kCharacteristicsWait, [weak, wait] {
            if (auto peripheral = weak.lock()) peripheral->characteristicWaitEnded(wait);
        });
        return;
    }
    for (const auto& record : bus_->mirror().characteristicsOf(found->second)) {
        if (!filter.empty() && !contains(filter, record.uuid)) continue;
        if (channels_.count(record.path) != 0 || service->characteristic(record.uuid)) continue;
        auto characteristic = std::make_shared<Characteristic>(record.uuid, record.properties, service);
        service->addCharacteristic(characteristic);
        channelPaths_[characteristic.get()] = record.path;
        channels_[record.path] = std::make_unique<CharacteristicChannel>(record.path, characteristic);
    }
    answer(std::nullopt);
}

bool BlueZPeripheral::characteristicsMirrored(const std::vector<BLEUUID>& filter,
                                              const std::string& servicePath) const {
    const auto records = bus_->mirror().characteristicsOf(servicePath);
    if (filter.empty()) return !records.empty();
    return std::all_of(filter.begin(), filter.end(), [&](const BLEUUID& uuid) {
        return std::any_of(records.begin(), records.end(), [&](const auto& record) { return record.uuid == uuid; });
    });
}

void BlueZPeripheral::retryCharacteristicDiscoveries() {
    for (auto it = waitingDiscoveries_.begin(); it != waitingDiscoveries_.end();) {
        const auto path = it->second.service ? servicePaths_.find(it->second.service.get()) : servicePaths_.end();
        if (path != servicePaths_.end() && !characteristicsMirrored(it->second.filter, path->second)) {
            ++it;
            continue;
        }
        const CharacteristicDiscovery discovery = std::move(it->second);
        it = waitingDiscoveries_.erase(it);
        serveCharacteristicDiscovery(discovery.filter, discovery.service, true);
    }
}

void BlueZPeripheral::characteristicWaitEnded(std::uint64_t wait) {
    const auto found = waitingDiscoveries_.find(wait);
    if (found == waitingDiscoveries_.end()) return;
    const CharacteristicDiscovery discovery = std::move(found->second);
    waitingDiscoveries_.erase(found);
    serveCharacteristicDiscovery(discovery.filter, discovery.service, true);
}

CharacteristicChannel* BlueZPeripheral::channelOf(const std::shared_ptr<Characteristic>& characteristic) {
    if (!characteristic) return nullptr;
    const auto path = channelPaths_.find(characteristic.get());
    if (path == channelPaths_.end()) return nullptr;
    const auto channel = channels_.find(path->second);
    return channel == channels_.end() ? nullptr : channel->second.get();
}

void BlueZPeripheral::submit(const std::shared_ptr<Characteristic>& characteristic,
                             CharacteristicChannel::Request request) {
    if (state() != PeripheralState::Connected) return answerRequest(characteristic, request.kind, notConnectedError());
    auto* channel = channelOf(characteristic);
    if (channel == nullptr) return answerRequest(characteristic, request.kind, unknownAttributeError());
    const bool write = request.kind == Kind::Write || request.kind == Kind::WriteWithoutResponse;
    if (write && request.value.size() > bus_->options().maxValueSize) {
        return answerRequest(
            characteristic, request.kind,
            BLEError{BLEErrorInvalidParameters, "The value is longer than a characteristic can hold."});
    }
    const Kind kind = request.kind;
    if (kind == Kind::NotifyOn || kind == Kind::NotifyOff) notifyAsked_.insert(channel->path());
    if (!channel->enqueue(std::move(request))) {
        return answerRequest(characteristic, kind,
                             BLEError{BLEErrorInProgress, "Too many requests are waiting for this characteristic."});
    }
    pump(*channel);
}

void BlueZPeripheral::pump(CharacteristicChannel& channel) {
    while (auto request = channel.next()) {
        send(channel, *request);
        if (channel.isBusy()) return;
    }
}

void BlueZPeripheral::send(CharacteristicChannel& channel, const CharacteristicChannel::Request& request) {
    const std::string path = channel.path();
    const std::uint64_t generation = generation_;
    const Kind kind = request.kind;
    std::weak_ptr<BlueZPeripheral> weak = self();
    auto value = std::make_shared<std::vector<std::uint8_t>>();
    auto handler = [weak, path, generation, kind, value](const std::optional<DBusFailure>& failure) {
        if (auto peripheral = weak.lock()) peripheral->answered(path, generation, kind, std::move(*value), failure);
    };
    const Duration timeout = bus_->options().deviceCallTimeout;
    switch (kind) {
        case Kind::Read:
            channel.readStarted();
            bus_->call(
                path, kGattCharacteristicInterface, "ReadValue", [](sdbus::MethodCall& call) { call << noOptions(); },
                timeout, handler, [value](sdbus::MethodReply& reply) { reply >> *value; });
            break;
        case Kind::Write:
        case Kind::WriteWithoutResponse: {
            // The type is always named: without it bluetoothd picks one from the characteristic's flags.
            const std::string type = kind == Kind::Write ? kWriteTypeRequest : kWriteTypeCommand;
            const std::vector<std::uint8_t> value = request.value;
            bus_->call(
                path, kGattCharacteristicInterface, "WriteValue",
                [value, type](sdbus::MethodCall& call) {
                    std::map<std::string, sdbus::Variant> options{{"type", sdbus::Variant(type)}};
                    call << value << options;
                },
                timeout, handler);
            break;
        }
        case Kind::NotifyOn:
            if (channel.isNotifying()) {
                channel.finish();
                return answerRequest(channel.characteristic(), kind, std::nullopt);
            }
            if (bus_->notifySessionHeld(path)) {
                // Another central of this transport listens already: the session is this one's too.
                bus_->holdNotifySession(path, holder_);
                channel.setNotifying(true);
                channel.finish();
                answerRequest(channel.characteristic(), kind, std::nullopt);
                return deliverEarlyValues(path);
            }
            channel.setNotifyRequested(true);
            bus_->call(path, kGattCharacteristicInterface, "StartNotify", {}, timeout, handler);
            break;
        case Kind::NotifyOff:
            if (!channel.isNotifying()) {
                channel.setNotifyRequested(false);
                channel.finish();
                return answerRequest(channel.characteristic(), kind, std::nullopt);
            }
            channel.setNotifyRequested(false);
            if (!bus_->releaseNotifySession(path, holder_)) {
                // Another central still listens: the session stays on, this one stops hearing it.
                earlyValues_.erase(path);
                channel.setNotifying(false);
                channel.finish();
                return answerRequest(channel.characteristic(), kind, std::nullopt);
            }
            bus_->call(path, kGattCharacteristicInterface, "StopNotify", {}, timeout, handler);
            break;
    }
}

void BlueZPeripheral::answered(const std::string& path, std::uint64_t generation, Kind kind,
                               std::vector<std::uint8_t> value, const std::optional<DBusFailure>& failure) {
    if (generation != generation_) return;  // the link it was made on has ended
    const auto found = channels_.find(path);
    if (found == channels_.end()) return;  // the characteristic went; its requests were answered then
    CharacteristicChannel& channel = *found->second;
    const auto characteristic = channel.characteristic();
    OptionalError error;
    const auto* record = bus_->mirror().characteristic(path);
    const bool sessionOn = record != nullptr && record->notifying;
    if (failure && kind == Kind::NotifyOn && failure->name == kErrorInProgress && sessionOn) {
        // bluetoothd is switching the session it kept from the last link on again: it is on.
    } else if (failure) {
        error = failure->toError(BLEErrorTransport);
        if (failure->name == kErrorMalformedAnswer) bus_->log().write("BlueZ: " + path + ": " + failure->message);
    }
    switch (kind) {
        case Kind::Read: {
            if (!error && value.size() > bus_->options().maxValueSize) {
                error = BLEError{BLEErrorTransport, "The value read is longer than a characteristic can hold."};
            }
            if (error) value.clear();
            for (auto& held : channel.readEnded(error ? nullptr : &value))
                deliverNotification(characteristic, std::move(held));
            answerRequest(characteristic, kind, error, std::move(value));
            break;
        }
        case Kind::NotifyOn:
            if (!error) bus_->holdNotifySession(path, holder_);
            channel.setNotifying(!error);
            channel.setNotifyRequested(false);
            answerRequest(characteristic, kind, error);
            if (error) {
                earlyValues_.erase(path);
            } else {
                deliverEarlyValues(path);
            }
            break;
        case Kind::NotifyOff:
            earlyValues_.erase(path);
            if (!error) channel.setNotifying(false);
            answerRequest(characteristic, kind, error);
            break;
        case Kind::Write:
        case Kind::WriteWithoutResponse:
            answerRequest(characteristic, kind, error);
            break;
    }
    channel.finish();
    pump(channel);
}

void BlueZPeripheral::answerRequest(const std::shared_ptr<Characteristic>& characteristic, Kind kind,
                                    OptionalError error, std::vector<std::uint8_t> value) {
    switch (kind) {
        case Kind::Read:
            postDelegateEvent(
                [characteristic, value = std::move(value), error](const auto& self, PeripheralDelegate& delegate) {
                    if (!error && characteristic) characteristic->setValue(value);
                    delegate.peripheralDidUpdateValueForCharacteristic(self, characteristic, value, error);
                });
            break;
        case Kind::Write:
            postDelegateEvent([characteristic, error](const auto& self, PeripheralDelegate& delegate) {
                delegate.peripheralDidWriteValueForCharacteristic(self, characteristic, error);
            });
            break;
        case Kind::WriteWithoutResponse:
            if (error) {
                bus_->log().write("BlueZ: write without response to " + describe(characteristic) + " of " +
                                  identifier_ + " dropped: " + error->description);
            }
            break;
        case Kind::NotifyOn:
        case Kind::NotifyOff: {
            const bool enabled = kind == Kind::NotifyOn;
            postDelegateEvent([characteristic, enabled, error](const auto& self, PeripheralDelegate& delegate) {
                if (!error && characteristic) characteristic->setNotifying(enabled);
                delegate.peripheralDidWriteValueForDescriptor(self, characteristic, error);
            });
            break;
        }
    }
}

void BlueZPeripheral::deliverNotification(const std::shared_ptr<Characteristic>& characteristic,
                                          std::vector<std::uint8_t> value) {
    postDelegateEvent(
        [characteristic, value = std::move(value)](const auto& self, PeripheralDelegate& delegate) {
            characteristic->setValue(value);
            delegate.peripheralDidUpdateValueForCharacteristic(self, characteristic, value, std::nullopt);
        },
        true);
}

void BlueZPeripheral::valueArrived(const std::string& characteristicPath, std::vector<std::uint8_t> value) {
    const auto state = this->state();
    const bool linking = state == PeripheralState::Connecting && !awaitingDevice_;
    if (state != PeripheralState::Connected && !linking) return;
    const auto found = channels_.find(characteristicPath);
    const bool keeping = earlyValues_.count(characteristicPath) != 0;
    if (state == PeripheralState::Connected && found != channels_.end() && !keeping && found->second->takesValues()) {
        const auto characteristic = found->second->characteristic();
        for (auto& delivered : found->second->valueArrived(std::move(value)))
            deliverNotification(characteristic, std::move(delivered));
        return;
    }
    // A session kept from the last link delivers before the kit switches notifications on over this one
    // (after the kit has decided, a session of another program is not the kit's business).
    const auto* record = bus_->mirror().characteristic(characteristicPath);
    const bool undecided = keeping || notifyAsked_.count(characteristicPath) == 0;
    if (record != nullptr && record->notifying && undecided) keepEarlyValue(characteristicPath, std::move(value));
}

void BlueZPeripheral::keepEarlyValue(const std::string& path, std::vector<std::uint8_t> value) {
    auto& values = earlyValues_[path];
    if (values.size() >= kMaxEarlyValues) {
        values.pop_front();
        if (!earlyValuesDropped_) {
            earlyValuesDropped_ = true;
            bus_->log().write("BlueZ: more than " + std::to_string(kMaxEarlyValues) + " notifications of " + path +
                              " before notifications were switched on; the oldest are dropped");
        }
    }
    values.push_back(std::move(value));
}

void BlueZPeripheral::deliverEarlyValues(const std::string& path) {
    const auto kept = earlyValues_.find(path);
    if (kept == earlyValues_.end()) return;
    const auto channel = channels_.find(path);
    if (channel != channels_.end()) {
        const auto characteristic = channel->second->characteristic();
        for (auto& value : kept->second) deliverNotification(characteristic, std::move(value));
    }
    earlyValues_.erase(kept);
}

void BlueZPeripheral::forgetEarlyValues() {
    earlyValues_.clear();
    earlyValuesDropped_ = false;
}

void BlueZPeripheral::gattChanged() {
    const auto& mirror = bus_->mirror();
    if (state() == PeripheralState::Connecting && !awaitingDevice_) {
        const auto* device = mirror.device(path_);
        if (device != nullptr && device->connected && device->servicesResolved && servicesAnnounced())
            return becomeConnected();
    }
    for (auto it = channels_.begin(); it != channels_.end();) {
        if (mirror.characteristic(it->first) != nullptr) {
            ++it;
            continue;
        }
        const auto characteristic = it->second->characteristic();
        for (const auto& request : it->second->takeAll()) {
            answerRequest(characteristic, request.kind,
                          BLEError{BLEErrorUnknownAttribute, "The characteristic is gone."});
        }
        channelPaths_.erase(characteristic.get());
        it = channels_.erase(it);
    }
    for (auto it = servicesByPath_.begin(); it != servicesByPath_.end();) {
        if (mirror.hasService(it->first)) {
            ++it;
            continue;
        }
        servicePaths_.erase(it->second.get());
        it = servicesByPath_.erase(it);
    }
    if (!waitingDiscoveries_.empty()) settleThenRetry();
}

void BlueZPeripheral::settleThenRetry() {
    const std::uint64_t token = ++settleToken_;
    std::weak_ptr<BlueZPeripheral> weak = self();
    bus_->after(kGattSettle, [weak, token] {
        auto peripheral = weak.lock();
        if (peripheral && token == peripheral->settleToken_) peripheral->retryCharacteristicDiscoveries();
    });
}

}  // namespace halvora::bluez
