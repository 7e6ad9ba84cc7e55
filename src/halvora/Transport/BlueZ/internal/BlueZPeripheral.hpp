#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "halvora/Runtime/Task.hpp"
#include "halvora/Transport/BlueZ/internal/CharacteristicChannel.hpp"
#include "halvora/Transport/BlueZ/internal/DBusFailure.hpp"
#include "halvora/Transport/BlueZ/internal/ObjectMirror.hpp"
#include "halvora/Transport/CentralDelegate.hpp"
#include "halvora/Transport/Peripheral.hpp"

namespace halvora::bluez {

class Backend;
class BlueZCentral;

/// A BlueZ device as one central sees it (org.bluez.Device1 and its GATT objects).
///
/// - Connect is Device1.Connect; bluetoothd answers it once the link is up and the link is up for the kit
///   when the device is both Connected and ServicesResolved and every service its UUIDs name is mirrored
///   (or, after kServicesWait, any service: bluetoothd may announce them after ServicesResolved).
///   ServicesResolved without any service after kServicesWait is a failed GATT discovery: a
///   fail-to-connect event, and the link is closed. A failed Connect is a fail-to-connect event carrying
///   the D-Bus error text (a "br-connection-*" failure is logged with its cause and the ControllerMode
///   advice); Connected going false, or the device's removal, is a disconnection event (with an error
///   unless the kit cancelled); cancel is
///   Device1.Disconnect (a pending attempt is abandoned at once, with a disconnection event).
/// - A connect to a device bluetoothd does not hold (its object expired after its last advertisement, or
///   never existed) stays connecting: discovery runs until the object comes back, then Connect is sent;
///   cancel ends the wait.
/// - Services and characteristics come from the mirrored GattService1 and GattCharacteristic1 objects
///   (Flags become the property bits) and are valid for one link. A characteristic discovery waits (at
///   most kCharacteristicsWait) until the characteristics asked for, or any when none are named, are
///   mirrored and no more have come for kGattSettle: bluetoothd may announce them after ServicesResolved.
/// - Notifications are StartNotify/StopNotify (nothing is sent when already in the wanted state) and
///   arrive as changes of Value. bluetoothd keeps notify sessions across links and switches delivery on
///   again by itself at the next link: every session the kit opened is closed with StopNotify when its
///   link ends, and values of a characteristic whose session is already on, arriving before the kit has
///   switched notifications on over the new link, are kept (at most kMaxEarlyValues per characteristic)
///   and delivered in order right after that switch's descriptor event. Reads are ReadValue; writes are
///   WriteValue with their type always named ("request" or "command"). Requests to one characteristic
///   are sent one at a time (CharacteristicChannel).
/// - bluetoothd keeps one link per device and one notify session per characteristic for the whole D-Bus
///   connection, so the peripherals of several centrals of one transport share them: a cancel closes the
///   link, and switching notifications off (or a link's end) stops the session, only when no peripheral of
///   another central still holds it; until then this one alone reports the disconnection or the switch.
/// Requests made while there is no link, or to an attribute that is not from the current link, are
/// answered by their event carrying a BLEError (a write without response is dropped and logged). Every
/// call that waits for the device has the backend's deadline. All members are safe from any thread;
/// those marked "bus" run on the bus thread.
class BlueZPeripheral : public Peripheral {
public:
    /// Values kept per characteristic while they wait for the kit to switch notifications on over a new
    /// link; at the cap the oldest is dropped (logged once per link).
    static constexpr std::size_t kMaxEarlyValues = 64;
    /// How long ServicesResolved may stand without any service before the GATT discovery counts as failed.
    static constexpr Duration kServicesWait = std::chrono::seconds(1);
    /// How long a characteristic discovery waits for the characteristics to be announced.
    static constexpr Duration kCharacteristicsWait = std::chrono::seconds(1);
    /// bluetoothd announces characteristics one signal each: a waiting discovery is answered once none has
    /// come for this long.
    static constexpr Duration kGattSettle = std::chrono::milliseconds(50);

    /// `bus` is the backend itself, for the members that run on its bus thread (where it is alive).
    BlueZPeripheral(std::weak_ptr<BlueZCentral> central, std::weak_ptr<Backend> backend, Backend* bus,
                    std::string identifier, std::string path, std::optional<std::string> name);

    std::string identifier() const override { return identifier_; }
    std::optional<std::string> name() const override;
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

    const std::string& path() const { return path_; }
    /// What this peripheral holds links and notify sessions as, at the backend.
    std::uint64_t holder() const { return holder_; }
    /// Connecting while bluetoothd holds no object for the device (discovery runs for it).
    bool isAwaitingDevice() const { return awaitingDevice_.load(); }

