#pragma once

#include <optional>
#include <string>

#include "halvora/Core/DeviceType.hpp"

namespace halvora {

/// A scanned device as the scan delegate receives it.
struct HalvoraSDKDevice {
    std::string deviceIdentifier;     ///< the peripheral's identifier, upper-case UUID text
    int RSSI = 0;                     ///< dBm of the latest advertisement seen
    std::optional<DeviceKind> type;   ///< the device kind, set by the scanner after init

    /// A record with identifier and RSSI; `type` is set afterwards by the caller.
    static HalvoraSDKDevice init(std::string identifier, int rssi);

    /// The assumed received power at one metre, in dBm: -69.
    static int getPowerValue();
    /// Estimated distance in metres: 10 ^ ((getPowerValue - RSSI) / 20), no clamping.
    double getDistanceToDevice() const;
};

}  // namespace halvora
