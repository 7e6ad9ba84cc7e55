#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "lab/Devices/Bracelet/BraceletTime.hpp"
#include "lab/Devices/PillReminder/PillBoxAlarm.hpp"
#include "lab/Devices/PillReminder/PillBoxDose.hpp"
#include "lab/Devices/PillReminder/PillBoxFaults.hpp"

namespace halvora::lab {

/// What the virtual pill box holds and how it behaves. Its names (GAP name and advertised local name) are
/// part of its VirtualPeripheralConfig, given when it is made.
struct PillBoxScript {
    /// Where the clock stands when the script is set (or, for a box not yet in a radio, when it first
    /// connects); absent: the lab's local time until the phone sets it.
    std::optional<BraceletTime> clock;
    /// The zone the box reports until the phone sets one: hours, -12 to 14.
    int zoneHours = 0;
    /// The zone's minutes, -59 to 59 (signed like the hours).
    int zoneMinutes = 0;
    /// Battery level, percent, 0 to 100.
    int battery = 85;
    /// The last synchronisation the box reports until the phone marks one; absent: 2000-01-01 00:00:00.
    std::optional<BraceletTime> lastSync;
    /// Alarms stored when the script is set, in any order (at most VirtualPillBox::kMaxAlarmsPerDay a day
    /// and VirtualPillBox::kMaxDays days are kept; the rest are dropped).
    std::vector<PillBoxAlarm> schedule;
    /// An explicit taken/missed history, oldest first; absent: the history is generated from the stored
    /// schedule and `historySeed` (PillBoxHistory::generated()).
    std::optional<std::vector<PillBoxDose>> history;
    /// The seed of the generated history.
    std::uint64_t historySeed = 1;
    /// The box's protocol faults.
    PillBoxFaults faults;
};

}  // namespace halvora::lab