    // ---- bus
    void requestConnect();
    void requestCancel();
    /// The device's Connected or ServicesResolved changed; null when the device is gone.
    void linkChanged(const ObjectMirror::Device* device);
    /// Bluetooth went off: the link and any attempt end without events.
    void powerOff();
    void setName(const std::optional<std::string>& name);
    void valueArrived(const std::string& characteristicPath, std::vector<std::uint8_t> value);
    /// GATT objects of the device changed: requests to characteristics that are gone are answered.
    void gattChanged();
    /// (bus) Every service GATT discovery found (the device's UUIDs) is mirrored, and at least one.
    bool servicesAnnounced() const;

private:
    using DelegateEvent =
        std::function<void(const std::shared_ptr<BlueZPeripheral>& self, PeripheralDelegate& delegate)>;
    using CentralEvent = std::function<void(BlueZCentral& central, CentralDelegate& delegate,
                                            const std::shared_ptr<BlueZPeripheral>& self)>;

    std::shared_ptr<BlueZPeripheral> self();
    /// Runs `work` on the bus thread while this peripheral exists.
    void onBus(std::function<void(BlueZPeripheral& self)> work);
    void postDelegateEvent(DelegateEvent event, bool notification = false);
    void postCentralEvent(CentralEvent event);
    void setState(PeripheralState state);

    // connection (bus)
    void sendConnect(std::uint64_t attempt);
    void connectAnswered(std::uint64_t attempt, const std::optional<DBusFailure>& failure);
    void linkResolved();
    void servicesWaitEnded(std::uint64_t attempt);
    void deviceReturned();
    /// Stays connecting and has the adapter discover until bluetoothd holds the device's object again.
    void awaitDevice();
    void failAttempt(BLEError error);
    void becomeConnected();
    void linkDown(OptionalError error);
    void forgetGatt();
    void closeNotifySessions();
    void disconnectDevice(std::function<void(BlueZPeripheral&)> answered);

    // GATT (bus)
    void serveServiceDiscovery(const std::optional<std::vector<BLEUUID>>& filter);
    void serveCharacteristicDiscovery(const std::vector<BLEUUID>& filter, const std::shared_ptr<Service>& service,
                                      bool waited = false);
    bool characteristicsMirrored(const std::vector<BLEUUID>& filter, const std::string& servicePath) const;
    void retryCharacteristicDiscoveries();
    void settleThenRetry();
    void characteristicWaitEnded(std::uint64_t wait);
    void submit(const std::shared_ptr<Characteristic>& characteristic, CharacteristicChannel::Request request);
    CharacteristicChannel* channelOf(const std::shared_ptr<Characteristic>& characteristic);
    void pump(CharacteristicChannel& channel);
    void send(CharacteristicChannel& channel, const CharacteristicChannel::Request& request);
    void answered(const std::string& path, std::uint64_t generation, CharacteristicChannel::Request::Kind kind,
                  std::vector<std::uint8_t> value, const std::optional<DBusFailure>& failure);
    void answerRequest(const std::shared_ptr<Characteristic>& characteristic, CharacteristicChannel::Request::Kind kind,
                       OptionalError error, std::vector<std::uint8_t> value = {});
    void deliverNotification(const std::shared_ptr<Characteristic>& characteristic, std::vector<std::uint8_t> value);
    void keepEarlyValue(const std::string& path, std::vector<std::uint8_t> value);
    void deliverEarlyValues(const std::string& path);
    void forgetEarlyValues();

    const std::weak_ptr<BlueZCentral> central_;
    const std::weak_ptr<Backend> backend_;
    Backend* const bus_;
    const std::string identifier_;
    const std::string path_;

    mutable std::mutex mutex_;
    std::optional<std::string> name_;
    PeripheralState state_ = PeripheralState::Disconnected;
    std::weak_ptr<PeripheralDelegate> delegate_;
    std::vector<std::shared_ptr<Service>> services_;

    // Bus thread only.
    const std::uint64_t holder_;
    std::uint64_t attempt_ = 0;
    std::uint64_t generation_ = 0;
    bool connectAnswered_ = false;
    std::map<std::string, std::shared_ptr<Service>> servicesByPath_;
    std::map<const Service*, std::string> servicePaths_;
    std::map<std::string, std::unique_ptr<CharacteristicChannel>> channels_;
    std::map<const Characteristic*, std::string> channelPaths_;
    std::uint64_t servicesWaitAttempt_ = 0;  // the attempt whose services wait is armed
    std::map<std::string, std::deque<std::vector<std::uint8_t>>> earlyValues_;  // by characteristic path
    std::set<std::string> notifyAsked_;  // characteristics the kit switched notifications on or off for

    bool earlyValuesDropped_ = false;
    struct CharacteristicDiscovery {
        std::vector<BLEUUID> filter;
        std::shared_ptr<Service> service;
    };
    std::map<std::uint64_t, CharacteristicDiscovery> waitingDiscoveries_;
    std::uint64_t nextWait_ = 0;
    std::uint64_t settleToken_ = 0;  // the last GATT change; an older settle timer does nothing

    std::atomic<bool> awaitingDevice_{false};
};

}  // namespace halvora::bluez
