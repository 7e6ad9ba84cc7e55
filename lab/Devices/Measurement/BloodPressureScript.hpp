#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include "halvora/Runtime/Task.hpp"

namespace halvora::lab {

/// What a virtual blood-pressure monitor does when it measures.
struct BloodPressureScript {
    /// Systolic pressure of the result, mmHg.
    int systolic = 120;
    /// Diastolic pressure of the result, mmHg.
    int diastolic = 80;
    /// Pulse of the result, beats per minute.
    int pulse = 72;
    /// The cuff inflates to this pressure in `inflateStep` steps, then deflates to `deflateTo`.
    int inflateTo = 160;
    /// The last cuff pressure before the result, mmHg.
    int deflateTo = 60;
    /// Pressure added per step while inflating, mmHg.
    int inflateStep = 20;
    /// Pressure let out per step while deflating, mmHg.
    int deflateStep = 10;
    /// Time between two cuff pressures (and before the result).
    Duration stepInterval = std::chrono::milliseconds(200);
    /// A device error byte sent instead of the result (after the cuff pressures).
    std::optional<std::uint8_t> errorByte;
    /// How many times the result frame is sent (a monitor that repeats itself).
    int resultRepeats = 1;
    /// Battery level reported when asked (third generation) or announced (second generation).
    int battery = 87;
    /// The second generation measures on its own: this long after a connection, if set.
    std::optional<Duration> autoStartAfter = std::chrono::milliseconds(500);

    /// The cuff pressures of one measurement: up, then down.
    std::vector<int> cuffPressures() const;
};

}  // namespace halvora::lab
