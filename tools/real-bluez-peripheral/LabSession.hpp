#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "halvora/Runtime/ThreadedExecutor.hpp"
#include "halvora/Transport/Central.hpp"
#include "halvora/Transport/CentralDelegate.hpp"
#include "halvora/Transport/PeripheralDelegate.hpp"

namespace halvora::lab {
class Radio;
class VirtualPeripheral;
}  // namespace halvora::lab

namespace halvora::realbluez {

/// A service and characteristic UUID pair: one characteristic of the device.
using AttributeKey = std::pair<BLEUUID, BLEUUID>;

/// The bridge's link to one lab device, through a lab central: connects, discovers every service and
/// characteristic, and carries reads, writes and notification switches to the device and its answers and
/// notifications back. A link the device drops is made again after a second.
///
/// Requests may come from any thread; every callback runs on the lab central's queue. An answer to a
/// characteristic that has a read waiting is taken as that read's answer, any other value as a notification.
class LabSession : public CentralDelegate, public PeripheralDelegate {
public:
    /// What the session tells its owner.
    struct Listener {
        /// The link is up and every characteristic discovered (after each new link).
        std::function<void()> ready;
        /// The link ended; requests still waiting have been answered with an error.
        std::function<void(const std::string& reason)> linkLost;
        /// The device notified `value` on a characteristic.
        std::function<void(const AttributeKey& characteristic, const std::vector<std::uint8_t>& value)> notified;
    };
    /// Answer to a read: the value, or an error.
    using ReadDone = std::function<void(const std::vector<std::uint8_t>& value, const OptionalError& error)>;
    /// Answer to a write or a notification switch.
    using Done = std::function<void(const OptionalError& error)>;

    LabSession(std::shared_ptr<lab::VirtualPeripheral> device, std::uint64_t seed, Listener listener);
    ~LabSession() override;
    LabSession(const LabSession&) = delete;
    LabSession& operator=(const LabSession&) = delete;

    /// Puts the device in range of a lab central and connects to it. Call once, on a shared_ptr.
    void start(const std::shared_ptr<LabSession>& self);
    /// Stops the lab (no callbacks after it returns).
    void stop();

    void read(const AttributeKey& characteristic, ReadDone done);
    void write(const AttributeKey& characteristic, const std::vector<std::uint8_t>& value, WriteType type, Done done);
    void setNotify(const AttributeKey& characteristic, bool enabled, Done done);

    void centralManagerDidUpdateState(Central& central) override;
    void centralManagerDidConnectPeripheral(Central& central, const std::shared_ptr<Peripheral>& peripheral) override;
    void centralManagerDidFailToConnectPeripheral(Central& central, const std::shared_ptr<Peripheral>& peripheral,
                                                  const OptionalError& error) override;
    void centralManagerDidDisconnectPeripheral(Central& central, const std::shared_ptr<Peripheral>& peripheral,
                                               const OptionalError& error) override;
    void peripheralDidDiscoverServices(const std::shared_ptr<Peripheral>& peripheral,
                                       const OptionalError& error) override;
    void peripheralDidDiscoverCharacteristicsForService(const std::shared_ptr<Peripheral>& peripheral,
                                                        const std::shared_ptr<Service>& service,
                                                        const OptionalError& error) override;
    void peripheralDidWriteValueForDescriptor(const std::shared_ptr<Peripheral>& peripheral,
                                              const std::shared_ptr<Characteristic>& characteristic,
                                              const OptionalError& error) override;
    void peripheralDidUpdateValueForCharacteristic(const std::shared_ptr<Peripheral>& peripheral,
                                                   const std::shared_ptr<Characteristic>& characteristic,
                                                   const std::vector<std::uint8_t>& value,
                                                   const OptionalError& error) override;
    void peripheralDidWriteValueForCharacteristic(const std::shared_ptr<Peripheral>& peripheral,
                                                  const std::shared_ptr<Characteristic>& characteristic,
                                                  const OptionalError& error) override;

private:
    /// The requests waiting for the device's answers, per characteristic, in the order they were sent.
    struct Waiting {
        std::deque<ReadDone> reads;
        std::deque<Done> writes;
        std::deque<Done> notifySwitches;
    };

    void connect();
    void reconnectLater();
    /// The discovered characteristic, or null (no link, or the device has no such characteristic).
    std::shared_ptr<Characteristic> characteristicFor(const AttributeKey& key) const;
    static AttributeKey keyOf(const std::shared_ptr<Characteristic>& characteristic);
    /// Answers every waiting request with `error` and forgets the link's characteristics.
    void failWaiting(const BLEError& error);
    template <typename Callback>
    Callback takeFirst(std::deque<Callback> Waiting::*queue, const AttributeKey& key);

    std::shared_ptr<lab::VirtualPeripheral> device_;
    Listener listener_;
    std::shared_ptr<ThreadedExecutor> executor_;
    std::shared_ptr<lab::Radio> radio_;
    std::shared_ptr<Central> central_;
    std::shared_ptr<Peripheral> peripheral_;
    std::shared_ptr<SerialQueue> queue_;

    mutable std::mutex mutex_;
    std::map<AttributeKey, std::shared_ptr<Characteristic>> characteristics_;
    std::map<AttributeKey, Waiting> waiting_;
    int discoveriesLeft_ = 0;
};

}  // namespace halvora::realbluez
