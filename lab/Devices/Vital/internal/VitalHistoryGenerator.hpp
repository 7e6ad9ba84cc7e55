#pragma once

#include <cstdint>

#include "lab/Devices/Bracelet/BraceletTime.hpp"
#include "lab/Devices/Vital/VitalHistory.hpp"

namespace halvora::lab {

/// Makes plausible stored days for the virtual Vital bracelet from a seed. A day's records depend only on
/// the seed and its date, so a longer history holds the same days as a shorter one. Nothing is dated after
/// `end` (today's records stop at the clock).
///
/// What a day holds: steps in ten-minute blocks between 07:00 and 22:30 (peaks on the way to work, at lunch
/// and in the evening, quiet blocks left out) and the day's totals; the night before it (from about 22:40
/// to about 06:45) in two-hour sleep blocks of light (2) and deep (1) minutes in 90-minute cycles; spot heart
/// rates at three times of day and an automatic series every 15 minutes (55 to 62 asleep, up to 110 when
/// walking; now and then a missed sample of 0); two HRV readings; spot and hourly blood oxygen (94 to 99);
/// spot and hourly temperatures (35.8 to 37.2 degrees, lower at night); on most days one evening sport
/// session. Multi-byte values never hold a zero byte below their highest non-zero byte (the phone stops
/// reading a field at its first zero byte).
class VitalHistoryGenerator {
public:
    /// Minutes in one generated sleep block.
    static constexpr int kSleepBlockMinutes = 120;

    VitalHistoryGenerator() = delete;

    /// `days` days ending with the day of `end` (none for fewer than 1).
    static VitalHistory generate(std::uint64_t seed, int days, const BraceletTime& end);
};

}  // namespace halvora::lab
