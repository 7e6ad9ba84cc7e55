#pragma once

#include <cstdint>

#include "halvora/Devices/Measurement/HalvoraSDKWeightScaleData.hpp"

namespace halvora {

/// The weight scale's application delegate (the manager's `weightscaleDelegate`), called by the weight-scale
/// driver itself, which reads the delegate from the manager at the moment of delivery. Every callback has an
/// empty default body. Callbacks arrive on "halvora.cb", the queue of the scale's peripheral events (the
/// two-second repeat of the user-parameter frame runs on the main queue but only writes).
class HalvoraWeightScaleDelegate {
public:
    virtual ~HalvoraWeightScaleDelegate() = default;

    /// 2 once the scale's body (impedance) characteristic has been found, 1 otherwise; sent after every
    /// characteristic of a discovery, so one connection may report 1 several times before 2.
    virtual void weightscaleOnTypeDetected(std::int32_t /*type*/) {}
    /// A weight while the user stands on the scale: `weight`, `unit` and, from some scales, `imc`.
    virtual void weightscaleOnMeasurementResult(const HalvoraSDKWeightScaleData& /*data*/) {}
    /// A final result.
    virtual void weightscaleOnResult(const HalvoraSDKWeightScaleData& /*data*/) {}
};

}  // namespace halvora
