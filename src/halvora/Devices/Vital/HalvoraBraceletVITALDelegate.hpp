#pragma once

#include <cstdint>
#include <string>

#include "halvora/Devices/Vital/HalvoraSDKResponse.hpp"

namespace halvora {

/// The Vital bracelet's application delegate (the manager's `braceletVITALDelegate`), called by the Vital
/// driver itself, which looks the delegate up at the moment of each delivery (nothing is delivered while
/// there is none). Every callback has an empty default body. The first argument is always the bracelet's
/// identifier (its peripheral's UUID text, "-" without one).
///
/// Callbacks arrive on "halvora.cb", the driver's callback queue, without any lock of the kit held: a
/// callback may call the kit again.
class HalvoraBraceletVITALDelegate {
public:
    virtual ~HalvoraBraceletVITALDelegate() = default;

    /// A successful result: its command number, type and value.
    virtual void braceletVitalDeviceInformation(const std::string& /*identifier*/,
                                                const HalvoraSDKResponse& /*response*/) {}
    /// A failed command: error 0 when the bracelet refused it, another number when the kit refused its
    /// arguments before sending (see `HalvoraSDKBraceletVital`).
    virtual void braceletVitalDeviceError(const std::string& /*identifier*/, std::int32_t /*error*/,
                                          std::int32_t /*command*/) {}
    /// The wearer raised the SOS alarm.
    virtual void braceletVitalSOS(const std::string& /*identifier*/) {}
    /// The bracelet asked the phone for an operation (its firmware-command event) with this number.
    virtual void braceletVitalDeviceOperation(const std::string& /*identifier*/, std::int32_t /*operation*/) {}
};

}  // namespace halvora
