#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "halvora/Runtime/Task.hpp"
#include "halvora/Transport/CentralDelegate.hpp"
#include "halvora/Transport/Peripheral.hpp"
#include "lab/EventPipeline.hpp"
#include "lab/LabLink.hpp"

namespace halvora::lab {

class Radio;
class SimulatedCentral;
class VirtualPeripheral;

/// One virtual device as one simulated central sees it. Every request travels to the device over the
/// radio (after the radio's GATT latency) and its answer comes back as an event on the central's queue,
/// in order with every other event of that central. A request that cannot be served (peripheral not
/// connected, characteristic or service not from this peripheral, property missing, fault) is answered
/// by its event carrying a BLEError; a write without response that cannot be served is dropped and
/// logged. Requests still travelling when their link ends are dropped with the link. All members are safe
/// to call from any thread.
class SimulatedPeripheral : public Peripheral {
public:
    /// The view of device `identifier` (named `name`, if it has one) from `central`; disconnected, no services.
    /// Made by the central (peripheralFor()), one per device.
    SimulatedPeripheral(std::weak_ptr<SimulatedCentral> central, std::shared_ptr<Radio> radio, std::string identifier,
                        std::optional<std::string> name);

    std::string identifier() const override { return identifier_; }
    std::optional<std::string> name() const override { return name_; }
    PeripheralState state() const override;
    void setDelegate(std::weak_ptr<PeripheralDelegate> delegate) override;
    std::shared_ptr<PeripheralDelegate> delegate() const override;
    std::vector<std::shared_ptr<Service>> services() const override;

    void discoverServices(const std::optional<std::vector<BLEUUID>>& serviceUUIDs) override;
    void discoverCharacteristics(const std::vector<BLEUUID>& characteristicUUIDs,
                                 const std::shared_ptr<Service>& service) override;
    void setNotifyValue(bool enabled, const std::shared_ptr<Characteristic>& characteristic) override;
    void writeValue(const std::vector<std::uint8_t>& value, const std::shared_ptr<Characteristic>& characteristic,
                    WriteType type) override;
    void readValue(const std::shared_ptr<Characteristic>& characteristic) override;

    // ---- used by the lab's central, radio and devices
    /// The central this peripheral belongs to; nothing once it is gone.
    std::shared_ptr<SimulatedCentral> central() const { return central_.lock(); }
    /// Connect request from the central: starts an attempt, or confirms a link already up.
    void requestConnect();
    /// Cancel request from the central.
    void requestCancel();
    /// Link events, lab queue only. Each returns whether it applied (the link or attempt was current).
    /// linkUp() only changes the state; the did-connect event follows once the device has been told.
    bool linkUp(std::uint64_t attempt, const std::shared_ptr<LabLink>& link);
    /// The link ended: the peripheral becomes disconnected (an attempt made meanwhile goes on) and forgets its
    /// services. With `sendEvent` the central's delegate hears did-disconnect with `reason` after `delay`.
    /// Lab queue only; returns false for a link that is not the current one.
    bool linkDown(const std::shared_ptr<LabLink>& link, OptionalError reason, bool sendEvent, Duration delay);
    /// Takes over a link held for another central (state restoration); no event.
    void adoptLink(const std::shared_ptr<LabLink>& link);
    /// Gives up the pending attempt, without an event (power off).
    void abandonAttempt();
    /// A notification from the device over `link`.
    void deliverNotification(const std::shared_ptr<LabLink>& link, const BLEUUID& characteristic,
                             std::vector<std::uint8_t> value, Duration delay);
    /// The link the peripheral is connected over, or null.
    std::shared_ptr<LabLink> link() const;

private:
    using PeripheralEvent =
        std::function<void(const std::shared_ptr<SimulatedPeripheral>& self, PeripheralDelegate& delegate)>;
    using CentralEvent = std::function<void(SimulatedCentral& central, CentralDelegate& delegate,
                                            const std::shared_ptr<SimulatedPeripheral>& self)>;
    struct Attribute {
        BLEUUID service;
        BLEUUID characteristic;
    };

