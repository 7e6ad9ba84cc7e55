#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "halvora/Core/Date.hpp"

namespace halvora {

/// Calendar operations on dates, in the local time of `Calendar` (Gregorian calendar). The kit never reads
/// the system clock here: an operation that needs "now" takes it as an argument (the executor's date).
class DateUtils {
public:
    DateUtils() = delete;

    /// Completed years between `date` and `now`, from local year, month and day: the difference of the
    /// years, less one when now's month is earlier, or the month is the same and now's day is earlier.
    /// Nothing for no date. A date after `now` gives a negative or zero age, by the same rule.
    static std::optional<std::int32_t> getAgeFromDate(std::optional<Date> date, Date now);

    /// The ordinal day of `date` within its local year (1 January is 1).
    static std::int32_t getDayOfYear(Date date);

    /// "-" for no value; below 60 minutes "<m><sleep_min>"; otherwise "<h><sleep_h> <m><sleep_min>" with
    /// the texts of the keys "sleep_h" and "sleep_min" from `LocalizedStrings` (170 gives "2h 50min" with a
    /// table that maps them to "h" and "min"). Negative minutes take the first form.
    static std::string convertMinutesToHoursMinutes(std::optional<std::int32_t> minutes);

    /// The same local day as `date` at hour:minute:second. Values out of range roll over as mktime does
    /// (hour 24 is midnight of the next day).
    static Date setDateTimeFor(Date date, std::int32_t hour, std::int32_t minute, std::int32_t second);

    /// The same local day at 00:00:00. Where a change of the clocks skips midnight, the C library maps the
    /// missing local time to an instant next to the gap.
    static Date dateWithoutTime(Date date);
};

}  // namespace halvora
