#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "halvora/Transport/Peripheral.hpp"

namespace halvora::test {

/// A peripheral double for driver tests: it records what the driver asks of it and lets the test play the
/// device's side by calling the driver's event methods directly (synchronously).
class FakePeripheral : public Peripheral {
public:
    struct Write {
        BLEUUID characteristic;
        std::vector<std::uint8_t> value;
        WriteType type;
    };

    FakePeripheral(std::string identifier, std::optional<std::string> name)
        : identifier_(std::move(identifier)), name_(std::move(name)) {}

    std::string identifier() const override { return identifier_; }
    std::optional<std::string> name() const override { return name_; }
    PeripheralState state() const override { return state_; }
    void setState(PeripheralState state) { state_ = state; }

    void setDelegate(std::weak_ptr<PeripheralDelegate> delegate) override { delegate_ = std::move(delegate); }
    std::shared_ptr<PeripheralDelegate> delegate() const override { return delegate_.lock(); }
    std::vector<std::shared_ptr<Service>> services() const override { return services_; }

    void discoverServices(const std::optional<std::vector<BLEUUID>>&) override { ++serviceDiscoveries; }
    void discoverCharacteristics(const std::vector<BLEUUID>& uuids, const std::shared_ptr<Service>& service) override {
        characteristicDiscoveries.emplace_back(service ? service->uuid() : BLEUUID(), uuids);
    }
    void setNotifyValue(bool enabled, const std::shared_ptr<Characteristic>& characteristic) override {
        if (enabled && characteristic) notified.push_back(characteristic->uuid());
    }
    void writeValue(const std::vector<std::uint8_t>& value, const std::shared_ptr<Characteristic>& characteristic,
                    WriteType type) override {
        writes.push_back(Write{characteristic ? characteristic->uuid() : BLEUUID(), value, type});
    }
    void readValue(const std::shared_ptr<Characteristic>& characteristic) override {
        if (characteristic) reads.push_back(characteristic->uuid());
    }

    /// Declares a service with characteristics (uuid, properties); returns it.
    std::shared_ptr<Service> addService(const BLEUUID& uuid,
                                        const std::vector<std::pair<BLEUUID, std::uint8_t>>& characteristics);
    std::shared_ptr<Characteristic> characteristic(const BLEUUID& uuid) const;

    // Device side: play the events the driver waits for.
    void playServicesDiscovered(const OptionalError& error = std::nullopt);
    void playCharacteristicsDiscovered(const BLEUUID& service, const OptionalError& error = std::nullopt);
    void playDescriptorWritten(const BLEUUID& characteristic, const OptionalError& error = std::nullopt);
    void playNotification(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value);

    int serviceDiscoveries = 0;
    std::vector<std::pair<BLEUUID, std::vector<BLEUUID>>> characteristicDiscoveries;
    std::vector<BLEUUID> notified;
    std::vector<Write> writes;
    std::vector<BLEUUID> reads;

private:
    std::shared_ptr<Peripheral> self() { return shared_from_this(); }

    std::string identifier_;
    std::optional<std::string> name_;
    PeripheralState state_ = PeripheralState::Connected;
    std::weak_ptr<PeripheralDelegate> delegate_;
    std::vector<std::shared_ptr<Service>> services_;
};

}  // namespace halvora::test
