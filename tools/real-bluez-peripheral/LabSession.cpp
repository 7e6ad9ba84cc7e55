#include "LabSession.hpp"

#include "halvora/Transport/Service.hpp"
#include "lab/LabTransport.hpp"
#include "lab/Radio.hpp"
#include "lab/VirtualPeripheral.hpp"

namespace halvora::realbluez {

namespace {

constexpr auto kReconnectDelay = std::chrono::seconds(1);

BLEError linkError(const std::string& text) {
    return BLEError{BLEErrorNotConnected, text};
}

}  // namespace

LabSession::LabSession(std::shared_ptr<lab::VirtualPeripheral> device, std::uint64_t seed, Listener listener)
    : device_(std::move(device)),
      listener_(std::move(listener)),
      executor_(ThreadedExecutor::create()),
      radio_(std::make_shared<lab::Radio>(executor_, seed)) {}

LabSession::~LabSession() {
    stop();
}

void LabSession::start(const std::shared_ptr<LabSession>& self) {
    radio_->addPeripheral(device_);
    queue_ = executor_->makeQueue("real-bluez-peripheral.lab-central");
    lab::LabTransport transport(radio_);
    central_ = transport.makeCentral(self, queue_, {});
    auto peripherals = central_->retrievePeripheralsWithIdentifiers({device_->identifier()});
    if (peripherals.empty()) return;
    peripheral_ = peripherals.front();
    peripheral_->setDelegate(self);
    queue_->async([this] { connect(); });
}

void LabSession::stop() {
    if (executor_) executor_->shutdown();
}

void LabSession::connect() {
    if (peripheral_ && central_->state() == CentralState::PoweredOn) central_->connectPeripheral(peripheral_, {});
}

void LabSession::reconnectLater() {
    queue_->asyncAfter(kReconnectDelay, [this] { connect(); });
}

// ---------------------------------------------------------------- requests

void LabSession::read(const AttributeKey& characteristic, ReadDone done) {
    auto target = characteristicFor(characteristic);
    if (!target) return queue_->async([done] { done({}, linkError("Not connected")); });
    {
        std::lock_guard lock(mutex_);
        waiting_[characteristic].reads.push_back(std::move(done));
    }
    peripheral_->readValue(target);
}

void LabSession::write(const AttributeKey& characteristic, const std::vector<std::uint8_t>& value, WriteType type,
                       Done done) {
    auto target = characteristicFor(characteristic);
    if (!target) return queue_->async([done] { done(linkError("Not connected")); });
    if (type == WriteType::WithResponse) {
        std::lock_guard lock(mutex_);
        waiting_[characteristic].writes.push_back(done);
    }
    peripheral_->writeValue(value, target, type);
    if (type == WriteType::WithoutResponse) queue_->async([done] { done(std::nullopt); });
}

void LabSession::setNotify(const AttributeKey& characteristic, bool enabled, Done done) {
    auto target = characteristicFor(characteristic);
    if (!target) return queue_->async([done] { done(linkError("Not connected")); });
    {
        std::lock_guard lock(mutex_);
        waiting_[characteristic].notifySwitches.push_back(std::move(done));
    }
    peripheral_->setNotifyValue(enabled, target);
}

std::shared_ptr<Characteristic> LabSession::characteristicFor(const AttributeKey& key) const {
    std::lock_guard lock(mutex_);
    auto found = characteristics_.find(key);
    return found == characteristics_.end() ? nullptr : found->second;
}

AttributeKey LabSession::keyOf(const std::shared_ptr<Characteristic>& characteristic) {
    auto service = characteristic->service();
    return {service ? service->uuid() : BLEUUID(), characteristic->uuid()};
}

template <typename Callback>
Callback LabSession::takeFirst(std::deque<Callback> Waiting::*queue, const AttributeKey& key) {
    std::lock_guard lock(mutex_);
    auto found = waiting_.find(key);
    if (found == waiting_.end() || (found->second.*queue).empty()) return nullptr;
    Callback first = std::move((found->second.*queue).front());
    (found->second.*queue).pop_front();
    return first;
}

void LabSession::failWaiting(const BLEError& error) {
    std::map<AttributeKey, Waiting> waiting;
    {
        std::lock_guard lock(mutex_);
        waiting.swap(waiting_);
        characteristics_.clear();
        discoveriesLeft_ = 0;
    }
    for (auto& [key, requests] : waiting) {
        for (auto& done : requests.reads) done({}, error);
        for (auto& done : requests.writes) done(error);
        for (auto& done : requests.notifySwitches) done(error);
    }
}

// ---------------------------------------------------------------- the lab's events

void LabSession::centralManagerDidUpdateState(Central& /*central*/) {
    connect();
}

void LabSession::centralManagerDidConnectPeripheral(Central& /*central*/,
                                                    const std::shared_ptr<Peripheral>& peripheral) {
    peripheral->discoverServices(std::nullopt);
}

void LabSession::centralManagerDidFailToConnectPeripheral(Central& /*central*/,
                                                          const std::shared_ptr<Peripheral>& /*peripheral*/,
                                                          const OptionalError& /*error*/) {
    reconnectLater();
}

void LabSession::centralManagerDidDisconnectPeripheral(Central& /*central*/,
                                                       const std::shared_ptr<Peripheral>& /*peripheral*/,
                                                       const OptionalError& error) {
    const std::string reason = error ? error->description : "the link ended";
    failWaiting(linkError(reason));
    if (listener_.linkLost) listener_.linkLost(reason);
    reconnectLater();
}

void LabSession::peripheralDidDiscoverServices(const std::shared_ptr<Peripheral>& peripheral,
                                               const OptionalError& error) {
    const auto services = peripheral->services();
    if (error || services.empty()) {
        central_->cancelPeripheralConnection(peripheral);
        return;
    }
    {
        std::lock_guard lock(mutex_);
        discoveriesLeft_ = static_cast<int>(services.size());
    }
    for (const auto& service : services) peripheral->discoverCharacteristics({}, service);
}

void LabSession::peripheralDidDiscoverCharacteristicsForService(const std::shared_ptr<Peripheral>& peripheral,
                                                                const std::shared_ptr<Service>& service,
                                                                const OptionalError& error) {
    if (error) {
        central_->cancelPeripheralConnection(peripheral);
        return;
    }
    bool complete = false;
    {
        std::lock_guard lock(mutex_);
        for (const auto& characteristic : service->characteristics())
            characteristics_[keyOf(characteristic)] = characteristic;
        complete = --discoveriesLeft_ == 0;
    }
    if (complete && listener_.ready) listener_.ready();
}

void LabSession::peripheralDidWriteValueForDescriptor(const std::shared_ptr<Peripheral>& /*peripheral*/,
                                                      const std::shared_ptr<Characteristic>& characteristic,
                                                      const OptionalError& error) {
    if (auto done = takeFirst(&Waiting::notifySwitches, keyOf(characteristic))) done(error);
}

void LabSession::peripheralDidUpdateValueForCharacteristic(const std::shared_ptr<Peripheral>& /*peripheral*/,
                                                           const std::shared_ptr<Characteristic>& characteristic,
                                                           const std::vector<std::uint8_t>& value,
                                                           const OptionalError& error) {
    const auto key = keyOf(characteristic);
    if (auto done = takeFirst(&Waiting::reads, key)) return done(value, error);
    if (!error && listener_.notified) listener_.notified(key, value);
}

void LabSession::peripheralDidWriteValueForCharacteristic(const std::shared_ptr<Peripheral>& /*peripheral*/,
                                                          const std::shared_ptr<Characteristic>& characteristic,
                                                          const OptionalError& error) {
    if (auto done = takeFirst(&Waiting::writes, keyOf(characteristic))) done(error);
}

}  // namespace halvora::realbluez
