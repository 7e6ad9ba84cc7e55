#pragma once

#include <cstdint>
#include <optional>

#include "halvora/Devices/Vital/HalvoraSDKVitalNotification.hpp"

namespace halvora {

/// The Vital bracelet's device parameters, written with `setDeviceParameters` and read with
/// `getDeviceParameters`. The driver refuses a record without `notifications` (error 0), with a heart-rate
/// base outside 40 to 255 (error 3), a brightness outside 0 to 15 (error 4) or a dial outside 0 to 9 (error 5).
struct HalvoraSDKVitalParams {
    /// Distances in kilometres (false: miles).
    bool distanceUnitKm = false;
    /// 24-hour clock (false: 12-hour).
    bool hourDisplay24h = false;
    /// The screen lights up when the wrist is raised.
    bool wristSenseEnabled = false;
    /// Temperatures in degrees Celsius (false: Fahrenheit).
    bool temperatureUnitCelsius = false;
    /// Night mode.
    bool nightMode = false;
    /// Phone notifications (ANCS) are forwarded.
    bool ANCSEnabled = false;
    /// Which notifications are shown; a record without them is refused.
    std::optional<HalvoraSDKVitalNotification> notifications;
    /// The heart-rate base, 40 to 255.
    std::int32_t basicHeartRateSetting = 0;
    /// Screen brightness, 0 to 15.
    std::int32_t screenBrightness = 0;
    /// The dial (watch face), 0 to 9.
    std::int32_t dialInterface = 0;
    /// The language; 0 is the bracelet's first language, any other value the second.
    std::int32_t language = 0;
    /// The one setting of the second parameter frame (byte 1 of 0x06: 0x81 when true, 0x80 when false), read
    /// back from byte 1 of the 0x07 answer. The bracelet does not document its meaning.
    bool secondFrameSetting = false;

    /// Field-wise equality.
    bool operator==(const HalvoraSDKVitalParams&) const = default;
};

}  // namespace halvora
