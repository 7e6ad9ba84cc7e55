#pragma once

#include <cstdint>
#include <vector>

#include "lab/Devices/Bracelet/BraceletTime.hpp"
#include "lab/Devices/Tensio/TensioReading.hpp"

namespace halvora::lab {

/// Makes plausible stored blood-pressure measurements for the bracelet's memory.
class TensioHistory {
public:
    /// Hours between two seeded measurements (one in the morning, one in the evening).
    static constexpr int kHoursApart = 12;

    TensioHistory() = delete;

    /// `count` measurements, oldest first, about kHoursApart hours apart (each moved by up to 45 minutes
    /// either way), the newest 30 minutes to 2.5 hours before `end`; dates to the minute. Systolic 108 to 146,
    /// diastolic 66 to 94 and at least 25 below it, pulse 56 to 92, about one in fifteen with an irregular
    /// heartbeat. The same for the same seed and `end`; a count below 1 gives none.
    static std::vector<TensioReading> seededReadings(int count, const BraceletTime& end, std::uint64_t seed);
};

}  // namespace halvora::lab
