#pragma once

#include "lab/Devices/Bracelet/BraceletTime.hpp"

namespace halvora::lab {

/// One blood-pressure measurement as the bracelet stores it. Pressures are in the unit the bracelet shows
/// (it does not convert them); the result frame carries the date to the minute with a two-digit year, the
/// memory's record frame carries no date at all.
struct TensioReading {
    BraceletTime date;  ///< when it was measured, by the bracelet's clock
    int systolic = 0;   ///< 0 to 65535 (two bytes)
    int diastolic = 0;  ///< 0 to 255
    int pulse = 0;      ///< beats per minute, 0 to 255
    int irregular = 0;  ///< irregular heartbeat flag byte: 0 none, else detected

    /// Readings compare by every field.
    friend bool operator==(const TensioReading&, const TensioReading&) = default;
};

}  // namespace halvora::lab
