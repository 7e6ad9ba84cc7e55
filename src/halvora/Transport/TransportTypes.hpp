#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace halvora {

/// Power state of a central, with CoreBluetooth's numbers.
enum class CentralState : int {
    Unknown = 0,
    Resetting = 1,
    Unsupported = 2,
    Unauthorized = 3,
    PoweredOff = 4,
    PoweredOn = 5,
};

/// Connection state of a peripheral, with CoreBluetooth's numbers.
enum class PeripheralState : int {
    Disconnected = 0,
    Connecting = 1,
    Connected = 2,
    Disconnecting = 3,
};

/// Characteristic property bits.
enum CharacteristicProperty : std::uint8_t {
    CharacteristicPropertyBroadcast = 0x01,
    CharacteristicPropertyRead = 0x02,
    CharacteristicPropertyWriteWithoutResponse = 0x04,
    CharacteristicPropertyWrite = 0x08,
    CharacteristicPropertyNotify = 0x10,
    CharacteristicPropertyIndicate = 0x20,
};

enum class WriteType : int {
    WithResponse = 0,
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
    bool notifyOnConnection = false;
    bool notifyOnDisconnection = false;
    bool notifyOnNotification = false;
};

}  // namespace halvora
