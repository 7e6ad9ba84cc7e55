#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "halvora/Runtime/SerialQueue.hpp"
#include "halvora/Transport/Central.hpp"
#include "lab/EventPipeline.hpp"

namespace halvora::lab {

class Radio;
class RestorationStore;
class SimulatedPeripheral;
class VirtualPeripheral;

/// A central over the lab's radio, behaving as CoreBluetooth's does:
/// - its first event is a state report (PoweredOn or PoweredOff, per the radio), shortly after creation;
///   a central made with a restore identifier under which peripherals were connected or asked for first
///   receives the will-restore event with them (peripherals whose link the system kept are connected);
/// - a scan reports every advertisement of every device in range (duplicates allowed) or each device
///   once per scan; a scan filtered by services reports devices advertising one of them;
/// - connect answers did-connect after the radio's connect latency, or did-fail-to-connect with an error
///   (device busy, out of range, unknown, fault, powered off); connecting a peripheral that is already
///   connected answers did-connect again;
/// - cancel answers did-disconnect without error for a connected or connecting peripheral; a link lost on
///   the device's side answers did-disconnect with an error; power-off sends no disconnection events.
/// One SimulatedPeripheral per device per central: the same object every time. All members are safe to
/// call from any thread; all events of the central and its peripherals arrive in order on its queue.
class SimulatedCentral : public Central, public std::enable_shared_from_this<SimulatedCentral> {
public:
    /// A central on `radio` whose events go to `delegate` on `queue` (the executor's main queue when null).
    /// `restoration` is the system's memory for restore identifiers (a private one when null). The first state
    /// report follows on its own.
    static std::shared_ptr<SimulatedCentral> create(const std::shared_ptr<Radio>& radio,
                                                    std::weak_ptr<CentralDelegate> delegate,
                                                    std::shared_ptr<SerialQueue> queue, CentralOptions options,
                                                    std::shared_ptr<RestorationStore> restoration);
    ~SimulatedCentral() override;
    SimulatedCentral(const SimulatedCentral&) = delete;
    SimulatedCentral& operator=(const SimulatedCentral&) = delete;

    CentralState state() const override;
    void setDelegate(std::weak_ptr<CentralDelegate> delegate) override;
    std::optional<std::string> restoreIdentifier() const override { return restoreIdentifier_; }
    /// The receiver of the central's events; nothing when none is set or it is gone.
    std::shared_ptr<CentralDelegate> delegate() const;

    void scanForPeripheralsWithServices(const std::vector<BLEUUID>& services, ScanOptions options) override;
    void stopScan() override;
    bool isScanning() const override;

    void connectPeripheral(const std::shared_ptr<Peripheral>& peripheral, ConnectOptions options) override;
    void cancelPeripheralConnection(const std::shared_ptr<Peripheral>& peripheral) override;

    std::vector<std::shared_ptr<Peripheral>> retrievePeripheralsWithIdentifiers(
        const std::vector<std::string>& identifiers) override;
    std::vector<std::shared_ptr<Peripheral>> retrieveConnectedPeripheralsWithServices(
        const std::vector<BLEUUID>& services) override;

    // ---- used by the lab
    /// The radio the central listens on.
    const std::shared_ptr<Radio>& radio() const { return radio_; }
    /// The queue the central's (and its peripherals') events arrive on.
    const std::shared_ptr<SerialQueue>& queue() const { return pipeline_->queue(); }
    /// Posts an event to the central's queue, in order with every other event of this central.
    void postEvent(Duration delay, Task event);
    /// Posts an event for the central's delegate (dropped if the central or its delegate is gone).
    void postDelegateEvent(Duration delay, std::function<void(SimulatedCentral&, CentralDelegate&)> event);
    /// This central's peripheral object for the device (made on first use).
    std::shared_ptr<SimulatedPeripheral> peripheralFor(const VirtualPeripheral& device);
    /// An advertisement on the air. Lab queue only.
    void receiveAdvertisement(const std::shared_ptr<VirtualPeripheral>& device, const AdvertisementData& data,
                              int rssi);
    /// The host's Bluetooth was switched. Lab queue only.
    void applyPower(bool poweredOn);

private:
    SimulatedCentral(std::shared_ptr<Radio> radio, std::weak_ptr<CentralDelegate> delegate,
                     std::shared_ptr<SerialQueue> queue, CentralOptions options,
                     std::shared_ptr<RestorationStore> restoration);
    /// First work on the lab queue: restoration, then the first state report.
    void start();
    std::vector<std::shared_ptr<Peripheral>> restorePeripherals();
    void takeOverRestoredLink(const VirtualPeripheral& device, const std::shared_ptr<SimulatedPeripheral>& peripheral);
    std::shared_ptr<SimulatedPeripheral> own(const std::shared_ptr<Peripheral>& peripheral) const;
    std::vector<std::shared_ptr<SimulatedPeripheral>> peripheralList() const;
    bool scanAccepts(const std::string& identifier, const AdvertisementData& data, std::uint64_t& scan);
    bool isCurrentScan(std::uint64_t scan) const;
    void postStateUpdate();

    const std::shared_ptr<Radio> radio_;
    const std::shared_ptr<EventPipeline> pipeline_;
    const std::optional<std::string> restoreIdentifier_;
    const std::shared_ptr<RestorationStore> restoration_;

    mutable std::mutex mutex_;
    std::weak_ptr<CentralDelegate> delegate_;
    CentralState state_ = CentralState::Unknown;
    bool scanning_ = false;
    std::uint64_t scanGeneration_ = 0;
    std::vector<BLEUUID> scanServices_;
    bool allowDuplicates_ = false;
    std::set<std::string> reportedThisScan_;
    std::map<std::string, std::shared_ptr<SimulatedPeripheral>> peripherals_;
};

}  // namespace halvora::lab
