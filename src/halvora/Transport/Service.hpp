#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "halvora/Transport/BLEUUID.hpp"
#include "halvora/Transport/Characteristic.hpp"

namespace halvora {

/// A GATT service of a peripheral. Its characteristics are filled in by characteristic discovery.
class Service {
public:
    /// A service with no characteristics yet; `primary` false for a secondary service.
    explicit Service(BLEUUID uuid, bool primary = true) : uuid_(uuid), primary_(primary) {}

    /// The service's UUID.
    const BLEUUID& uuid() const { return uuid_; }
    /// False for a secondary (included) service.
    bool isPrimary() const { return primary_; }

    /// The characteristics discovered so far, in discovery order.
    std::vector<std::shared_ptr<Characteristic>> characteristics() const {
        std::lock_guard lock(mutex_);
        return characteristics_;
    }
    /// The characteristic with this UUID, or nothing.
    std::shared_ptr<Characteristic> characteristic(const BLEUUID& uuid) const {
        std::lock_guard lock(mutex_);
        for (const auto& c : characteristics_) {
            if (c->uuid() == uuid) return c;
        }
        return nullptr;
    }

    // Set by the transport.
    /// Adds a discovered characteristic; one with the same UUID as an existing one is ignored.
    void addCharacteristic(std::shared_ptr<Characteristic> characteristic) {
        std::lock_guard lock(mutex_);
        for (const auto& c : characteristics_) {
            if (c->uuid() == characteristic->uuid()) return;
        }
        characteristics_.push_back(std::move(characteristic));
    }

private:
    const BLEUUID uuid_;
    const bool primary_;
    mutable std::mutex mutex_;
    std::vector<std::shared_ptr<Characteristic>> characteristics_;
};

}  // namespace halvora
