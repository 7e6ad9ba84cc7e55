#pragma once

#include <cstdint>

#include "halvora/Devices/Vital/HalvoraSDKPeriod.hpp"

namespace halvora {

/// The Vital bracelet's exercise reminder: within the window, the bracelet reminds its wearer to move when
/// fewer than `minimumNumberSteps` were taken in `exerciseReminderPeriod` minutes.
struct HalvoraSDKVitalActivityPeriod : HalvoraSDKPeriod {
    /// Minutes between reminders, 0 to 255.
    std::int32_t exerciseReminderPeriod = 0;
    /// Steps below which the bracelet reminds, 0 to 255.
    std::int32_t minimumNumberSteps = 0;
    /// The reminder is on.
    bool motionEnabled = false;

    /// Field-wise equality.
    bool operator==(const HalvoraSDKVitalActivityPeriod&) const = default;
};

}  // namespace halvora
