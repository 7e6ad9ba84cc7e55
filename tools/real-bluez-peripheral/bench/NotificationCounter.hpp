#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "halvora/Transport/Central.hpp"
#include "halvora/Transport/CentralDelegate.hpp"
#include "halvora/Transport/PeripheralDelegate.hpp"

namespace halvora::realbluez {

/// The kit's side of the notification bench: scans for the device named `name`, connects, switches
/// notifications on for its first notifying characteristic and records every numbered frame the bridge
/// sends (NotificationBurst) with the moment the kit's callback ran.
class NotificationCounter : public CentralDelegate,
                            public PeripheralDelegate,
                            public std::enable_shared_from_this<NotificationCounter> {
public:
    /// One frame as the application saw it.
    struct Received {
        std::uint32_t number = 0;
        std::uint64_t sentNs = 0;
        std::uint64_t receivedNs = 0;
    };
    /// Most frames recorded; later ones are counted as received but not kept.
    static constexpr std::size_t kMaxRecorded = 1000000;

    NotificationCounter(std::string name, std::uint32_t expected);

    /// Waits until every expected frame came, or `seconds` passed since notifications were switched on
    /// (or since the start, before that). Returns the frames in the order they arrived.
    std::vector<Received> wait(double seconds);
    /// The device once a connect was asked for, or null.
    std::shared_ptr<Peripheral> peripheral() const;
    /// What went wrong before notifications were on ("" when nothing).
    std::string failure() const;

    void centralManagerDidUpdateState(Central& central) override;
    void centralManagerDidDiscoverPeripheral(Central& central, const std::shared_ptr<Peripheral>& peripheral,
                                             const AdvertisementData& advertisementData, int rssi) override;
    void centralManagerDidConnectPeripheral(Central& central, const std::shared_ptr<Peripheral>& peripheral) override;
    void centralManagerDidFailToConnectPeripheral(Central& central, const std::shared_ptr<Peripheral>& peripheral,
                                                  const OptionalError& error) override;
    void peripheralDidDiscoverServices(const std::shared_ptr<Peripheral>& peripheral,
                                       const OptionalError& error) override;
    void peripheralDidDiscoverCharacteristicsForService(const std::shared_ptr<Peripheral>& peripheral,
                                                        const std::shared_ptr<Service>& service,
                                                        const OptionalError& error) override;
    void peripheralDidUpdateValueForCharacteristic(const std::shared_ptr<Peripheral>& peripheral,
                                                   const std::shared_ptr<Characteristic>& characteristic,
                                                   const std::vector<std::uint8_t>& value,
                                                   const OptionalError& error) override;

private:
    void fail(const std::string& why);

    const std::string name_;
    const std::uint32_t expected_;
    bool connecting_ = false;
    bool notifyAsked_ = false;
    std::size_t servicesLeft_ = 0;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Received> received_;
    std::uint64_t receivedCount_ = 0;
    std::string failure_;
    std::shared_ptr<Peripheral> peripheral_;
};

}  // namespace halvora::realbluez
