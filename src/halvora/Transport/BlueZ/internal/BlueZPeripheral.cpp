#include "halvora/Transport/BlueZ/internal/BlueZPeripheral.hpp"

#include <sdbus-c++/sdbus-c++.h>

#include <algorithm>

#include "halvora/Transport/BlueZ/internal/Backend.hpp"
#include "halvora/Transport/BlueZ/internal/BlueZCentral.hpp"
#include "halvora/Transport/BlueZ/internal/BlueZNames.hpp"

namespace halvora::bluez {

namespace {

using Kind = CharacteristicChannel::Request::Kind;

constexpr const char* kWriteTypeRequest = "request";
constexpr const char* kWriteTypeCommand = "command";

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
      name_(std::move(name)) {}

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
    const auto* device = bus_->mirror().device(path_);
    if (device == nullptr) {
        return failAttempt(BLEError{BLEErrorConnectionFailed, "BlueZ does not know the device (not seen in a scan)."});
    }
    const std::uint64_t attempt = ++attempt_;
    connectAnswered_ = false;
    setState(PeripheralState::Connecting);
    if (device->connected && device->servicesResolved) return becomeConnected();
    bus_->noteConnectRequested(path_, true);
    std::weak_ptr<BlueZPeripheral> weak = self();
    bus_->call(path_, kDeviceInterface, "Connect", {}, bus_->options().deviceCallTimeout,
               [weak, attempt](const std::optional<DBusFailure>& failure) {
                   if (auto peripheral = weak.lock()) peripheral->connectAnswered(attempt, failure);
               });
}

void BlueZPeripheral::connectAnswered(std::uint64_t attempt, const std::optional<DBusFailure>& failure) {
    if (attempt != attempt_ || state() != PeripheralState::Connecting) return;
    if (failure && failure->name != kErrorAlreadyConnected) {
        ++attempt_;
        return failAttempt(failure->toError(BLEErrorConnectionFailed));
    }
    connectAnswered_ = true;
    linkChanged(bus_->mirror().device(path_));
}

void BlueZPeripheral::failAttempt(BLEError error) {
    setState(PeripheralState::Disconnected);
    bus_->noteConnectRequested(path_, false);
    postCentralEvent([error = std::move(error)](BlueZCentral& central, CentralDelegate& delegate, const auto& self) {
        delegate.centralManagerDidFailToConnectPeripheral(central, self, error);
    });
}

void BlueZPeripheral::linkChanged(const ObjectMirror::Device* device) {
    switch (state()) {
        case PeripheralState::Connecting:
            if (device != nullptr && device->connected && device->servicesResolved) {
                becomeConnected();
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
    setState(PeripheralState::Disconnected);
    bus_->noteConnectRequested(path_, false);
    postCentralEvent([error = std::move(error)](BlueZCentral& central, CentralDelegate& delegate, const auto& self) {
        delegate.centralManagerDidDisconnectPeripheral(central, self, error);
    });
}

void BlueZPeripheral::requestCancel() {
    switch (state()) {
        case PeripheralState::Connected: {
            setState(PeripheralState::Disconnecting);
            const std::uint64_t generation = generation_;
            disconnectDevice([generation](BlueZPeripheral& self) {
                if (self.state() == PeripheralState::Disconnecting && self.generation_ == generation) {
                    self.linkDown(std::nullopt);
                }
            });
            break;
        }
        case PeripheralState::Connecting:
            ++attempt_;
            setState(PeripheralState::Disconnected);
            bus_->noteConnectRequested(path_, false);
            postCentralEvent([](BlueZCentral& central, CentralDelegate& delegate, const auto& self) {
                delegate.centralManagerDidDisconnectPeripheral(central, self, std::nullopt);
            });
            disconnectDevice({});
            break;
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
    if (state() == PeripheralState::Disconnected) return;
    ++generation_;
    forgetGatt();
    setState(PeripheralState::Disconnected);
    bus_->noteConnectRequested(path_, false);
}

// Services and characteristics found over a link are not valid over the next one; requests still waiting
// end with their link.
void BlueZPeripheral::forgetGatt() {
    servicesByPath_.clear();
    servicePaths_.clear();
    channels_.clear();
    channelPaths_.clear();
    std::lock_guard lock(mutex_);
    services_.clear();
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
                                                   const std::shared_ptr<Service>& service) {
    auto answer = [this, service](OptionalError error) {
        postDelegateEvent([service, error](const auto& self, PeripheralDelegate& delegate) {
            delegate.peripheralDidDiscoverCharacteristicsForService(self, service, error);
        });
    };
    if (state() != PeripheralState::Connected) return answer(notConnectedError());
    const auto found = service ? servicePaths_.find(service.get()) : servicePaths_.end();
    if (found == servicePaths_.end()) return answer(unknownAttributeError());
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
    if (failure) {
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
            channel.setNotifying(!error);
            channel.setNotifyRequested(false);
            answerRequest(characteristic, kind, error);
            break;
        case Kind::NotifyOff:
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
    if (state() != PeripheralState::Connected) return;
    const auto found = channels_.find(characteristicPath);
    if (found == channels_.end()) return;  // never discovered over this link: nothing to report it on
    const auto characteristic = found->second->characteristic();
    for (auto& delivered : found->second->valueArrived(std::move(value)))
        deliverNotification(characteristic, std::move(delivered));
}

void BlueZPeripheral::gattChanged() {
    const auto& mirror = bus_->mirror();
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
}

}  // namespace halvora::bluez
