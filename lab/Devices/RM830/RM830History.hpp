#pragma once

#include <cstdint>
#include <vector>

#include "lab/Devices/Bracelet/BraceletTime.hpp"
#include "lab/Devices/RM830/RM830Day.hpp"
#include "lab/Devices/RM830/RM830HeartPacket.hpp"
#include "lab/Devices/RM830/RM830Quarter.hpp"

namespace halvora::lab {

/// Makes the RM830's stored history: plausible seeded days and heart-rate measurements, and the 96
/// quarters a stored day goes out as.
class RM830History {
public:
    /// The first quarter of the day's waking hours (07:00); sleep runs from kSleepQuarter to the next
    /// day's kWakeQuarter.
    static constexpr int kWakeQuarter = 28;
    /// The first quarter of the night (23:00).
    static constexpr int kSleepQuarter = 92;
    /// Minutes between two seeded heart-rate measurements.
    static constexpr int kHeartPacketMinutes = 30;

    RM830History() = delete;

    /// A plausible day for the calendar date of `date` (its time of day is not used), the same for the same
    /// seed and date: steps, calories and distance in every waking quarter (07:00 to 22:59, peaks on the way
    /// to work, at lunch and in the evening, some quarters still), sleep in the night's quarters (00:00 to
    /// 06:59 and 23:00 to 23:45) in runs of calm (movement sum at most 24) and restless (at least 32)
    /// quarters. Quarters after `lastQuarter` are left empty (today's quarters still to come).
    static RM830Day seededDay(int daysAgo, const BraceletTime& date, std::uint64_t seed,
                              int lastQuarter = RM830Quarter::kPerDay - 1);
    /// `count` measurements, one every kHeartPacketMinutes, the last starting two minutes before `end`
    /// (to the minute), so its readings are over by then; lower rates at night. The same for the same seed
    /// and `end`. A count below 1 gives none.
    static std::vector<RM830HeartPacket> seededHeartPackets(int count, const BraceletTime& end, std::uint64_t seed);
    /// The 96 quarters of `day` in index order: the listed ones in their place (the later of two with the
    /// same index), the others activity with zeros. Quarters with an index outside 0 to 95 are left out.
    static std::vector<RM830Quarter> quartersOf(const RM830Day& day);
};

}  // namespace halvora::lab
