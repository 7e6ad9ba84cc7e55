#pragma once

#include <vector>

#include "lab/Devices/RM830/RM830Quarter.hpp"

namespace halvora::lab {

/// A day the bracelet has stored, counted back from the date its clock shows: 0 is today, 1 yesterday.
/// A stored day always goes out as 96 frames; a quarter not listed is activity with zeros, and of two
/// quarters with the same index the later one counts.
struct RM830Day {
    int daysAgo = 0;                     ///< 0 (today) or more
    std::vector<RM830Quarter> quarters;  ///< the quarters that hold something, in any order

    /// Days compare by every field.
    friend bool operator==(const RM830Day&, const RM830Day&) = default;
};

}  // namespace halvora::lab
