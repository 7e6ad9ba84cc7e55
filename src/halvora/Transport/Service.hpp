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
    explicit Service(BLEUUID uuid, bool primary = true) : uuid_(uuid), primary_(primary) {}

    const BLEUUID& uuid() const { return uuid_; }
    bool isPrimary() const { return primary_; }

    std::vector<std::shared_ptr<Characteristic>> characteristics() const {
        std::lock_guard lock(mutex_);
        return characteristics_;
    }
    std::shared_ptr<Characteristic> characteristic(const BLEUUID& uuid) const {
        std::lock_guard lock(mutex_);
        for (const auto& c : characteristics_) {
            if (c->uuid() == uuid) return c;
        }
        return nullptr;
    }

    // Set by the transport.
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
