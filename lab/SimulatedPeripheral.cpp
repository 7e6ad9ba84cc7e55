#include "lab/SimulatedPeripheral.hpp"

#include <algorithm>

#include "halvora/Core/Log.hpp"
#include "lab/LabErrors.hpp"
#include "lab/Radio.hpp"
#include "lab/SimulatedCentral.hpp"
#include "lab/VirtualPeripheral.hpp"

namespace halvora::lab {

namespace {

bool contains(const std::vector<BLEUUID>& list, const BLEUUID& uuid) {
    return std::find(list.begin(), list.end(), uuid) != list.end();
}

std::string describe(const std::shared_ptr<Characteristic>& characteristic) {
    return characteristic ? characteristic->uuid().toString() : std::string("(none)");
}

}  // namespace

SimulatedPeripheral::SimulatedPeripheral(std::weak_ptr<SimulatedCentral> central, std::shared_ptr<Radio> radio,
                                         std::string identifier, std::optional<std::string> name)
    : central_(std::move(central)),
      radio_(std::move(radio)),
      identifier_(std::move(identifier)),
      name_(std::move(name)),
      modelledWrites_(std::make_shared<EventPipeline>(radio_->executor(), radio_->labQueue())) {}

PeripheralState SimulatedPeripheral::state() const {
    std::lock_guard lock(mutex_);
    return state_;
}

void SimulatedPeripheral::setDelegate(std::weak_ptr<PeripheralDelegate> delegate) {
    std::lock_guard lock(mutex_);
    delegate_ = std::move(delegate);
}

std::shared_ptr<PeripheralDelegate> SimulatedPeripheral::delegate() const {
    std::lock_guard lock(mutex_);
    return delegate_.lock();
}

std::vector<std::shared_ptr<Service>> SimulatedPeripheral::services() const {
    std::lock_guard lock(mutex_);
    return services_;
}

std::shared_ptr<LabLink> SimulatedPeripheral::link() const {
    std::lock_guard lock(mutex_);
    return link_;
}

std::shared_ptr<SimulatedPeripheral> SimulatedPeripheral::self() {
    return std::static_pointer_cast<SimulatedPeripheral>(shared_from_this());
}

// ---------------------------------------------------------------- events

void SimulatedPeripheral::postEvent(Duration delay,
                                    std::function<void(const std::shared_ptr<SimulatedPeripheral>&)> event) {
    auto central = central_.lock();
    if (!central) return;
    central->postEvent(delay, [self = self(), event = std::move(event)] { event(self); });
}

void SimulatedPeripheral::postDelegateEvent(Duration delay, PeripheralEvent event) {
    postEvent(delay, [event = std::move(event)](const std::shared_ptr<SimulatedPeripheral>& self) {
        if (auto delegate = self->delegate()) event(self, *delegate);
    });
}

void SimulatedPeripheral::postCentralEvent(Duration delay, CentralEvent event) {
    auto central = central_.lock();
    if (!central) return;
    central->postDelegateEvent(
        delay, [self = self(), event = std::move(event)](SimulatedCentral& c, CentralDelegate& delegate) {
            event(c, delegate, self);
        });
}

// ---------------------------------------------------------------- bookkeeping

bool SimulatedPeripheral::ownsLink(const std::shared_ptr<LabLink>& link) const {
    std::lock_guard lock(mutex_);
    return link && link_ == link;
}

bool SimulatedPeripheral::isCurrentAttempt(std::uint64_t attempt) const {
    std::lock_guard lock(mutex_);
    return attempt_ == attempt && state_ == PeripheralState::Connecting;
}

std::shared_ptr<VirtualPeripheral> SimulatedPeripheral::deviceFor(const std::shared_ptr<LabLink>& link) const {
    return ownsLink(link) ? link->device() : nullptr;
}

std::optional<SimulatedPeripheral::Attribute> SimulatedPeripheral::attributeOf(
    const std::shared_ptr<Characteristic>& characteristic) const {
    if (!characteristic) return std::nullopt;
    std::lock_guard lock(mutex_);
    for (const auto& service : services_) {
        if (service->characteristic(characteristic->uuid()) == characteristic) {
            return Attribute{service->uuid(), characteristic->uuid()};
        }
    }
    return std::nullopt;
}

std::optional<std::uint8_t> SimulatedPeripheral::declaredProperties(const VirtualPeripheral& device,
                                                                    const Attribute& attribute) {
    const GattTable table = device.gattTable();
    const auto* entry = table.characteristic(attribute.service, attribute.characteristic);
    if (entry == nullptr) return std::nullopt;
    return entry->properties;
}

bool SimulatedPeripheral::ownsService(const std::shared_ptr<Service>& service) const {
    std::lock_guard lock(mutex_);
    return service && std::find(services_.begin(), services_.end(), service) != services_.end();
}

std::shared_ptr<Characteristic> SimulatedPeripheral::findCharacteristic(const BLEUUID& uuid) const {
    std::lock_guard lock(mutex_);
    for (const auto& service : services_) {
        if (auto characteristic = service->characteristic(uuid)) return characteristic;
    }
    return nullptr;
}

void SimulatedPeripheral::mergeServices(const std::vector<BLEUUID>& uuids) {
    std::lock_guard lock(mutex_);
    for (const auto& uuid : uuids) {
        const bool known = std::any_of(services_.begin(), services_.end(),
                                       [&](const auto& service) { return service->uuid() == uuid; });
        if (!known) services_.push_back(std::make_shared<Service>(uuid));
    }
}

// Services and characteristics found over a link are not valid over the next one.
void SimulatedPeripheral::forgetGatt() {
    std::lock_guard lock(mutex_);
    services_.clear();
}

Duration SimulatedPeripheral::replyDelayOf(const std::shared_ptr<LabLink>& link) {
    auto device = link ? link->device() : nullptr;
    return device ? device->faults().replyDelay : Duration::zero();
}

void SimulatedPeripheral::sendRequest(std::function<void(SimulatedPeripheral&, const std::shared_ptr<LabLink>&)> work) {
    radio_->runOnLab(radio_->gattLatency(),
                     [self = self(), link = link(), work = std::move(work)] { work(*self, link); });
}

// ---------------------------------------------------------------- connection

void SimulatedPeripheral::requestConnect() {
    std::shared_ptr<LabLink> confirm;
    std::optional<std::uint64_t> attempt;
    {
        std::lock_guard lock(mutex_);
        switch (state_) {
            case PeripheralState::Connected:
                confirm = link_;
                break;
            case PeripheralState::Connecting:
                return;
            case PeripheralState::Disconnected:
            case PeripheralState::Disconnecting:
                state_ = PeripheralState::Connecting;
                attempt = ++attempt_;
                break;
        }
    }
    auto self = this->self();
    if (confirm) {
        radio_->runOnLab(radio_->gattLatency(), [self, confirm] { self->confirmLink(confirm); });
    } else if (attempt) {
        radio_->runOnLab(radio_->connectLatency(), [self, attempt] { self->attemptConnection(*attempt); });
    }
}

void SimulatedPeripheral::requestCancel() {
    std::shared_ptr<LabLink> close;
    bool abandoned = false;
    {
        std::lock_guard lock(mutex_);
        switch (state_) {
            case PeripheralState::Connected:
                state_ = PeripheralState::Disconnecting;
                close = link_;
                break;
            case PeripheralState::Connecting:
                ++attempt_;
                state_ = PeripheralState::Disconnected;
                abandoned = true;
                break;
            case PeripheralState::Disconnected:
            case PeripheralState::Disconnecting:
                return;
        }
    }
    auto self = this->self();
    if (close) {
        radio_->runOnLab(radio_->gattLatency(), [self, close] { self->closeFromCentral(close); });
    } else if (abandoned) {
        // A cancelled attempt ends with a disconnection event too, as CoreBluetooth reports it.
        radio_->runOnLab(Duration::zero(), [self] {
            self->postCentralEvent(Duration::zero(), [](SimulatedCentral& central, CentralDelegate& delegate,
                                                        const std::shared_ptr<SimulatedPeripheral>& peripheral) {
                delegate.centralManagerDidDisconnectPeripheral(central, peripheral, std::nullopt);
            });
        });
    }
}

void SimulatedPeripheral::attemptConnection(std::uint64_t attempt) {
    if (!isCurrentAttempt(attempt)) return;
    auto central = central_.lock();
    if (!central) return;
    if (!radio_->isPoweredOn() || central->state() != CentralState::PoweredOn) {
        failAttempt(attempt, labError(BLEErrorPoweredOff, "Bluetooth is powered off."), Duration::zero());
        return;
    }
    auto device = radio_->peripheral(identifier_);
    if (!device) {
        failAttempt(attempt, labError(BLEErrorConnectionTimeout, "The device is not in range."), Duration::zero());
        return;
    }
    auto acceptance = device->acceptLink(self());
    const Duration delay = device->faults().replyDelay;
    if (acceptance.error) {
        failAttempt(attempt, *acceptance.error, delay);
        return;
    }
    if (!linkUp(attempt, acceptance.link)) {
        device->closeLink(acceptance.link, std::nullopt, VirtualPeripheral::LinkEndNotice::Silent);
        return;
    }
    if (!acceptance.continued) device->linkEstablished(acceptance.link);
    reportConnected(delay);
}

void SimulatedPeripheral::failAttempt(std::uint64_t attempt, BLEError error, Duration delay) {
    {
        std::lock_guard lock(mutex_);
        if (attempt_ != attempt || state_ != PeripheralState::Connecting) return;
        state_ = PeripheralState::Disconnected;
    }
    postCentralEvent(delay, [error = std::move(error)](SimulatedCentral& central, CentralDelegate& delegate,
                                                       const std::shared_ptr<SimulatedPeripheral>& peripheral) {
        delegate.centralManagerDidFailToConnectPeripheral(central, peripheral, error);
    });
}

void SimulatedPeripheral::confirmLink(const std::shared_ptr<LabLink>& link) {
    if (!ownsLink(link)) return;
    reportConnected(replyDelayOf(link));
}

void SimulatedPeripheral::reportConnected(Duration delay) {
    postCentralEvent(delay, [](SimulatedCentral& central, CentralDelegate& delegate,
                               const std::shared_ptr<SimulatedPeripheral>& peripheral) {
        delegate.centralManagerDidConnectPeripheral(central, peripheral);
    });
}

void SimulatedPeripheral::closeFromCentral(const std::shared_ptr<LabLink>& link) {
    if (auto device = link->device()) {
        device->closeLink(link, std::nullopt, VirtualPeripheral::LinkEndNotice::Event);
    } else {
        linkDown(link, std::nullopt, true, Duration::zero());
    }
}

bool SimulatedPeripheral::linkUp(std::uint64_t attempt, const std::shared_ptr<LabLink>& link) {
    std::lock_guard lock(mutex_);
    if (attempt_ != attempt || state_ != PeripheralState::Connecting) return false;
    state_ = PeripheralState::Connected;
    link_ = link;
    return true;
}

bool SimulatedPeripheral::linkDown(const std::shared_ptr<LabLink>& link, OptionalError reason, bool sendEvent,
                                   Duration delay) {
    {
        std::lock_guard lock(mutex_);
        if (!link || link_ != link) return false;
        link_.reset();
        // A new attempt made while the link was closing goes on.
        if (state_ != PeripheralState::Connecting) state_ = PeripheralState::Disconnected;
    }
    if (!sendEvent) {
        forgetGatt();
        return true;
    }
    auto central = central_.lock();
    if (!central) return true;
    std::weak_ptr<SimulatedCentral> weakCentral = central;
    central->postEvent(delay, [self = self(), weakCentral, reason = std::move(reason)] {
        self->forgetGatt();
        auto owner = weakCentral.lock();
        auto delegate = owner ? owner->delegate() : nullptr;
        if (delegate) delegate->centralManagerDidDisconnectPeripheral(*owner, self, reason);
    });
    return true;
}

void SimulatedPeripheral::adoptLink(const std::shared_ptr<LabLink>& link) {
    std::lock_guard lock(mutex_);
    ++attempt_;
    link_ = link;
    state_ = PeripheralState::Connected;
}

void SimulatedPeripheral::abandonAttempt() {
    std::lock_guard lock(mutex_);
    if (state_ != PeripheralState::Connecting) return;
    ++attempt_;
    state_ = PeripheralState::Disconnected;
}

void SimulatedPeripheral::deliverNotification(const std::shared_ptr<LabLink>& link, const BLEUUID& characteristic,
                                              std::vector<std::uint8_t> value, Duration delay) {
    if (!ownsLink(link)) return;
    postDelegateEvent(delay, [characteristic, value = std::move(value)](
                                 const std::shared_ptr<SimulatedPeripheral>& self, PeripheralDelegate& delegate) {
        auto target = self->findCharacteristic(characteristic);
        if (!target) return;  // never discovered over this link: nothing to report it on
        target->setValue(value);
        delegate.peripheralDidUpdateValueForCharacteristic(self, target, value, std::nullopt);
    });
}

// ---------------------------------------------------------------- GATT requests

void SimulatedPeripheral::discoverServices(const std::optional<std::vector<BLEUUID>>& serviceUUIDs) {
    sendRequest([serviceUUIDs](SimulatedPeripheral& self, const std::shared_ptr<LabLink>& link) {
        self.serveServiceDiscovery(link, serviceUUIDs);
    });
}

void SimulatedPeripheral::discoverCharacteristics(const std::vector<BLEUUID>& characteristicUUIDs,
                                                  const std::shared_ptr<Service>& service) {
    sendRequest([characteristicUUIDs, service](SimulatedPeripheral& self, const std::shared_ptr<LabLink>& link) {
        self.serveCharacteristicDiscovery(link, characteristicUUIDs, service);
    });
}

void SimulatedPeripheral::setNotifyValue(bool enabled, const std::shared_ptr<Characteristic>& characteristic) {
    sendRequest([enabled, characteristic](SimulatedPeripheral& self, const std::shared_ptr<LabLink>& link) {
        self.serveNotifySwitch(link, enabled, characteristic);
    });
}

// A write goes after the GATT latency, or under a link model in the connection event it is booked in. Those
// go through a pipeline: on real threads, timers set for the same event from different moments could
// otherwise fire out of the order the writes were made in.
void SimulatedPeripheral::writeValue(const std::vector<std::uint8_t>& value,
                                     const std::shared_ptr<Characteristic>& characteristic, WriteType type) {
    auto link = this->link();
    Task work = [self = self(), link, value, characteristic, type] {
        self->serveWrite(link, value, characteristic, type);
    };
    if (link && radio_->linkModel()) {
        modelledWrites_->post(radio_->bookWrite(*link), std::move(work));
        return;
    }
    radio_->runOnLab(radio_->gattLatency(), std::move(work));
}

void SimulatedPeripheral::readValue(const std::shared_ptr<Characteristic>& characteristic) {
    sendRequest([characteristic](SimulatedPeripheral& self, const std::shared_ptr<LabLink>& link) {
        self.serveRead(link, characteristic);
    });
}

// ---------------------------------------------------------------- GATT, device side (lab queue)

void SimulatedPeripheral::serveServiceDiscovery(const std::shared_ptr<LabLink>& link,
                                                const std::optional<std::vector<BLEUUID>>& filter) {
    if (!link) return answerServices({}, notConnectedError(), Duration::zero());
    auto device = deviceFor(link);
    if (!device) return;
    const LabFaults faults = device->faults();
    if (faults.discoveryError) {
        return answerServices({}, labError(BLEErrorTransport, "Service discovery failed."), faults.replyDelay);
    }
    const GattTable table = device->gattTable();
    std::vector<BLEUUID> found;
    for (const auto& service : table.services()) {
        if (!filter || contains(*filter, service.uuid)) found.push_back(service.uuid);
    }
    answerServices(std::move(found), std::nullopt, faults.replyDelay);
}

void SimulatedPeripheral::serveCharacteristicDiscovery(const std::shared_ptr<LabLink>& link,
                                                       const std::vector<BLEUUID>& filter,
                                                       const std::shared_ptr<Service>& service) {
    if (!link) return answerCharacteristics(service, {}, notConnectedError(), Duration::zero());
    auto device = deviceFor(link);
    if (!device) return;
    const LabFaults faults = device->faults();
    const GattTable table = device->gattTable();
    const auto* entry = ownsService(service) ? table.service(service->uuid()) : nullptr;
    if (entry == nullptr) return answerCharacteristics(service, {}, unknownAttributeError(), faults.replyDelay);
    if (faults.characteristicDiscoveryError) {
        return answerCharacteristics(service, {}, labError(BLEErrorTransport, "Characteristic discovery failed."),
                                     faults.replyDelay);
    }
    std::vector<std::pair<BLEUUID, std::uint8_t>> found;
    for (const auto& characteristic : entry->characteristics) {
        if (filter.empty() || contains(filter, characteristic.uuid)) {
            found.emplace_back(characteristic.uuid, characteristic.properties);
        }
    }
    answerCharacteristics(service, std::move(found), std::nullopt, faults.replyDelay);
}

void SimulatedPeripheral::serveNotifySwitch(const std::shared_ptr<LabLink>& link, bool enabled,
                                            const std::shared_ptr<Characteristic>& characteristic) {
    if (!link) return answerNotifySwitch(characteristic, enabled, notConnectedError(), Duration::zero());
    auto device = deviceFor(link);
    if (!device) return;
    const Duration delay = device->faults().replyDelay;
    const auto attribute = attributeOf(characteristic);
    const auto properties = attribute ? declaredProperties(*device, *attribute) : std::nullopt;
    if (!properties) return answerNotifySwitch(characteristic, enabled, unknownAttributeError(), delay);
    if ((*properties & (CharacteristicPropertyNotify | CharacteristicPropertyIndicate)) == 0) {
        return answerNotifySwitch(characteristic, enabled,
                                  labError(BLEErrorOperationNotSupported, "The characteristic does not notify."),
                                  delay);
    }
    link->setNotifying(attribute->characteristic, enabled);
    answerNotifySwitch(characteristic, enabled, std::nullopt, delay);
    device->onNotifyChanged(attribute->characteristic, enabled);
}

void SimulatedPeripheral::serveWrite(const std::shared_ptr<LabLink>& link, const std::vector<std::uint8_t>& value,
                                     const std::shared_ptr<Characteristic>& characteristic, WriteType type) {
    if (!link) return refuseWrite(characteristic, type, notConnectedError(), Duration::zero());
    auto device = deviceFor(link);
    if (!device) return;
    // The response travels back like a notification (in the next connection event under a link model).
    const Duration delay = device->faults().replyDelay + radio_->deliveryDelay(*link);
    const auto attribute = attributeOf(characteristic);
    const auto properties = attribute ? declaredProperties(*device, *attribute) : std::nullopt;
    if (!properties) return refuseWrite(characteristic, type, unknownAttributeError(), delay);
    const bool withResponse = type == WriteType::WithResponse;
    const auto needed = withResponse ? CharacteristicPropertyWrite : CharacteristicPropertyWriteWithoutResponse;
    if ((*properties & needed) == 0) {
        return refuseWrite(characteristic, type, labError(BLEErrorOperationNotSupported, "Writing is not permitted."),
                           delay);
    }
    if (withResponse) answerWrite(characteristic, std::nullopt, delay);
    device->onWrite(attribute->characteristic, value, type);
}

void SimulatedPeripheral::serveRead(const std::shared_ptr<LabLink>& link,
                                    const std::shared_ptr<Characteristic>& characteristic) {
    if (!link) return answerRead(characteristic, {}, notConnectedError(), Duration::zero());
    auto device = deviceFor(link);
    if (!device) return;
    const Duration delay = device->faults().replyDelay;
    const auto attribute = attributeOf(characteristic);
    const auto properties = attribute ? declaredProperties(*device, *attribute) : std::nullopt;
    if (!properties) return answerRead(characteristic, {}, unknownAttributeError(), delay);
    if ((*properties & CharacteristicPropertyRead) == 0) {
        return answerRead(characteristic, {}, labError(BLEErrorOperationNotSupported, "Reading is not permitted."),
                          delay);
    }
    answerRead(characteristic, device->onRead(attribute->characteristic), std::nullopt, delay);
}

// ---------------------------------------------------------------- answers (posted to the central's queue)

void SimulatedPeripheral::answerServices(std::vector<BLEUUID> found, OptionalError error, Duration delay) {
    postEvent(delay,
              [found = std::move(found), error = std::move(error)](const std::shared_ptr<SimulatedPeripheral>& self) {
                  if (!error) self->mergeServices(found);
                  if (auto delegate = self->delegate()) delegate->peripheralDidDiscoverServices(self, error);
              });
}

void SimulatedPeripheral::answerCharacteristics(const std::shared_ptr<Service>& service,
                                                std::vector<std::pair<BLEUUID, std::uint8_t>> found,
                                                OptionalError error, Duration delay) {
    postEvent(delay, [service, found = std::move(found),
                      error = std::move(error)](const std::shared_ptr<SimulatedPeripheral>& self) {
        if (!error && service) {
            for (const auto& [uuid, properties] : found) {
                service->addCharacteristic(std::make_shared<Characteristic>(uuid, properties, service));
            }
        }
        if (auto delegate = self->delegate())
            delegate->peripheralDidDiscoverCharacteristicsForService(self, service, error);
    });
}

void SimulatedPeripheral::answerNotifySwitch(const std::shared_ptr<Characteristic>& characteristic, bool enabled,
                                             OptionalError error, Duration delay) {
    postEvent(delay,
              [characteristic, enabled, error = std::move(error)](const std::shared_ptr<SimulatedPeripheral>& self) {
                  if (!error && characteristic) characteristic->setNotifying(enabled);
                  if (auto delegate = self->delegate())
                      delegate->peripheralDidWriteValueForDescriptor(self, characteristic, error);
              });
}

void SimulatedPeripheral::answerWrite(const std::shared_ptr<Characteristic>& characteristic, OptionalError error,
                                      Duration delay) {
    postDelegateEvent(delay, [characteristic, error = std::move(error)](
                                 const std::shared_ptr<SimulatedPeripheral>& self, PeripheralDelegate& delegate) {
        delegate.peripheralDidWriteValueForCharacteristic(self, characteristic, error);
    });
}

void SimulatedPeripheral::refuseWrite(const std::shared_ptr<Characteristic>& characteristic, WriteType type,
                                      BLEError error, Duration delay) {
    if (type == WriteType::WithResponse) {
        answerWrite(characteristic, std::move(error), delay);
        return;
    }
    Log::shared().writef("Lab: write without response to %s of %s dropped: %s", describe(characteristic).c_str(),
                         identifier_.c_str(), error.description.c_str());
}

void SimulatedPeripheral::answerRead(const std::shared_ptr<Characteristic>& characteristic,
                                     std::vector<std::uint8_t> value, OptionalError error, Duration delay) {
    postEvent(delay, [characteristic, value = std::move(value),
                      error = std::move(error)](const std::shared_ptr<SimulatedPeripheral>& self) {
        if (!error && characteristic) characteristic->setValue(value);
        if (auto delegate = self->delegate()) {
            delegate->peripheralDidUpdateValueForCharacteristic(self, characteristic, value, error);
        }
    });
}

}  // namespace halvora::lab
