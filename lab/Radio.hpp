#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "halvora/Runtime/Executor.hpp"
#include "halvora/Runtime/SerialQueue.hpp"
#include "halvora/Transport/AdvertisementData.hpp"
#include "lab/LinkModel.hpp"

namespace halvora::lab {

class LabLink;
class SimulatedCentral;
class VirtualPeripheral;

/// The simulated air: the virtual devices in range, the power switch of the host's Bluetooth, the timing of
/// the radio and a seeded random generator that every random fault draws on, so that runs repeat.
///
/// Every piece of device-side code (the devices' hooks, their timers, link handling) runs on the radio's
/// lab queue ("halvora.lab"). Everything is driven by the executor: under a VirtualExecutor it costs no
/// real time. A Radio is always owned by a std::shared_ptr (make it with std::make_shared).
/// All members are safe to call from any thread unless they say otherwise.
class Radio : public std::enable_shared_from_this<Radio> {
public:
    /// Connect latency of a new radio.
    static constexpr Duration kDefaultConnectLatency = std::chrono::milliseconds(30);
    /// GATT latency of a new radio.
    static constexpr Duration kDefaultGattLatency = std::chrono::milliseconds(5);

    /// A powered-on radio with no devices, timed by `executor`, its random faults drawn from `seed`.
    explicit Radio(std::shared_ptr<Executor> executor, std::uint64_t seed = 1);
    ~Radio();
    Radio(const Radio&) = delete;
    Radio& operator=(const Radio&) = delete;

    /// The executor that drives the radio and every device on it.
    const std::shared_ptr<Executor>& executor() const { return executor_; }
    /// The serial queue on which all device-side code runs.
    const std::shared_ptr<SerialQueue>& labQueue() const { return labQueue_; }
    /// The executor's current time.
    MonotonicTime now() const { return executor_->now(); }

    /// The seeded generator. Lab queue only (every device hook runs there).
    std::mt19937_64& random() { return random_; }
    /// A number in [0, 1) from the seeded generator. Lab queue only.
    double randomUnit();

    // ---- devices in range
    /// Puts a device in range. A device belongs to one radio; adding one twice, or one whose identifier is
    /// already present, is refused (and logged).
    void addPeripheral(const std::shared_ptr<VirtualPeripheral>& peripheral);
    /// Takes a device out of range: its link drops (the central sees a disconnection with an error) and it
    /// stops advertising.
    void removePeripheral(const std::string& identifier);
    /// The devices in range, in the order they were added.
    std::vector<std::shared_ptr<VirtualPeripheral>> peripherals() const;
    /// The device with this identifier (letter case ignored), or null.
    std::shared_ptr<VirtualPeripheral> peripheral(const std::string& identifier) const;

    // ---- power
    /// Switches the host's Bluetooth. Powering off drops every link and stops every scan: each central gets
    /// a state update (PoweredOff) and its peripherals become disconnected, without disconnection events,
    /// as CoreBluetooth does. While off, connection attempts fail with BLEErrorPoweredOff and scans are
    /// ignored. Powering on again reports PoweredOn; nothing reconnects by itself.
    void setPoweredOn(bool poweredOn);
    /// True while the host's Bluetooth is on (the default).
    bool isPoweredOn() const { return poweredOn_.load(); }

    // ---- timing
    /// From a connect request to the device's answer.
    void setConnectLatency(Duration latency);
    /// The current connect latency (30 ms unless set).
    Duration connectLatency() const;
    /// From a GATT request (discovery, read, write, notification switch, cancel) to the device handling it
    /// (writes under a link model: see setLinkModel()).
    void setGattLatency(Duration latency);
    /// The current GATT latency (5 ms unless set).
    Duration gattLatency() const;
    /// Paces the writes and notifications of every link by `model`'s connection events (LinkModel says
    /// how), from the next write or notification on; nothing (the default) keeps the fixed latencies above.
    /// The model is kept normalized (LinkModel::normalized()).
    void setLinkModel(std::optional<LinkModel> model);
    /// The link model in use, if any.
    std::optional<LinkModel> linkModel() const;

    // ---- used by the lab's central and devices
    /// Lets `central` hear advertisements and power changes; held weakly, so a central that is gone drops out.
    void attachCentral(const std::shared_ptr<SimulatedCentral>& central);
    /// The centrals attached and still alive, in attachment order.
    std::vector<std::shared_ptr<SimulatedCentral>> centrals() const;
    /// Runs `work` on the lab queue after `delay`.
    void runOnLab(Duration delay, Task work);
    /// Re-decides which devices advertise (posted to the lab queue).
    void refreshAdvertising();
    /// The same, on the lab queue.
    void applyAdvertising();
    /// From now to the moment a write the phone makes now over `link` reaches the device: the GATT latency,
    /// or under a link model the time of the connection event it is booked in (LabLink::bookWrite()).
    Duration bookWrite(LabLink& link);
    /// From now to the moment something the device sends now over `link` reaches the phone's host, beyond
    /// the device's reply-delay fault: zero without a link model, else LinkModel::deliveryTime().
    Duration deliveryDelay(const LabLink& link) const;
    /// Hands one advertisement to every scanning central. Lab queue only.
    void broadcast(const std::shared_ptr<VirtualPeripheral>& device, const AdvertisementData& data, int rssi);

private:
    bool anyCentralScanning() const;
    void applyPower(bool poweredOn);
    void dropEveryLink();

    const std::shared_ptr<Executor> executor_;
    const std::shared_ptr<SerialQueue> labQueue_;
    std::mt19937_64 random_;
    std::atomic<bool> poweredOn_{true};

    mutable std::mutex mutex_;
    std::vector<std::shared_ptr<VirtualPeripheral>> peripherals_;
    std::vector<std::weak_ptr<SimulatedCentral>> centrals_;
    Duration connectLatency_ = kDefaultConnectLatency;
    Duration gattLatency_ = kDefaultGattLatency;
    std::optional<LinkModel> linkModel_;
};

}  // namespace halvora::lab
