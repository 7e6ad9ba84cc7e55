#include "lab/Devices/PillReminder/PillBoxHistory.hpp"

#include <algorithm>

namespace halvora::lab {

namespace {

constexpr int kPercent = 100;
constexpr std::int64_t kSecondsPerMinute = 60;

/// A well-mixed 64-bit value of `value` (the splitmix64 finaliser).
std::uint64_t mix(std::uint64_t value) {
    value += 0x9E3779B97F4A7C15ULL;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9ULL;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBULL;
    return value ^ (value >> 31);
}

/// The draw of one alarm: the seed and the alarm's time and colour, mixed.
std::uint64_t drawOf(const PillBoxAlarm& alarm, std::uint64_t seed) {
    const auto minutes = static_cast<std::uint64_t>(alarm.time.secondsSince2010() / kSecondsPerMinute);
    return mix(mix(seed) ^ (minutes * kPercent + static_cast<std::uint64_t>(alarm.colour)));
}

}  // namespace

std::vector<PillBoxDose> PillBoxHistory::generated(const std::vector<PillBoxAlarm>& schedule,
                                                   const std::optional<BraceletTime>& since, const BraceletTime& now,
                                                   std::uint64_t seed) {
    std::vector<PillBoxAlarm> passed;
    for (const auto& alarm : schedule) {
        if (alarm.time <= now && (!since || alarm.time > *since)) passed.push_back(alarm);
    }
    std::sort(passed.begin(), passed.end());
    std::vector<PillBoxDose> doses;
    doses.reserve(passed.size());
    for (const auto& alarm : passed) doses.push_back(doseOf(alarm, now, seed));
    return doses;
}

PillBoxDose PillBoxHistory::doseOf(const PillBoxAlarm& alarm, const BraceletTime& now, std::uint64_t seed) {
    const std::uint64_t draw = drawOf(alarm, seed);
    const int roll = static_cast<int>(draw % kPercent);
    const auto spread = static_cast<int>((draw / kPercent) % kPercent);
    PillBoxDose dose;
    dose.planned = alarm.time;
    dose.planned.second = 0;
    if (roll >= kOnTimePercent + kLatePercent) {
        dose.status = PillBoxDose::Status::Missed;
        return dose;
    }
    int after = spread % (kOnTimeMinutes + 1);
    dose.status = PillBoxDose::Status::OnTime;
    if (roll >= kOnTimePercent) {
        after = kLateMinMinutes + spread % (kLateMaxMinutes - kLateMinMinutes + 1);
        dose.status = PillBoxDose::Status::Late;
    }
    const BraceletTime taken = std::min(dose.planned.plusSeconds(after * kSecondsPerMinute), now);
    if (taken.day != dose.planned.day) {
        dose.status = PillBoxDose::Status::Missed;
        return dose;
    }
    dose.takenHour = taken.hour;
    dose.takenMinute = taken.minute;
    return dose;
}

}  // namespace halvora::lab
