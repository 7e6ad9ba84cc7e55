#pragma once

#include <vector>

#include "lab/Devices/Bracelet/BraceletTime.hpp"
#include "lab/Devices/Tensio/TensioWindow.hpp"

namespace halvora::lab {

/// What the bracelet holds of the phone's setting commands, with the values of a new (or reset) bracelet.
struct TensioSettings {
    /// The clock as it reads now: where the phone (or the script) set it plus the time since, else the lab's
    /// local time.
    BraceletTime clock;
    /// Whether the phone has set the clock (0x20).
    bool clockSetByPhone = false;
    /// The wrist the bracelet is worn on, byte 8 of the configuration frame (0x22) as sent.
    int hand = 0;
    /// Ambulatory (scheduled) measuring switched on, byte 4 of the configuration frame.
    bool ambulatoryEnabled = false;
    /// The ambulatory windows (0x21), window 1 first.
    std::vector<TensioWindow> windows;
    /// Whether a measurement is running (from its start to its result, error or stop).
    bool measuring = false;
};

}  // namespace halvora::lab
