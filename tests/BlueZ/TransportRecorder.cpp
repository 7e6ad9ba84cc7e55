#include "BlueZ/TransportRecorder.hpp"

#include "halvora/Core/Format.hpp"
#include "halvora/Transport/Peripheral.hpp"

namespace halvora::test {

namespace {

std::string errorText(const OptionalError& error) {
    return error ? ": " + error->description : std::string();
}

std::string hex(const std::vector<std::uint8_t>& value) {
    std::string text;
    for (auto byte : value) text += format("%02X", byte);
    return text;
}

std::string uuidOf(const std::shared_ptr<Characteristic>& characteristic) {
    return characteristic ? characteristic->uuid().toString() : std::string("?");
}

}  // namespace

void TransportRecorder::add(std::string event) {
    std::lock_guard lock(mutex_);
    events_.push_back(std::move(event));
}

void TransportRecorder::centralManagerDidUpdateState(Central& central) {
    add("state " + std::to_string(static_cast<int>(central.state())));
}

void TransportRecorder::centralManagerDidDiscoverPeripheral(Central& /*central*/,
                                                            const std::shared_ptr<Peripheral>& peripheral,
                                                            const AdvertisementData& advertisementData, int rssi) {
    const std::string name = advertisementData.localName.value_or("?");
    {
        std::lock_guard lock(mutex_);
        discovered_[name] = peripheral;
    }
    add("discover " + name + " " + std::to_string(rssi));
}

void TransportRecorder::centralManagerDidConnectPeripheral(Central& /*central*/, const std::shared_ptr<Peripheral>&) {
    add("connect");
}

void TransportRecorder::centralManagerDidFailToConnectPeripheral(Central& /*central*/,
                                                                 const std::shared_ptr<Peripheral>&,
                                                                 const OptionalError& error) {
    add("fail" + errorText(error));
}

void TransportRecorder::centralManagerDidDisconnectPeripheral(Central& /*central*/, const std::shared_ptr<Peripheral>&,
                                                              const OptionalError& error) {
    add("disconnect" + errorText(error));
}

void TransportRecorder::peripheralDidDiscoverServices(const std::shared_ptr<Peripheral>&, const OptionalError& error) {
    add("services" + errorText(error));
}

void TransportRecorder::peripheralDidDiscoverCharacteristicsForService(const std::shared_ptr<Peripheral>&,
                                                                       const std::shared_ptr<Service>& service,
                                                                       const OptionalError& error) {
    add("characteristics " + (service ? service->uuid().toString() : std::string("?")) + errorText(error));
}

void TransportRecorder::peripheralDidWriteValueForDescriptor(const std::shared_ptr<Peripheral>&,
                                                             const std::shared_ptr<Characteristic>& characteristic,
                                                             const OptionalError& error) {
    add("descriptor " + uuidOf(characteristic) + errorText(error));
}

void TransportRecorder::peripheralDidUpdateValueForCharacteristic(const std::shared_ptr<Peripheral>&,
                                                                  const std::shared_ptr<Characteristic>& characteristic,
                                                                  const std::vector<std::uint8_t>& value,
                                                                  const OptionalError& error) {
    add("value " + uuidOf(characteristic) + " " + hex(value) + errorText(error));
}

void TransportRecorder::peripheralDidWriteValueForCharacteristic(const std::shared_ptr<Peripheral>&,
                                                                 const std::shared_ptr<Characteristic>& characteristic,
                                                                 const OptionalError& error) {
    add("written " + uuidOf(characteristic) + errorText(error));
}

std::vector<std::string> TransportRecorder::events() const {
    std::lock_guard lock(mutex_);
    return events_;
}

std::size_t TransportRecorder::count(const std::string& event) const {
    std::size_t n = 0;
    for (const auto& e : events()) n += e == event;
    return n;
}

std::size_t TransportRecorder::countStartingWith(const std::string& prefix) const {
    std::size_t n = 0;
    for (const auto& e : events()) n += e.rfind(prefix, 0) == 0;
    return n;
}

std::shared_ptr<Peripheral> TransportRecorder::discovered(const std::string& localName) const {
    std::lock_guard lock(mutex_);
    const auto it = discovered_.find(localName);
    return it == discovered_.end() ? nullptr : it->second;
}

void TransportRecorder::clear() {
    std::lock_guard lock(mutex_);
    events_.clear();
    discovered_.clear();
}

}  // namespace halvora::test
