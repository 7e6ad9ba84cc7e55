#pragma once

#include <string>

#include "halvora/Transport/BLEError.hpp"

namespace halvora::bluez {

/// A D-Bus error answer (or a failure to get one): its error name and message.
struct DBusFailure {
    std::string name;
    std::string message;

    /// "org.bluez.Error.Failed: le-connection-abort-by-local".
    std::string text() const { return message.empty() ? name : name + ": " + message; }
    /// The transport error for this answer; names without a closer match give `fallback`.
    BLEError toError(BLEErrorCode fallback) const;
};

}  // namespace halvora::bluez
