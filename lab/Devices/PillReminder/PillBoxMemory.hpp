#pragma once

#include <optional>
#include <vector>

#include "lab/Devices/Bracelet/BraceletTime.hpp"
#include "lab/Devices/PillReminder/PillBoxAlarm.hpp"
#include "lab/Devices/PillReminder/PillBoxDose.hpp"

namespace halvora::lab {

/// What a pill box keeps of what the phone wrote, as a real box keeps it while switched off: its settings,
/// its schedule and its taken/missed history as they stand. Not its clock (the phone sets it at every
/// connection) nor its battery. VirtualPillBox::memory() takes it and VirtualPillBox::restore() puts it back,
/// so that a lab can keep a box's state between runs.
struct PillBoxMemory {
    /// The zone's hours, -12 to 14.
    int zoneHours = 0;
    /// The zone's minutes, -59 to 59 (signed like the hours).
    int zoneMinutes = 0;
    /// The last synchronisation marked, if any.
    std::optional<BraceletTime> lastSync;
    /// The alarm duration last set (0 until set).
    int alarmDuration = 0;
    /// The confirmation time last set (0 until set).
    int confirmationTime = 0;
    /// The stored alarms, days in date order, each day's in the order received.
    std::vector<PillBoxAlarm> schedule;
    /// An explicit history as it stands (empty once cleared), oldest first; absent: the history is made up
    /// from the schedule and the script's seed (PillBoxHistory::generated()).
    std::optional<std::vector<PillBoxDose>> history;
    /// When a made-up history was last cleared: it holds only alarms after this.
    std::optional<BraceletTime> historyClearedAt;

    /// Memories compare field by field.
    friend bool operator==(const PillBoxMemory&, const PillBoxMemory&) = default;
};

}  // namespace halvora::lab
