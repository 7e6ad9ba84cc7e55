#pragma once

#include <cstdint>

#include "halvora/Devices/Measurement/HalvoraSDKThermometerSuccessData.hpp"
#include "halvora/Records/HalvoraSDKThermometerData.hpp"

namespace halvora {

/// The thermometers' application delegate (the manager's `thermometerDelegate`), called by the thermometer
/// drivers themselves. Every callback has an empty default body. Callbacks arrive on "halvora.cb".
class HalvoraThermometerDelegate {
public:
    virtual ~HalvoraThermometerDelegate() = default;

    /// A reading (every generation).
    virtual void thermometerOnResult(const HalvoraSDKThermometerData& /*data*/) {}
    /// A command acknowledged by a second-generation thermometer.
    virtual void thermometerOnSuccessCommand(const HalvoraSDKThermometerSuccessData& /*data*/) {}
    /// A second-generation thermometer's error code (1 to 5).
    virtual void thermometerOnError(std::int32_t /*error*/) {}
};

}  // namespace halvora
