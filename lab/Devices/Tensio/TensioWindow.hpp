#pragma once

namespace halvora::lab {

/// One ambulatory measuring window as the bracelet holds it, with the values the phone's frame carried.
struct TensioWindow {
    int startHour = 0;      ///< 0 to 23
    int startMinute = 0;    ///< 0 to 59 (the phone sends 0 or 30)
    int endHour = 0;        ///< 0 to 23
    int endMinute = 0;      ///< 0 to 59 (the phone sends 0 or 30)
    int periodMinutes = 0;  ///< the period byte: minutes between two measurements (30 to 240, 0 when none)

    /// Windows compare by every field.
    friend bool operator==(const TensioWindow&, const TensioWindow&) = default;
};

}  // namespace halvora::lab
