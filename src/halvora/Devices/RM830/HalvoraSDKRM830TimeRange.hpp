#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace halvora {

/// The window in which the RM830 bracelet ("HR1638") measures the heart rate on its own: a daily time span
/// and the days of the week it applies to. A new range covers 0:00 to 23:59 on every day.
struct HalvoraSDKRM830TimeRange {
    /// Hour the window opens, 0 to 23.
    std::int32_t startHour = 0;
    /// Minute the window opens, 0 to 59.
    std::int32_t startMinute = 0;
    /// Hour the window closes, 0 to 23.
    std::int32_t endHour = 23;
    /// Minute the window closes, 0 to 59.
    std::int32_t endMinute = 59;
    /// The window applies on Mondays.
    bool monday = true;
    /// The window applies on Tuesdays.
    bool tuesday = true;
    /// The window applies on Wednesdays.
    bool wednesday = true;
    /// The window applies on Thursdays.
    bool thursday = true;
    /// The window applies on Fridays.
    bool friday = true;
    /// The window applies on Saturdays.
    bool saturday = true;
    /// The window applies on Sundays.
    bool sunday = true;

    /// Saturday and Sunday only.
    void setOnlyWeekend() { setDays(false, true); }
    /// Monday to Friday only.
    void setOnlyWeekDays() { setDays(true, false); }

    /// The days as the bracelet's mask: bit 0 Sunday, bit 1 Monday, ... bit 6 Saturday (weekdays give 0x3E).
    std::uint8_t dayMask() const {
        const bool days[] = {sunday, monday, tuesday, wednesday, thursday, friday, saturday};
        std::uint8_t mask = 0;
        for (std::size_t bit = 0; bit < std::size(days); ++bit) {
            if (days[bit]) mask = static_cast<std::uint8_t>(mask | (1u << bit));
        }
        return mask;
    }

private:
    void setDays(bool weekDays, bool weekend) {
        monday = tuesday = wednesday = thursday = friday = weekDays;
        saturday = sunday = weekend;
    }
};

}  // namespace halvora
