#pragma once

#include <optional>
#include <string>

namespace halvora {

/// An error carried by a transport event.
struct BLEError {
    /// A BLEErrorCode value.
    int code = 0;
    /// A one-line human-readable reason, for logs.
    std::string description;
};

/// The error of an event; absent when the operation succeeded.
using OptionalError = std::optional<BLEError>;

/// Error codes the transports use.
enum BLEErrorCode : int {
    /// A failure with no better code.
    BLEErrorUnknown = 0,
    /// The request was malformed: a foreign peripheral, a value too long for a characteristic.
    BLEErrorInvalidParameters = 1,
    /// The peripheral is not connected.
    BLEErrorNotConnected = 2,
    /// The connection could not be made.
    BLEErrorConnectionFailed = 3,
    /// A request to the device or to the host stack got no answer in time.
    BLEErrorConnectionTimeout = 4,
    /// The link was lost: the device went away or ended it.
    BLEErrorPeripheralDisconnected = 5,
    /// The service, characteristic or descriptor is not (or no longer) there.
    BLEErrorUnknownAttribute = 6,
    /// The device or the host stack refused the operation (not supported or not permitted).
    BLEErrorOperationNotSupported = 7,
    /// Another request of the same kind is still under way, or too many are waiting.
    BLEErrorInProgress = 8,
    /// Bluetooth is off.
    BLEErrorPoweredOff = 9,
    /// The backend itself failed (the host stack went away or answered nonsense).
    BLEErrorTransport = 10,
};

}  // namespace halvora
