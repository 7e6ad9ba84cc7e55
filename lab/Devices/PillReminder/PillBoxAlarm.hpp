#pragma once

#include <compare>

#include "lab/Devices/Bracelet/BraceletTime.hpp"

namespace halvora::lab {

/// One alarm the box rings: a day and a time of day (seconds 0) with the colour of the pill compartment.
struct PillBoxAlarm {
    /// The lowest compartment colour.
    static constexpr int kFirstColour = 1;
    /// The highest compartment colour.
    static constexpr int kLastColour = 5;

    /// When the alarm rings (the box's local time; the second is not kept).
    BraceletTime time;
    /// The compartment colour, kFirstColour to kLastColour.
    int colour = kFirstColour;

    /// Alarms compare by time, then colour.
    friend auto operator<=>(const PillBoxAlarm&, const PillBoxAlarm&) = default;
};

}  // namespace halvora::lab
