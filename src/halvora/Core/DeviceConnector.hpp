#pragma once

#include <cstdint>

#include "halvora/Core/DeviceType.hpp"

namespace halvora {

/// What a driver may ask of the manager that made it besides delivering results: to connect a device of
/// another kind. The RM830 bracelet uses it to hand itself over to its firmware-update twin once it has been
/// switched into update mode. The manager implements it; a test can hand a driver a recording stand-in.
class DeviceConnector {
public:
    virtual ~DeviceConnector() = default;

    /// Asks for a device of `kind` to be connected, giving up after `timeoutSeconds`; returns at once. May be
    /// called from any thread.
    virtual void requestConnection(DeviceKind kind, std::int32_t timeoutSeconds) = 0;
};

}  // namespace halvora
