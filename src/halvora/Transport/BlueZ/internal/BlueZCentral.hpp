#pragma once

#include <atomic>
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
#include "halvora/Transport/BlueZ/internal/Backend.hpp"
#include "halvora/Transport/BlueZ/internal/ObjectMirror.hpp"
#include "halvora/Transport/Central.hpp"

namespace halvora::bluez {

class BlueZPeripheral;

/// A central over BlueZ. Requests go to the bus thread; the bus thread calls the members marked "bus"
/// with what changed, and this central turns that into events on its queue, in order:
/// - its first event is the state report (once the backend knows the state); power-off drops every link
///   and scan without further events, as CoreBluetooth does;
/// - while scanning, every advertisement of a device (a new device, or a change of its RSSI, name,
///   manufacturer or service data) is a discovery event, or only the first one per device and scan
///   without duplicates; a scan starts with one discovery event for each device bluetoothd holds an RSSI
///   for (heard in the discovery already running), as bluetoothd does not report it again until the
///   controller's next scan cycle;
/// - retrieving by identifier or by services answers from the backend's device directory.
/// One BlueZPeripheral per device (the same object every time), at most options().maxDevices of them.
class BlueZCentral : public Central, public std::enable_shared_from_this<BlueZCentral> {
public:
    /// What an event is, for the cap on waiting events.
    enum class EventKind { Advertisement, Notification, Other };

    BlueZCentral(std::shared_ptr<Backend> backend, std::weak_ptr<CentralDelegate> delegate,
                 std::shared_ptr<SerialQueue> queue, CentralOptions options);
    ~BlueZCentral() override;
    BlueZCentral(const BlueZCentral&) = delete;
    BlueZCentral& operator=(const BlueZCentral&) = delete;

    CentralState state() const override;
    void setDelegate(std::weak_ptr<CentralDelegate> delegate) override;
    std::optional<std::string> restoreIdentifier() const override { return restoreIdentifier_; }
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

    // ---- used by peripherals (any thread)
    /// Posts an event to the queue; advertisements and notifications beyond the cap are dropped.
    void postEvent(EventKind kind, Task event);

    // ---- bus
    void powerChanged(CentralState state);
    void advertised(const ObjectMirror::Device& device);
    void deviceNamed(const ObjectMirror::Device& device);
    void deviceLinkChanged(const ObjectMirror::Device& device);
    void deviceGone(const std::string& path);
    void characteristicValue(const std::string& devicePath, const std::string& path,
                             const std::vector<std::uint8_t>& value);
    void gattChanged(const std::string& devicePath);
    /// Scanning, or a peripheral waits for its device object to come back.
    bool wantsDiscovery() const;
    bool wantsDuplicateReports() const;
    /// A scan started: one discovery event for each device with an RSSI.
    void announceHeldDevices();

private:
    std::shared_ptr<BlueZPeripheral> peripheralFor(const std::string& identifier, const std::string& path,
                                                   const std::optional<std::string>& name);
    std::shared_ptr<BlueZPeripheral> peripheralAt(const std::string& path) const;
    std::shared_ptr<BlueZPeripheral> own(const std::shared_ptr<Peripheral>& peripheral) const;
    std::vector<std::shared_ptr<BlueZPeripheral>> peripheralList() const;
    static bool isUnused(const std::shared_ptr<BlueZPeripheral>& peripheral);
    void evictUnused();
    bool scanAccepts(const std::string& identifier, const std::vector<BLEUUID>& uuids, std::uint64_t& scan);
    bool isCurrentScan(std::uint64_t scan) const;
    void postStateUpdate();
    void eventDone();

    /// Runs `work` on the bus thread, while the transport exists.
    void onBus(std::function<void(Backend& backend)> work) const;

    const std::weak_ptr<Backend> backend_;
    Backend* const bus_;  // for members that run on the bus thread, where the backend is alive
    const std::shared_ptr<Log> log_;
    const BlueZOptions options_;
    const std::shared_ptr<SerialQueue> queue_;
    const std::optional<std::string> restoreIdentifier_;

    mutable std::mutex mutex_;
    std::weak_ptr<CentralDelegate> delegate_;
    CentralState state_ = CentralState::Unknown;
    bool scanning_ = false;
    std::uint64_t scanGeneration_ = 0;
    std::vector<BLEUUID> scanServices_;
    bool allowDuplicates_ = false;
    std::set<std::string> reportedThisScan_;
    std::map<std::string, std::shared_ptr<BlueZPeripheral>> peripherals_;  // by identifier

    std::atomic<std::size_t> pendingEvents_{0};
    std::atomic<bool> droppingAdvertisements_{false};
    std::atomic<bool> droppingNotifications_{false};
};

}  // namespace halvora::bluez
