#include "lab/Devices/RM830/RM830History.hpp"

#include <algorithm>
#include <random>

namespace halvora::lab {

namespace {

constexpr std::int64_t kDaySeconds = 86400;
constexpr std::int64_t kMinuteSeconds = 60;
constexpr int kQuarterMinutes = 15;
constexpr std::uint64_t kDayMix = 0x9E3779B97F4A7C15ULL;
constexpr int kCaloriesPerStep = 4;          // hundredths of a kilocalorie
constexpr int kDistancePerHundredSteps = 7;  // hundredths of a kilometre (70 cm a step)
constexpr int kMeasurementMinutes = 2;       // twelve readings, 10 s apart

/// A draw from `low` to `high` inclusive. The modulo keeps the sequence the same on every platform, which
/// the standard distributions do not promise.
int between(std::mt19937_64& random, int low, int high) {
    const auto span = static_cast<std::uint64_t>(std::int64_t{high} - low + 1);
    return low + static_cast<int>(random() % span);
}

bool nightQuarter(int quarter) {
    return quarter < RM830History::kWakeQuarter || quarter >= RM830History::kSleepQuarter;
}

bool nightHour(int hour) {
    return nightQuarter(hour * 4);
}

/// Steps walked in a waking quarter starting at `hour`.
int quarterSteps(std::mt19937_64& random, int hour) {
    if (between(random, 0, 5) == 0) return 0;  // sitting still
    if (hour == 8 || hour == 17 || hour == 18) return between(random, 300, 950);
    if (hour == 12) return between(random, 150, 500);
    if (hour == 22) return between(random, 5, 80);
    return between(random, 20, 250);
}

std::array<std::uint8_t, RM830Quarter::kMovementBytes> movement(std::mt19937_64& random, bool restless) {
    std::array<std::uint8_t, RM830Quarter::kMovementBytes> counts{};
    for (auto& count : counts)
        count = static_cast<std::uint8_t>(restless ? between(random, 4, 12) : between(random, 0, 3));
    return counts;
}

}  // namespace

RM830Day RM830History::seededDay(int daysAgo, const BraceletTime& date, std::uint64_t seed, int lastQuarter) {
    const BraceletTime midnight{date.year, date.month, date.day, 0, 0, 0};
    const auto dayNumber = static_cast<std::uint64_t>(midnight.secondsSince2010() / kDaySeconds);
    std::mt19937_64 random(seed ^ (dayNumber * kDayMix));
    RM830Day day{daysAgo, {}};
    bool restless = false;
    const int last = std::min(lastQuarter, RM830Quarter::kPerDay - 1);
    for (int q = 0; q <= last; ++q) {
        if (nightQuarter(q)) {
            // Restless sleep comes in runs: each quarter may switch between calm and restless.
            if (between(random, 0, 4) == 0) restless = !restless;
            day.quarters.push_back(RM830Quarter::sleep(q, movement(random, restless)));
            continue;
        }
        restless = false;
        const int steps = quarterSteps(random, q * kQuarterMinutes / 60);
        if (steps == 0) continue;
        day.quarters.push_back(
            RM830Quarter::activity(q, steps, steps * kCaloriesPerStep, steps * kDistancePerHundredSteps / 100));
    }
    return day;
}

std::vector<RM830HeartPacket> RM830History::seededHeartPackets(int count, const BraceletTime& end, std::uint64_t seed) {
    std::vector<RM830HeartPacket> packets;
    if (count < 1) return packets;
    std::mt19937_64 random(seed ^ static_cast<std::uint64_t>(end.secondsSince2010()));
    const std::int64_t endMinute = end.secondsSince2010() / kMinuteSeconds * kMinuteSeconds;
    const std::int64_t lastStart = endMinute - kMeasurementMinutes * kMinuteSeconds;
    for (int i = 0; i < count; ++i) {
        RM830HeartPacket packet;
        packet.start = BraceletTime::fromSecondsSince2010(lastStart - std::int64_t{count - 1 - i} *
                                                                          kHeartPacketMinutes * kMinuteSeconds);
        const int resting = nightHour(packet.start.hour) ? between(random, 50, 60) : between(random, 62, 85);
        for (auto& reading : packet.readings) reading = static_cast<std::uint8_t>(resting + between(random, -3, 3));
        packets.push_back(packet);
    }
    return packets;
}

std::vector<RM830Quarter> RM830History::quartersOf(const RM830Day& day) {
    std::vector<RM830Quarter> quarters;
    quarters.reserve(RM830Quarter::kPerDay);
    for (int q = 0; q < RM830Quarter::kPerDay; ++q) quarters.push_back(RM830Quarter::activity(q, 0, 0, 0));
    for (const auto& quarter : day.quarters) {
        if (quarter.index < 0 || quarter.index >= RM830Quarter::kPerDay) continue;
        quarters[static_cast<std::size_t>(quarter.index)] = quarter;
    }
    return quarters;
}

}  // namespace halvora::lab
