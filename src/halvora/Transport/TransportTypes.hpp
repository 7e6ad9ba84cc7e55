#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace halvora {

/// Power state of a central, with CoreBluetooth's numbers.
enum class CentralState : int {
    /// Not yet reported.
    Unknown = 0,
    /// The host stack is restarting.
    Resetting = 1,
    /// No Bluetooth Low Energy here (no adapter, no backend).
    Unsupported = 2,
    /// The application may not use Bluetooth.
    Unauthorized = 3,
    /// Bluetooth is off: no scans, no links.
    PoweredOff = 4,
    /// Bluetooth is on and usable.
    PoweredOn = 5,
};

/// Connection state of a peripheral, with CoreBluetooth's numbers.
enum class PeripheralState : int {
    /// No link.
    Disconnected = 0,
    /// A connection attempt is under way.
    Connecting = 1,
    /// The link is up.
    Connected = 2,
    /// The link is being closed.
    Disconnecting = 3,
};

/// Characteristic property bits.
enum CharacteristicProperty : std::uint8_t {
    /// The value may be broadcast.
    CharacteristicPropertyBroadcast = 0x01,
    /// The value can be read.
    CharacteristicPropertyRead = 0x02,
    /// The value can be written without a response.
    CharacteristicPropertyWriteWithoutResponse = 0x04,
    /// The value can be written with a response.
    CharacteristicPropertyWrite = 0x08,
    /// The value can be notified (unacknowledged).
    CharacteristicPropertyNotify = 0x10,
    /// The value can be indicated (acknowledged).
    CharacteristicPropertyIndicate = 0x20,
};

/// How a value is written.
enum class WriteType : int {
    /// The device acknowledges the write; a did write value event follows.
    WithResponse = 0,
    /// No acknowledgement and no event.
    WithoutResponse = 1,
};

/// Options of a new central.
struct CentralOptions {
    /// CBCentralManagerOptionRestoreIdentifierKey: peripherals connected under this identifier are handed
    /// back to the next central created with it.
    std::optional<std::string> restoreIdentifier;
};

/// Options of a scan.
struct ScanOptions {
    bool allowDuplicates = false;  ///< CBCentralManagerScanOptionAllowDuplicatesKey
};

/// Options of a connection: whether the system shows alerts on connection, disconnection and notification.
struct ConnectOptions {
    /// CBConnectPeripheralOptionNotifyOnConnectionKey; the kit always leaves it false.
    bool notifyOnConnection = false;
    /// CBConnectPeripheralOptionNotifyOnDisconnectionKey; the kit always leaves it false.
    bool notifyOnDisconnection = false;
    /// CBConnectPeripheralOptionNotifyOnNotificationKey; the kit always leaves it false.
    bool notifyOnNotification = false;
};

}  // namespace halvora
