#pragma once

#include <memory>

#include "halvora/Manager/ManagerEnvironment.hpp"

namespace halvora::internal {

/// The Bluetooth backend of the process-wide manager: BlueZ where the kit was built with it, else a
/// transport that reports Bluetooth as unsupported.
std::shared_ptr<Transport> makeDefaultTransport();
/// The environment of the process-wide manager when the application set none: real threads and clocks and
/// the default transport.
ManagerEnvironment makeDefaultEnvironment();

}  // namespace halvora::internal
