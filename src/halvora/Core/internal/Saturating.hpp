#pragma once

#include <cstdint>
#include <limits>

namespace halvora::internal {

/// Adds one to a count of frames a device sent. A device can send any number of them, so the count stops
/// at its largest value instead of overflowing.
inline void incrementSaturating(std::int32_t& count) {
    if (count < std::numeric_limits<std::int32_t>::max()) ++count;
}

}  // namespace halvora::internal
