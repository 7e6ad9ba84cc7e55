#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "support/DriverTarget.hpp"

namespace halvora::fuzz {

/// Runs one fuzz input as an event script (see FuzzEvents.hpp) against a fresh driver of `target`, bound
/// to a scripted peripheral, with a manager (on the virtual executor) as its report receiver and every
/// application delegate set. At the end the driver is torn down as the manager would and every timer left
/// is run out, so that anything a malformed frame left behind (a wedged command queue, a runaway timer
/// chain) shows up as a hang or a leak. Always returns 0, as libFuzzer asks.
int runDriverScript(const DriverTarget& target, std::span<const std::uint8_t> script);

/// The folder the harness keeps its preferences file in (tmpfs when there is one).
std::string scratchFolder();

}  // namespace halvora::fuzz
