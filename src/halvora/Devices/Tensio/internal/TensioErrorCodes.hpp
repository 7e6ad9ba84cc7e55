#pragma once

#include <cstdint>

#include "halvora/Core/DeviceReport.hpp"

namespace halvora {

/// The error codes the wrist blood-pressure bracelet driver reports, from the sub-code byte of the
/// bracelet's error events. A sub-code the tables do not know is an error without a code.
class TensioErrorCodes {
public:
    TensioErrorCodes() = delete;

    /// The measurement was stopped (the acknowledgement of a stop).
    static constexpr std::int32_t kMeasurementStopped = -19;

    /// Event 50: sub-codes 1 to 6 are -8 to -13.
    static DeviceError measurementError(std::uint8_t subCode);
    /// Event 51: no code.
    static DeviceError plainError();
    /// Event 52: sub-codes 1 to 5 are -14 to -18.
    static DeviceError deviceError(std::uint8_t subCode);
};

}  // namespace halvora
