#pragma once

#include <memory>
#include <optional>
#include <string>

#include "halvora/Transport/Peripheral.hpp"

namespace halvora::internal {

/// The text of an optional value as the log lines print it: "(null)" when absent.
inline std::string textOrNull(const std::optional<std::string>& text) { return text ? *text : "(null)"; }

/// A peripheral as the log lines describe it.
std::string describePeripheral(const std::shared_ptr<Peripheral>& peripheral);

}  // namespace halvora::internal
