#include "halvora/Transport/BlueZ/internal/DBusFailure.hpp"

#include <map>

#include "halvora/Transport/BlueZ/internal/BlueZNames.hpp"

namespace halvora::bluez {

BLEError DBusFailure::toError(BLEErrorCode fallback) const {
    static const std::map<std::string, BLEErrorCode> codes = {
        {kErrorInProgress, BLEErrorInProgress},
        {kErrorNotReady, BLEErrorPoweredOff},
        {kErrorNotConnected, BLEErrorNotConnected},
        {kErrorNotSupported, BLEErrorOperationNotSupported},
        {kErrorNotPermitted, BLEErrorOperationNotSupported},
        {kErrorNotAuthorized, BLEErrorOperationNotSupported},
        {kErrorInvalidArguments, BLEErrorInvalidParameters},
        {kErrorInvalidValueLength, BLEErrorInvalidParameters},
        {kErrorDoesNotExist, BLEErrorUnknownAttribute},
        {kErrorUnknownObject, BLEErrorUnknownAttribute},
        {kErrorUnknownMethod, BLEErrorUnknownAttribute},
        {kErrorServiceUnknown, BLEErrorTransport},
        {kErrorDisconnected, BLEErrorTransport},
        {kErrorMalformedAnswer, BLEErrorTransport},
        {kErrorNoReply, BLEErrorConnectionTimeout},
        {kErrorTimeout, BLEErrorConnectionTimeout},
    };
    const auto it = codes.find(name);
    return BLEError{it == codes.end() ? fallback : it->second, text()};
}

}  // namespace halvora::bluez
