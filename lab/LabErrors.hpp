#pragma once

#include <string>
#include <utility>

#include "halvora/Transport/BLEError.hpp"

namespace halvora::lab {

/// The error values the lab puts into events.
inline BLEError labError(BLEErrorCode code, std::string description) {
    return BLEError{code, std::move(description)};
}

/// A request on a peripheral without a link.
inline BLEError notConnectedError() {
    return labError(BLEErrorNotConnected, "The peripheral is not connected.");
}

/// A request for a service or characteristic the device does not offer.
inline BLEError unknownAttributeError() {
    return labError(BLEErrorUnknownAttribute, "The attribute is not known to this peripheral.");
}

/// The link dropped (a disconnect fault, the device went out of range or powered off).
inline BLEError linkLostError() {
    return labError(BLEErrorPeripheralDisconnected, "The specified device has disconnected from us.");
}

}  // namespace halvora::lab
