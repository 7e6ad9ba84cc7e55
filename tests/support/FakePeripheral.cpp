#include "support/FakePeripheral.hpp"

namespace halvora::test {

std::shared_ptr<Service> FakePeripheral::addService(
    const BLEUUID& uuid, const std::vector<std::pair<BLEUUID, std::uint8_t>>& characteristics) {
    auto service = std::make_shared<Service>(uuid);
    for (const auto& [characteristicUUID, properties] : characteristics) {
        service->addCharacteristic(std::make_shared<Characteristic>(characteristicUUID, properties, service));
    }
    services_.push_back(service);
    return service;
}

std::shared_ptr<Characteristic> FakePeripheral::characteristic(const BLEUUID& uuid) const {
    for (const auto& service : services_) {
        if (auto found = service->characteristic(uuid)) return found;
    }
    return nullptr;
}

void FakePeripheral::playServicesDiscovered(const OptionalError& error) {
    if (auto d = delegate()) d->peripheralDidDiscoverServices(self(), error);
}

void FakePeripheral::playCharacteristicsDiscovered(const BLEUUID& service, const OptionalError& error) {
    for (const auto& s : services_) {
        if (s->uuid() != service) continue;
        if (auto d = delegate()) d->peripheralDidDiscoverCharacteristicsForService(self(), s, error);
    }
}

void FakePeripheral::playDescriptorWritten(const BLEUUID& uuid, const OptionalError& error) {
    if (auto d = delegate()) d->peripheralDidWriteValueForDescriptor(self(), characteristic(uuid), error);
}

void FakePeripheral::playNotification(const BLEUUID& uuid, const std::vector<std::uint8_t>& value) {
    auto c = characteristic(uuid);
    if (c) c->setValue(value);
    if (auto d = delegate()) d->peripheralDidUpdateValueForCharacteristic(self(), c, value, std::nullopt);
}

}  // namespace halvora::test
