#pragma once

#include <optional>

namespace halvora {

/// One baby-thermometer reading, both values in degrees Celsius, converted from the device's raw sensor
/// readings through its calibration tables.
struct HalvoraSDKBabyThermometerData {
    /// Body temperature.
    std::optional<float> temperature;
    /// Ambient temperature (-100.0 when the ambient reading sits exactly on the top of its table).
    std::optional<float> environmentTemperature;
};

}  // namespace halvora
