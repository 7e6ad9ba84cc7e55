#pragma once

#include <cstdint>
#include <vector>

#include "halvora/Transport/BLEUUID.hpp"

namespace halvora::lab {

/// The services and characteristics a virtual device offers, in the order they were declared.
class GattTable {
public:
    /// A declared characteristic.
    struct CharacteristicEntry {
        BLEUUID uuid;                 ///< the characteristic's UUID
        std::uint8_t properties = 0;  ///< CharacteristicProperty bits
    };
    /// A declared service and its characteristics, in declaration order.
    struct ServiceEntry {
        BLEUUID uuid;                                      ///< the service's UUID
        std::vector<CharacteristicEntry> characteristics;  ///< in declaration order
    };

    /// Declares a service (once; a repeated declaration changes nothing).
    void addService(const BLEUUID& service);
    /// Declares a characteristic of `service`, declaring the service too if needed. A repeated
    /// declaration replaces the properties.
    void addCharacteristic(const BLEUUID& service, const BLEUUID& characteristic, std::uint8_t properties);

    /// Every declared service, in declaration order.
    const std::vector<ServiceEntry>& services() const { return services_; }
    /// The declared service with this UUID, or null. Valid until the next declaration.
    const ServiceEntry* service(const BLEUUID& uuid) const;
    /// The characteristic `uuid` of `service`, or null when either is not declared. Valid until the next
    /// declaration.
    const CharacteristicEntry* characteristic(const BLEUUID& service, const BLEUUID& uuid) const;
    /// True when any of `services` is declared.
    bool hasAnyService(const std::vector<BLEUUID>& services) const;

private:
    ServiceEntry* findService(const BLEUUID& uuid);

    std::vector<ServiceEntry> services_;
};

}  // namespace halvora::lab
