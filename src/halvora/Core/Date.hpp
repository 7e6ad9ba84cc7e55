#pragma once

#include <chrono>

namespace halvora {

/// A point in civil time, as the records carry it.
using Date = std::chrono::system_clock::time_point;

}  // namespace halvora
