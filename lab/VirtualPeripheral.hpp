#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "halvora/Core/Date.hpp"
#include "halvora/Runtime/Task.hpp"
#include "halvora/Runtime/TimerHandle.hpp"
#include "halvora/Transport/AdvertisementData.hpp"
#include "halvora/Transport/BLEError.hpp"
#include "halvora/Transport/BLEUUID.hpp"
#include "halvora/Transport/TransportTypes.hpp"
#include "lab/GattTable.hpp"
#include "lab/LabFaults.hpp"
#include "lab/VirtualPeripheralConfig.hpp"

namespace halvora::lab {

class HostileStream;
class LabLink;
class Radio;
class SimulatedCentral;
class SimulatedPeripheral;

/// The base of every virtual device, written from the device's side. A subclass declares its GATT table
/// (usually in its constructor), overrides the hooks it needs and answers through the actions.
///
/// Threads: the hooks run on the radio's lab queue, one at a time, and so does every timer made with
/// schedule(). Declarations, faults and read values may be set from any thread. The actions may be called
/// from any thread: called off the lab queue, they are posted to it.
///
/// A device accepts one link at a time: while connected it stops advertising and a second central's
/// connection attempt fails. Make devices with std::make_shared and put them in range with
/// Radio::addPeripheral().
class VirtualPeripheral : public std::enable_shared_from_this<VirtualPeripheral> {
public:
    /// A device with this identity and advertising (the identifier upper-cased), no GATT table, no faults and
    /// no radio yet.
    explicit VirtualPeripheral(VirtualPeripheralConfig config);
    virtual ~VirtualPeripheral();
    VirtualPeripheral(const VirtualPeripheral&) = delete;
    VirtualPeripheral& operator=(const VirtualPeripheral&) = delete;

    // ---- identity and advertising
    /// Upper-case identifier text.
    const std::string& identifier() const { return config_.identifier; }
    /// The GAP name centrals report; absent when the device has none.
    const std::optional<std::string>& name() const { return config_.name; }
    /// The local name its advertisements carry; absent when they carry none.
    const std::optional<std::string>& localName() const { return config_.localName; }
    /// The configuration it was made with (identifier upper-cased).
    const VirtualPeripheralConfig& config() const { return config_; }
    /// The advertised signal strength, dBm, before jitter.
    int rssi() const;
    /// Changes the advertised signal strength, dBm, from the next advertisement on (moving the device closer
    /// or farther).
    void setRssi(int rssi);
    /// What one advertisement carries.
    AdvertisementData advertisementData() const;

    // ---- GATT table
    /// Declares a service (GattTable::addService()).
    void addService(const BLEUUID& service);
    /// Declares a characteristic with its CharacteristicProperty bits (GattTable::addCharacteristic()).
    void addCharacteristic(const BLEUUID& service, const BLEUUID& characteristic, std::uint8_t properties);
    /// A copy of the declared services and characteristics.
    GattTable gattTable() const;
    /// The value the default onRead() answers for `characteristic` (empty until set).
    void setReadValue(const BLEUUID& characteristic, std::vector<std::uint8_t> value);

    // ---- faults
    /// Replaces the faults; each takes effect from the next event it concerns (advertising follows a change of
    /// range at once, the unsolicited notifications of a hostile device a change of their interval).
    void setFaults(const LabFaults& faults);
    /// The current faults.
    LabFaults faults() const;

    // ---- presence on the air
    /// The device's own doing, apart from the scripted faults (which it leaves alone): false makes it leave
    /// the air, as a device that restarts or switches into another mode does: a link up drops (the central
    /// sees a disconnection with an error), advertising stops and connection attempts fail as for a device
    /// out of range; true brings it back (advertising again when anyone scans). A device is present from
    /// its creation; a change of range (LabFaults::inRange) applies on top.
    void setPresent(bool present);
    /// Whether the device is on the air (setPresent()).
    bool isPresent() const { return present_.load(); }

