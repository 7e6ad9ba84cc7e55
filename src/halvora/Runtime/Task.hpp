#pragma once

#include <chrono>
#include <functional>

namespace halvora {

/// A unit of work posted to a queue.
using Task = std::function<void()>;
/// A length of time on the executor's clock (nanosecond ticks).
using Duration = std::chrono::steady_clock::duration;
/// An instant of the executor's monotonic clock; only differences between instants mean anything.
using MonotonicTime = std::chrono::steady_clock::time_point;

/// Shorthand for a duration given in (possibly fractional) seconds.
constexpr Duration seconds(double s) {
    return std::chrono::duration_cast<Duration>(std::chrono::duration<double>(s));
}

}  // namespace halvora
