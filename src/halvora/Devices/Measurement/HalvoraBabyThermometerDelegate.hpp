#pragma once

#include "halvora/Devices/Measurement/HalvoraSDKBabyThermometerData.hpp"

namespace halvora {

/// The baby thermometer's application delegate (the manager's `babyThermometerDelegate`), called by the
/// driver itself. Every callback has an empty default body. Callbacks arrive on "halvora.cb".
class HalvoraBabyThermometerDelegate {
public:
    virtual ~HalvoraBabyThermometerDelegate() = default;

    /// A reading: body and ambient temperature.
    virtual void babyThermometerOnResult(const HalvoraSDKBabyThermometerData& /*data*/) {}
};

}  // namespace halvora
