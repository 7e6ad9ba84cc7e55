#include "halvora/Devices/PillReminder/internal/PillReminderDates.hpp"

#include <ctime>

#include "halvora/Core/Calendar.hpp"

namespace halvora {

namespace {

/// Index of the first date byte of a reply.
constexpr std::size_t kReplyDateIndex = 4;
/// Date bytes of a reply.
constexpr std::size_t kReplyDateBytes = 6;

bool isLeap(std::int32_t year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

std::int32_t daysInMonth(std::int32_t year, std::int32_t month) {
    static constexpr std::int32_t kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && isLeap(year) ? 29 : kDays[month - 1];
}

}  // namespace

std::optional<Date> PillReminderDates::civilDate(std::int32_t year, std::int32_t month, std::int32_t day,
                                                 std::int32_t hour, std::int32_t minute, std::int32_t second) {
    if (month < 1 || month > 12) return std::nullopt;
    if (day < 1 || day > daysInMonth(year, month)) return std::nullopt;
    if (hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59) return std::nullopt;
    std::tm local{};
    local.tm_year = year - 1900;
    local.tm_mon = month - 1;
    local.tm_mday = day;
    local.tm_hour = hour;
    local.tm_min = minute;
    local.tm_sec = second;
    local.tm_isdst = -1;
    return Calendar::fromLocal(local);
}

std::optional<Date> PillReminderDates::replyDate(std::span<const std::uint8_t> reply) {
    if (reply.size() < kReplyDateIndex + kReplyDateBytes) return std::nullopt;
    const auto field = [&](std::size_t i) { return static_cast<std::int32_t>(reply[kReplyDateIndex + i]); };
    return civilDate(kYearBase + field(0), field(1), field(2), field(3), field(4), field(5));
}

}  // namespace halvora
