#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "lab/Devices/Bracelet/BraceletTime.hpp"
#include "lab/Devices/PillReminder/PillBoxAlarm.hpp"
#include "lab/Devices/PillReminder/PillBoxDose.hpp"

namespace halvora::lab {

/// The taken/missed history a box makes up from its schedule, so that a lab box reports plausible doses
/// without a script listing them.
class PillBoxHistory {
public:
    PillBoxHistory() = delete;

    /// In every hundred doses, about this many are taken on time (within kOnTimeMinutes of the alarm).
    static constexpr int kOnTimePercent = 70;
    /// ... and about this many late (kLateMinMinutes to kLateMaxMinutes after); the rest are missed.
    static constexpr int kLatePercent = 15;
    /// The latest an on-time dose is taken, minutes after its alarm.
    static constexpr int kOnTimeMinutes = 5;
    /// The earliest a late dose is taken, minutes after its alarm.
    static constexpr int kLateMinMinutes = 20;
    /// The latest a late dose is taken, minutes after its alarm.
    static constexpr int kLateMaxMinutes = 90;

    /// One dose for each alarm of `schedule` whose time lies after `since` (when given) and not after `now`,
    /// in the schedule's time order. Each alarm's fate depends only on `seed` and the alarm itself, so the
    /// same seed gives the same doses and adding or removing other alarms changes nothing about it. A dose
    /// that would be taken after `now` is taken at `now`; one that would be taken after midnight is missed.
    static std::vector<PillBoxDose> generated(const std::vector<PillBoxAlarm>& schedule,
                                              const std::optional<BraceletTime>& since, const BraceletTime& now,
                                              std::uint64_t seed);

private:
    static PillBoxDose doseOf(const PillBoxAlarm& alarm, const BraceletTime& now, std::uint64_t seed);
};

}  // namespace halvora::lab
