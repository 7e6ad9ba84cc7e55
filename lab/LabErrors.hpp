#pragma once

#include <string>
#include <utility>

#include "halvora/Transport/BLEError.hpp"

namespace halvora::lab {

/// The error values the lab puts into events.
inline BLEError labError(BLEErrorCode code, std::string description) {
    return BLEError{code, std::move(description)};
}

inline BLEError notConnectedError() {
    return labError(BLEErrorNotConnected, "The peripheral is not connected.");
}

inline BLEError unknownAttributeError() {
    return labError(BLEErrorUnknownAttribute, "The attribute is not known to this peripheral.");
}

inline BLEError linkLostError() {
    return labError(BLEErrorPeripheralDisconnected, "The specified device has disconnected from us.");
}

}  // namespace halvora::lab
