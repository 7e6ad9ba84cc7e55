#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "halvora/Transport/BLEUUID.hpp"
#include "halvora/Transport/TransportTypes.hpp"

namespace halvora {

class Service;

/// A GATT characteristic of a discovered service. Transports create them; drivers read them.
class Characteristic {
public:
    /// A characteristic with its UUID, property bits (CharacteristicProperty) and owning service.
    Characteristic(BLEUUID uuid, std::uint8_t properties, std::weak_ptr<Service> service = {})
        : uuid_(uuid), properties_(properties), service_(std::move(service)) {}

    /// The characteristic's UUID.
    const BLEUUID& uuid() const { return uuid_; }
    /// The property bits, CharacteristicProperty values OR-ed together.
    std::uint8_t properties() const { return properties_; }
    /// True when `property`'s bit is set.
    bool hasProperty(CharacteristicProperty property) const { return (properties_ & property) != 0; }
    /// The owning service; nothing once it is gone.
    std::shared_ptr<Service> service() const { return service_.lock(); }

    /// The latest value read or notified.
    std::vector<std::uint8_t> value() const {
        std::lock_guard lock(mutex_);
        return value_;
    }
    /// True while notifications (or indications) are switched on.
    bool isNotifying() const {
        std::lock_guard lock(mutex_);
        return notifying_;
    }

    // Set by the transport.
    /// Stores the latest value read or notified.
    void setValue(std::vector<std::uint8_t> value) {
        std::lock_guard lock(mutex_);
        value_ = std::move(value);
    }
    /// Records whether notifications are on.
    void setNotifying(bool notifying) {
        std::lock_guard lock(mutex_);
        notifying_ = notifying;
    }

private:
    const BLEUUID uuid_;
    const std::uint8_t properties_;
    const std::weak_ptr<Service> service_;
    mutable std::mutex mutex_;
    std::vector<std::uint8_t> value_;
    bool notifying_ = false;
};

}  // namespace halvora
