#pragma once

#include "halvora/Records/HalvoraSDKOximeterData.hpp"

namespace halvora {

/// The pulse oximeter's application delegate (the manager's `oximeterDelegate`), called by the oximeter
/// driver itself. Every callback has an empty default body. Callbacks arrive on "halvora.cb".
class HalvoraOximeterDelegate {
public:
    virtual ~HalvoraOximeterDelegate() = default;

    /// The measured values (`sp2`, `pi`, `lpm`, `rpm`), once per cycle of the device.
    virtual void oximeterDeviceOnResult(const HalvoraSDKOximeterData& /*data*/) {}
    /// One sample of the plethysmographic wave, in `pleth` (1 to 99).
    virtual void oximeterDeviceOnProgressMeasurement(const HalvoraSDKOximeterData& /*data*/) {}
};

}  // namespace halvora
