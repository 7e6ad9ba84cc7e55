#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "halvora/Core/Date.hpp"

namespace halvora {

/// Dates the pill box sends: civil fields in the phone's local time (`Calendar`), taken only when they name
/// a real moment (month 1..12, a day of that month, hour 0..23, minute and second 0..59).
class PillReminderDates {
public:
    PillReminderDates() = delete;

    /// The year the box's two-digit years count from.
    static constexpr std::int32_t kYearBase = 2000;

    /// The local date of these fields, or nothing when they name no real moment.
    static std::optional<Date> civilDate(std::int32_t year, std::int32_t month, std::int32_t day, std::int32_t hour,
                                         std::int32_t minute, std::int32_t second);
    /// The date in reply bytes 4..9 (year - 2000, month, day, hour, minute, second); nothing for a reply
    /// too short or fields that name no real moment.
    static std::optional<Date> replyDate(std::span<const std::uint8_t> reply);
};

}  // namespace halvora
