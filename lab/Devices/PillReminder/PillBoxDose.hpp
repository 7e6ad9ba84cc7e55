#pragma once

#include <compare>
#include <cstdint>

#include "lab/Devices/Bracelet/BraceletTime.hpp"

namespace halvora::lab {

/// One entry of the box's taken/missed history: a planned dose and what became of it. The box keeps the
/// day once: the time taken is on the planned day (a dose taken after midnight counts as missed).
struct PillBoxDose {
    /// What became of the dose, as the two status bits of a history entry.
    enum class Status : std::uint8_t {
        OnTime = 0,   ///< confirmed within the confirmation time
        Late = 1,     ///< confirmed, but after the confirmation time
        Missed = 2,   ///< never confirmed; the time taken reads 00:00
        Skipped = 3,  ///< dismissed without taking it; the time taken is when it was dismissed
    };

    /// The planned day and time (seconds 0).
    BraceletTime planned;
    /// The hour taken, 0 to 23 (0 for a missed dose).
    int takenHour = 0;
    /// The minute taken, 0 to 59 (0 for a missed dose).
    int takenMinute = 0;
    /// What became of the dose.
    Status status = Status::OnTime;

    /// Doses compare field by field (the planned time first).
    friend auto operator<=>(const PillBoxDose&, const PillBoxDose&) = default;
};

}  // namespace halvora::lab
