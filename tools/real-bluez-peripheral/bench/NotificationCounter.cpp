#include "NotificationCounter.hpp"

#include <chrono>

#include "NotificationBurst.hpp"
#include "halvora/Transport/Characteristic.hpp"
#include "halvora/Transport/Service.hpp"

namespace halvora::realbluez {

NotificationCounter::NotificationCounter(std::string name, std::uint32_t expected)
    : name_(std::move(name)), expected_(expected) {}

std::vector<NotificationCounter::Received> NotificationCounter::wait(double seconds) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::duration<double>(seconds),
                      [this] { return receivedCount_ >= expected_ || !failure_.empty(); });
    return received_;
}

std::string NotificationCounter::failure() const {
    std::lock_guard lock(mutex_);
    return failure_;
}

std::shared_ptr<Peripheral> NotificationCounter::peripheral() const {
    std::lock_guard lock(mutex_);
    return peripheral_;
}

void NotificationCounter::fail(const std::string& why) {
    std::lock_guard lock(mutex_);
    if (failure_.empty()) failure_ = why;
    changed_.notify_all();
}

void NotificationCounter::centralManagerDidUpdateState(Central& central) {
    if (central.state() == CentralState::PoweredOn && !connecting_) central.scanForPeripheralsWithServices({}, {});
}

void NotificationCounter::centralManagerDidDiscoverPeripheral(Central& central,
                                                              const std::shared_ptr<Peripheral>& peripheral,
                                                              const AdvertisementData& advertisementData,
                                                              int /*rssi*/) {
    if (connecting_ || advertisementData.localName.value_or(peripheral->name().value_or("")) != name_) return;
    connecting_ = true;
    central.stopScan();
    peripheral->setDelegate(weak_from_this());
    {
        std::lock_guard lock(mutex_);
        peripheral_ = peripheral;
    }
    central.connectPeripheral(peripheral, {});
}

void NotificationCounter::centralManagerDidConnectPeripheral(Central& /*central*/,
                                                             const std::shared_ptr<Peripheral>& peripheral) {
    peripheral->discoverServices(std::nullopt);
}

void NotificationCounter::centralManagerDidFailToConnectPeripheral(Central& /*central*/,
                                                                   const std::shared_ptr<Peripheral>& /*peripheral*/,
                                                                   const OptionalError& error) {
    fail("connect failed: " + (error ? error->description : std::string("no reason")));
}

void NotificationCounter::peripheralDidDiscoverServices(const std::shared_ptr<Peripheral>& peripheral,
                                                        const OptionalError& error) {
    if (error) return fail("service discovery failed: " + error->description);
    const auto services = peripheral->services();
    servicesLeft_ = services.size();
    if (services.empty()) return fail("the device has no services");
    for (const auto& service : services) peripheral->discoverCharacteristics({}, service);
}

void NotificationCounter::peripheralDidDiscoverCharacteristicsForService(const std::shared_ptr<Peripheral>& peripheral,
                                                                         const std::shared_ptr<Service>& service,
                                                                         const OptionalError& /*error*/) {
    for (const auto& characteristic : service->characteristics()) {
        if (notifyAsked_ || (characteristic->properties() & CharacteristicPropertyNotify) == 0) continue;
        notifyAsked_ = true;
        peripheral->setNotifyValue(true, characteristic);
    }
    if (--servicesLeft_ == 0 && !notifyAsked_) fail("the device has no notifying characteristic");
}

void NotificationCounter::peripheralDidUpdateValueForCharacteristic(
    const std::shared_ptr<Peripheral>& /*peripheral*/, const std::shared_ptr<Characteristic>& /*characteristic*/,
    const std::vector<std::uint8_t>& value, const OptionalError& error) {
    const std::uint64_t now = NotificationBurst::nowNs();
    const auto frame = error ? std::nullopt : NotificationBurst::decode(value);
    if (!frame) return;
    std::lock_guard lock(mutex_);
    ++receivedCount_;
    if (received_.size() < kMaxRecorded) received_.push_back(Received{frame->number, frame->sentNs, now});
    if (receivedCount_ >= expected_) changed_.notify_all();
}

}  // namespace halvora::realbluez
