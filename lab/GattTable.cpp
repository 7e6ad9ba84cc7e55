#include "lab/GattTable.hpp"

#include <algorithm>

namespace halvora::lab {

void GattTable::addService(const BLEUUID& service) {
    if (findService(service) == nullptr) services_.push_back(ServiceEntry{service, {}});
}

void GattTable::addCharacteristic(const BLEUUID& service, const BLEUUID& characteristic, std::uint8_t properties) {
    addService(service);
    ServiceEntry* entry = findService(service);
    for (auto& existing : entry->characteristics) {
        if (existing.uuid == characteristic) {
            existing.properties = properties;
            return;
        }
    }
    entry->characteristics.push_back(CharacteristicEntry{characteristic, properties});
}

GattTable::ServiceEntry* GattTable::findService(const BLEUUID& uuid) {
    auto it = std::find_if(services_.begin(), services_.end(), [&](const auto& s) { return s.uuid == uuid; });
    return it == services_.end() ? nullptr : &*it;
}

const GattTable::ServiceEntry* GattTable::service(const BLEUUID& uuid) const {
    auto it = std::find_if(services_.begin(), services_.end(), [&](const auto& s) { return s.uuid == uuid; });
    return it == services_.end() ? nullptr : &*it;
}

const GattTable::CharacteristicEntry* GattTable::characteristic(const BLEUUID& service, const BLEUUID& uuid) const {
    const ServiceEntry* entry = this->service(service);
    if (entry == nullptr) return nullptr;
    for (const auto& c : entry->characteristics) {
        if (c.uuid == uuid) return &c;
    }
    return nullptr;
}

bool GattTable::hasAnyService(const std::vector<BLEUUID>& services) const {
    return std::any_of(services.begin(), services.end(), [&](const BLEUUID& uuid) { return service(uuid) != nullptr; });
}

}  // namespace halvora::lab
