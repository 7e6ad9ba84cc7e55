#pragma once

#include <chrono>
#include <cstdint>

#include "halvora/Core/Date.hpp"

namespace halvora {

/// The bracelet's clock: history items count seconds of local time since 2010, which the bracelet encodes as
/// an offset from 1970 to which 40 calendar years are added. Calendar arithmetic goes through `Calendar`
/// (its pinned time zone).
class BraceletClock {
public:
    BraceletClock() = delete;

    /// Seconds the steps and heart-rate times are behind: the bracelet's count runs 35 seconds ahead.
    static constexpr std::int64_t kTimeCorrection = 35;
    /// Seconds the sleep times are behind.
    static constexpr std::int64_t kSleepTimeCorrection = 10;
    /// Calendar years between the bracelet's epoch and 1970.
    static constexpr int kEpochYears = 40;
    /// Length of a sleep slot, seconds.
    static constexpr std::int64_t kSleepSlot = 600;

    /// Date of a steps or heart-rate item: (time - 35) seconds after 1970-01-01 00:00 UTC, plus 40 calendar
    /// years, minus the offset from UTC in force at `now` (not at the item's date).
    static Date getRightTime(std::uint32_t time, Date now);
    /// Date of a sleep item before it is put in its slot: (time - 10) seconds after 1970-01-01 00:00 UTC, plus
    /// 40 calendar years, without any time-zone correction.
    static Date sleepDate(std::uint32_t time);
    /// The sleep slot of a date: its seconds since 1970 cut down, toward zero, to a multiple of 600.
    static std::int64_t sleepSlotKey(Date date);
    /// The local time's offset from UTC at `date` (east positive).
    static std::chrono::seconds utcOffset(Date date);
    /// `date` plus `years` calendar years, keeping the local time of day.
    static Date plusCalendarYears(Date date, int years);

    /// The bracelet's 40 calendar years added to many dates in a row (one package's items), without a
    /// full calendar conversion for each (mktime reads the zone's file every time). Between 1970 and 2044
    /// the leap years fall alike, so the shift is a whole number of seconds that changes only where the
    /// local offset changes at one end or the other: a shift worked out once stays right for a later date
    /// whose offsets, at the date and at the shifted date, are the ones it was worked out with. Make one per
    /// package.
    class YearShift {
    public:
        /// plusCalendarYears(date, kEpochYears).
        Date shift(Date date);

    private:
        bool known_ = false;
        Date::duration delta_{};
        std::chrono::seconds offsetBefore_{};
        std::chrono::seconds offsetAfter_{};
    };

    /// getRightTime() with the offset at `now` already known and the year shift shared by a package.
    static Date rightTime(std::uint32_t time, std::chrono::seconds offsetNow, YearShift& years);
    /// sleepDate() with the year shift shared by a package.
    static Date sleepDate(std::uint32_t time, YearShift& years);
};

}  // namespace halvora