    // ---- actions
    /// Sends a notification to the connected central, if it switched notifications on for this
    /// characteristic on the current link; otherwise it goes nowhere, as on a real link. A hostile device
    /// (LabFaults::hostile) mangles it first; then the faults for notifications (loss, duplicates, splitting)
    /// and the reply delay apply.
    void notify(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value);
    /// Runs `work` on the lab queue after `delay` (a device-side timer), while the device exists. Without
    /// a radio nothing is scheduled and the handle is already invalid.
    std::shared_ptr<TimerHandle> schedule(Duration delay, std::function<void()> work);
    /// Drops the link, as on a loss of signal: the central sees a disconnection with an error.
    void dropLink();
    /// Whether a link is up (a link the system holds for a central that went away counts).
    bool isConnected() const { return connected_.load(); }
    /// Whether the central switched notifications on for `characteristic` on the current link.
    /// Lab queue only.
    bool isNotifying(const BLEUUID& characteristic) const;
    /// The radio the device is in (null before Radio::addPeripheral()).
    std::shared_ptr<Radio> radio() const;
    /// The radio's seeded generator (the device's own, seeded with 1, while it has no radio). Lab queue
    /// only.
    std::mt19937_64& random();
    /// The executor's monotonic time (a fixed epoch while the device has no radio).
    MonotonicTime now() const;
    /// The executor's civil date and time (the Unix epoch while the device has no radio).
    Date date() const;

protected:
    // ---- hooks (lab queue)
    /// A central connected.
    virtual void onConnected() {}
    /// The link ended (cancelled by the central, dropped, device removed, power off).
    virtual void onDisconnected() {}
    /// The central wrote `value`. For a write with response, the response has already been sent.
    virtual void onWrite(const BLEUUID& /*characteristic*/, const std::vector<std::uint8_t>& /*value*/,
                         WriteType /*type*/) {}
    /// The central reads; the default answers the value set with setReadValue().
    virtual std::vector<std::uint8_t> onRead(const BLEUUID& characteristic);
    /// The central switched notifications on or off; the descriptor-written event has already been sent.
    virtual void onNotifyChanged(const BLEUUID& /*characteristic*/, bool /*enabled*/) {}

private:
    friend class Radio;
    friend class SimulatedCentral;
    friend class SimulatedPeripheral;

    /// How a link end is reported to the central.
    enum class LinkEndNotice { Event, Silent };
    struct LinkAcceptance {
        std::shared_ptr<LabLink> link;
        OptionalError error;
        bool continued = false;  ///< an existing link held by the system was handed over
    };

    // ---- link side, lab queue only
    void attach(const std::shared_ptr<Radio>& radio);
    std::shared_ptr<LabLink> currentLink() const;
    LinkAcceptance acceptLink(const std::shared_ptr<SimulatedPeripheral>& peripheral);
    void linkEstablished(const std::shared_ptr<LabLink>& link);
    /// Ends `link` if it is the current one, on both sides.
    void closeLink(const std::shared_ptr<LabLink>& link, OptionalError reason, LinkEndNotice notice);
    void updateAdvertising(bool anyoneScanning);
    void advertiseOnce();
    void sendNotification(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value);
    /// Puts one notification on the air over `link`, with the notification faults.
    void transmit(const std::shared_ptr<LabLink>& link, const BLEUUID& characteristic,
                  const std::vector<std::uint8_t>& value, const LabFaults& faults);
    /// Ends `link` as soon as the work at hand is done (a hostile device cutting a transfer short).
    void dropLinkSoon(const std::shared_ptr<LabLink>& link);
    /// (Re)starts or stops the hostile device's unsolicited notifications for the current link.
    void restartUnsolicited();
    void stopUnsolicited();
    void sendUnsolicited(const std::shared_ptr<LabLink>& link);
    /// The notifying characteristics the central switched on over `link`, in declaration order.
    std::vector<BLEUUID> switchedOnCharacteristics(const LabLink& link) const;
    static std::vector<std::vector<std::uint8_t>> notificationParts(const std::vector<std::uint8_t>& value,
                                                                    const LabFaults& faults);
    bool runOnLabIfNeeded(Task work);
    int advertisedRssi();

    VirtualPeripheralConfig config_;
    std::atomic<bool> connected_{false};
    std::atomic<bool> present_{true};
    std::mt19937_64 ownRandom_{1};

    mutable std::mutex mutex_;
    std::weak_ptr<Radio> radio_;
    GattTable gatt_;
    LabFaults faults_;
    std::map<BLEUUID, std::vector<std::uint8_t>> readValues_;
    int rssi_;
    std::shared_ptr<LabLink> link_;  // changed on the lab queue only

    // Lab queue only.
    std::shared_ptr<TimerHandle> advertising_;
    std::unique_ptr<HostileStream> hostile_;  // what the current link's hostile device holds back
    std::shared_ptr<TimerHandle> unsolicited_;
};

}  // namespace halvora::lab
