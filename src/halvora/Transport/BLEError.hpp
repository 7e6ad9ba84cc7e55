#pragma once

#include <optional>
#include <string>

namespace halvora {

/// An error carried by a transport event.
struct BLEError {
    int code = 0;
    std::string description;
};

using OptionalError = std::optional<BLEError>;

/// Error codes the transports use.
enum BLEErrorCode : int {
    BLEErrorUnknown = 0,
    BLEErrorInvalidParameters = 1,
    BLEErrorNotConnected = 2,
    BLEErrorConnectionFailed = 3,
    BLEErrorConnectionTimeout = 4,
    BLEErrorPeripheralDisconnected = 5,
    BLEErrorUnknownAttribute = 6,
    BLEErrorOperationNotSupported = 7,
    BLEErrorInProgress = 8,
    BLEErrorPoweredOff = 9,
    BLEErrorTransport = 10,
};

}  // namespace halvora
