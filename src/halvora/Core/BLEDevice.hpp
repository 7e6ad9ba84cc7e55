#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "halvora/Core/BLEDeviceDelegate.hpp"
#include "halvora/Core/DeviceType.hpp"
#include "halvora/Core/DriverContext.hpp"
#include "halvora/Transport/BLEUUID.hpp"
#include "halvora/Transport/Peripheral.hpp"
#include "halvora/Transport/PeripheralDelegate.hpp"

namespace halvora {

/// The base of every device driver. A driver owns one peripheral, speaks its device's protocol over it and
/// reports its life and results to its BLEDeviceDelegate (the manager).
///
/// The life of a driver: the manager creates it and calls setPeripheral(); when the central reports the link
/// up the manager sets state() to 2 and calls didConnect(); the driver reports deviceConnected and discovers
/// all services, then its service's characteristics, switches notifications on and reports deviceReady
/// (after characteristic discovery, and again when the notification descriptor write completes).
///
/// Drivers must be owned by a std::shared_ptr (they hand themselves to their peripheral as its event
/// receiver). Peripheral events arrive on the callback queue; state(), device() and delegate() may be read
/// from any thread.
class BLEDevice : public PeripheralDelegate, public std::enable_shared_from_this<BLEDevice> {
public:
    /// Largest piece of a write: longer commands are cut into 20-byte pieces.
    static constexpr std::size_t kMaxWritePiece = 20;

    /// A driver without context: the shared log and no application delegates (for tests and the bare base).
    BLEDevice() = default;
    /// A driver that reaches the log and the application's delegates through `context`.
    explicit BLEDevice(DriverContext context) : context_(std::move(context)) {}
    ~BLEDevice() override = default;
    BLEDevice(const BLEDevice&) = delete;
    BLEDevice& operator=(const BLEDevice&) = delete;

    // Class-level identity; every driver class hides these with its own.

    /// The advertised name (or name prefix) the driver class serves; empty for the base.
    static std::string getName() { return ""; }
    /// The primary service that carries the device's protocol; the nil UUID for the base.
    static BLEUUID rsServiceUUID() { return BLEUUID(""); }
    /// The characteristic on which the device notifies; the nil UUID for the base.
    static BLEUUID readCharacteristicUUID() { return BLEUUID(""); }
    /// The characteristic commands are written to; the nil UUID for the base.
    static BLEUUID sendCharacteristicUUID() { return BLEUUID(""); }

    /// Packed BCD byte to decimal: v = value % 100 first (so 0x99 gives 53, read as 35), then
    /// (v / 16) * 10 + v % 16, in signed 8-bit arithmetic.
    static std::int8_t hexaToInt(std::int32_t value);
    /// Decimal to packed BCD: v = value % 100, v + (v / 10) * 6 (25 gives 0x25).
    static std::int8_t intToHexa(std::int32_t value);

    /// The device kind this driver serves; -1 for the bare base.
    virtual DeviceKind getType() const { return DeviceTypeNone; }
    /// The driver's class name, for logs and tools.
    virtual std::string className() const { return "BLEDevice"; }
    /// Releases protocol state before the manager drops the driver.
    virtual void deinit() {}
    /// The link to the device ended (the central reported the disconnection); called on the callback queue
    /// before the manager lets the driver go. Work that waits for the device gives up here.
    virtual void linkEnded() {}
    /// The manager has let the driver go (the application was told the device is disconnected): from now on
    /// the device's notifications are dropped, even those still on their way while the link comes down. May
    /// be called from any thread.
    void release() { released_.store(true); }
    /// Whether the manager has let the driver go.
    bool isReleased() const { return released_.load(); }

    /// Link state: 0 not connected, 2 connected. Written by the manager only.
    std::int32_t state() const { return state_.load(); }
    /// Sets the link state (0 or 2); the manager's call when the central reports the link up or Bluetooth off.
    void setState(std::int32_t state) { state_.store(state); }

    /// The peripheral, or nothing once the driver has let it go.
    std::shared_ptr<Peripheral> device() const;
    /// Replaces the peripheral without touching its event receiver; nullptr lets it go.
    void setDevice(std::shared_ptr<Peripheral> peripheral);
    /// The driver's report receiver (the manager), held weakly.
    std::shared_ptr<BLEDeviceDelegate> delegate() const;
    /// Replaces the report receiver; an expired pointer silences every report.
    void setDelegate(std::weak_ptr<BLEDeviceDelegate> delegate);

    /// The log and the application delegates this driver was created with.
    const DriverContext& context() const { return context_; }

    /// Stores the peripheral, becomes its event receiver and stores the report receiver.
    virtual void setPeripheral(const std::shared_ptr<Peripheral>& peripheral,
                               std::weak_ptr<BLEDeviceDelegate> delegate);
    /// The central reported the link up: report deviceConnected and discover all services.
    virtual void didConnect();
    /// Bluetooth was switched off: a driver that still holds its peripheral reports deviceDisconnected, stops
    /// receiving its events and lets it go.
    virtual void didDisconnect();

protected:
    // Reports to the delegate, when there is one; made on the thread that calls them ("halvora.cb").

    /// Reports deviceConnected (the link is up; discovery follows).
    void reportConnected();
    /// Reports deviceReady (notifications asked for; the application may send commands). Repeatable.
    void reportReady();
    /// Reports deviceDisconnected; the manager then cancels the link and drops the driver.
    void reportDisconnected();
    /// Reports deviceOnDataReceived with a progress value or a result record.
    void reportData(const DeviceData& data);
    /// Reports deviceOnErrorReceived; by convention the error is the device's error code.
    void reportError(const DeviceError& error);
    /// Reports deviceOnBatteryLevelReceived with the level the device gave, in percent.
    void reportBatteryLevel(std::int32_t level);

    /// Writes `data` to `characteristic`, cut into 20-byte pieces. Each piece goes without response when the
    /// characteristic allows it, else with response when it allows that, else it is dropped. The thread
    /// yields after each piece.
    void writeInPieces(const std::vector<std::uint8_t>& data, const std::shared_ptr<Characteristic>& characteristic);
    /// Asks for the characteristics of every discovered service with the given UUID; returns the last such
    /// service (or nothing).
    std::shared_ptr<Service> discoverCharacteristicsOfService(const std::shared_ptr<Peripheral>& peripheral,
                                                              const BLEUUID& serviceUUID,
                                                              const std::vector<BLEUUID>& characteristicUUIDs);
    /// The log this driver writes to (the context's, or the shared log).
    Log& log() const { return context_.logger(); }

private:
    DriverContext context_;
    std::atomic<std::int32_t> state_{0};
    std::atomic<bool> released_{false};
    mutable std::mutex mutex_;
    std::shared_ptr<Peripheral> device_;
    std::weak_ptr<BLEDeviceDelegate> delegate_;
};

}  // namespace halvora
