#pragma once

#include <cstdint>

namespace halvora {

/// A daily time window with the weekdays it applies to, as the Vital bracelet takes it.
struct HalvoraSDKPeriod {
    /// Start hour, 0 to 23.
    std::int32_t startHour = 0;
    /// Start minute, 0 to 59.
    std::int32_t startMinute = 0;
    /// End hour, 0 to 23.
    std::int32_t endHour = 0;
    /// End minute, 0 to 59.
    std::int32_t endMinute = 0;
    /// Applies on Mondays.
    bool monday = false;
    /// Applies on Tuesdays.
    bool tuesday = false;
    /// Applies on Wednesdays.
    bool wednesday = false;
    /// Applies on Thursdays.
    bool thursday = false;
    /// Applies on Fridays.
    bool friday = false;
    /// Applies on Saturdays.
    bool saturday = false;
    /// Applies on Sundays.
    bool sunday = false;

    /// True when the window is valid: both times are real times of day (hours 0 to 23, minutes 0 to 59) and
    /// the start comes strictly before the end (a window never runs across midnight).
    bool checkValidDates() const;

    /// Field-wise equality.
    bool operator==(const HalvoraSDKPeriod&) const = default;
};

}  // namespace halvora