    std::shared_ptr<SimulatedPeripheral> self();
    /// Posts to the central's queue (dropped when the central is gone).
    void postEvent(Duration delay, std::function<void(const std::shared_ptr<SimulatedPeripheral>&)> event);
    /// Posts an event for this peripheral's delegate (dropped when it is gone).
    void postDelegateEvent(Duration delay, PeripheralEvent event);
    /// Posts an event about this peripheral for the central's delegate.
    void postCentralEvent(Duration delay, CentralEvent event);
    bool ownsLink(const std::shared_ptr<LabLink>& link) const;
    bool isCurrentAttempt(std::uint64_t attempt) const;
    /// The device a request made on `link` goes to; null when the link has ended (the request is dropped).
    std::shared_ptr<VirtualPeripheral> deviceFor(const std::shared_ptr<LabLink>& link) const;
    std::optional<Attribute> attributeOf(const std::shared_ptr<Characteristic>& characteristic) const;
    static std::optional<std::uint8_t> declaredProperties(const VirtualPeripheral& device, const Attribute& attribute);
    bool ownsService(const std::shared_ptr<Service>& service) const;
    std::shared_ptr<Characteristic> findCharacteristic(const BLEUUID& uuid) const;
    void mergeServices(const std::vector<BLEUUID>& uuids);
    void forgetGatt();
    /// Runs `work` on the lab queue after the GATT latency, with the link the request was made on.
    void sendRequest(std::function<void(SimulatedPeripheral&, const std::shared_ptr<LabLink>&)> work);
    static Duration replyDelayOf(const std::shared_ptr<LabLink>& link);

    // Lab-side halves of the requests.
    void attemptConnection(std::uint64_t attempt);
    void failAttempt(std::uint64_t attempt, BLEError error, Duration delay);
    void confirmLink(const std::shared_ptr<LabLink>& link);
    void reportConnected(Duration delay);
    void closeFromCentral(const std::shared_ptr<LabLink>& link);
    void serveServiceDiscovery(const std::shared_ptr<LabLink>& link, const std::optional<std::vector<BLEUUID>>& filter);
    void serveCharacteristicDiscovery(const std::shared_ptr<LabLink>& link, const std::vector<BLEUUID>& filter,
                                      const std::shared_ptr<Service>& service);
    void serveNotifySwitch(const std::shared_ptr<LabLink>& link, bool enabled,
                           const std::shared_ptr<Characteristic>& characteristic);
    void serveWrite(const std::shared_ptr<LabLink>& link, const std::vector<std::uint8_t>& value,
                    const std::shared_ptr<Characteristic>& characteristic, WriteType type);
    void serveRead(const std::shared_ptr<LabLink>& link, const std::shared_ptr<Characteristic>& characteristic);

    void answerServices(std::vector<BLEUUID> found, OptionalError error, Duration delay);
    void answerCharacteristics(const std::shared_ptr<Service>& service,
                               std::vector<std::pair<BLEUUID, std::uint8_t>> found, OptionalError error,
                               Duration delay);
    void answerNotifySwitch(const std::shared_ptr<Characteristic>& characteristic, bool enabled, OptionalError error,
                            Duration delay);
    void answerWrite(const std::shared_ptr<Characteristic>& characteristic, OptionalError error, Duration delay);
    /// A write that cannot be served: with response it is answered with `error`, without it is dropped.
    void refuseWrite(const std::shared_ptr<Characteristic>& characteristic, WriteType type, BLEError error,
                     Duration delay);
    void answerRead(const std::shared_ptr<Characteristic>& characteristic, std::vector<std::uint8_t> value,
                    OptionalError error, Duration delay);

    const std::weak_ptr<SimulatedCentral> central_;
    const std::shared_ptr<Radio> radio_;
    const std::string identifier_;
    const std::optional<std::string> name_;
    /// Under a link model, the writes waiting for their connection events, in the order they were made.
    const std::shared_ptr<EventPipeline> modelledWrites_;

    mutable std::mutex mutex_;
    PeripheralState state_ = PeripheralState::Disconnected;
    std::uint64_t attempt_ = 0;
    std::shared_ptr<LabLink> link_;
    std::weak_ptr<PeripheralDelegate> delegate_;
    std::vector<std::shared_ptr<Service>> services_;
};

}  // namespace halvora::lab
