#include "lab/Devices/Tensio/TensioHistory.hpp"

#include <algorithm>
#include <random>

namespace halvora::lab {

namespace {

constexpr std::int64_t kMinuteSeconds = 60;
constexpr std::int64_t kHourSeconds = 3600;
constexpr int kMaxShiftMinutes = 45;
constexpr int kNewestLeastMinutes = 30;
constexpr int kNewestMostMinutes = 150;
constexpr int kIrregularOneIn = 15;
constexpr int kLowestSystolic = 108;
constexpr int kHighestSystolic = 146;
constexpr int kLowestDiastolic = 66;
constexpr int kHighestDiastolic = 94;
constexpr int kPulsePressure = 25;  // the least gap between systolic and diastolic
constexpr int kLowestPulse = 56;
constexpr int kHighestPulse = 92;

/// A draw from `low` to `high` inclusive. The modulo keeps the sequence the same on every platform, which
/// the standard distributions do not promise.
int between(std::mt19937_64& random, int low, int high) {
    const auto span = static_cast<std::uint64_t>(std::int64_t{high} - low + 1);
    return low + static_cast<int>(random() % span);
}

TensioReading seededReading(std::mt19937_64& random, std::int64_t seconds) {
    TensioReading reading;
    reading.date = BraceletTime::fromSecondsSince2010(seconds / kMinuteSeconds * kMinuteSeconds);
    reading.systolic = between(random, kLowestSystolic, kHighestSystolic);
    reading.diastolic =
        between(random, kLowestDiastolic, std::min(kHighestDiastolic, reading.systolic - kPulsePressure));
    reading.pulse = between(random, kLowestPulse, kHighestPulse);
    reading.irregular = between(random, 1, kIrregularOneIn) == 1 ? 1 : 0;
    return reading;
}

}  // namespace

std::vector<TensioReading> TensioHistory::seededReadings(int count, const BraceletTime& end, std::uint64_t seed) {
    std::vector<TensioReading> readings;
    if (count < 1) return readings;
    std::mt19937_64 random(seed ^ static_cast<std::uint64_t>(end.secondsSince2010()));
    const std::int64_t newest =
        end.secondsSince2010() - between(random, kNewestLeastMinutes, kNewestMostMinutes) * kMinuteSeconds;
    readings.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        const std::int64_t slot = newest - std::int64_t{count - 1 - i} * kHoursApart * kHourSeconds;
        const std::int64_t shift = i + 1 == count ? 0 : between(random, -kMaxShiftMinutes, kMaxShiftMinutes);
        readings.push_back(seededReading(random, slot + shift * kMinuteSeconds));
    }
    return readings;
}

}  // namespace halvora::lab
