#pragma once

#include <cstdint>
#include <vector>

#include "halvora/Transport/BLEUUID.hpp"

namespace halvora::lab {

/// The services and characteristics a virtual device offers, in the order they were declared.
class GattTable {
public:
    struct CharacteristicEntry {
        BLEUUID uuid;
        std::uint8_t properties = 0;  ///< CharacteristicProperty bits
    };
    struct ServiceEntry {
        BLEUUID uuid;
        std::vector<CharacteristicEntry> characteristics;
    };

    /// Declares a service (once; a repeated declaration changes nothing).
    void addService(const BLEUUID& service);
    /// Declares a characteristic of `service`, declaring the service too if needed. A repeated
    /// declaration replaces the properties.
    void addCharacteristic(const BLEUUID& service, const BLEUUID& characteristic, std::uint8_t properties);

    const std::vector<ServiceEntry>& services() const { return services_; }
    const ServiceEntry* service(const BLEUUID& uuid) const;
    const CharacteristicEntry* characteristic(const BLEUUID& service, const BLEUUID& uuid) const;
    /// True when any of `services` is declared.
    bool hasAnyService(const std::vector<BLEUUID>& services) const;

private:
    ServiceEntry* findService(const BLEUUID& uuid);

    std::vector<ServiceEntry> services_;
};

}  // namespace halvora::lab
