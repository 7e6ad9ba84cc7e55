#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "halvora/Core/Date.hpp"

namespace halvora {

/// How the wrist blood-pressure bracelet's numbers become times: each number printed "%2d", every blank then
/// turned into "0" (8 and 5 give "08:05"; a negative number keeps its sign, -5 gives "-5"), and a result's
/// date read back from "yy-MM-dd HH:mm".
class TensioDateText {
public:
    TensioDateText() = delete;

    /// The year a two-digit year counts from (the bracelet's clock is set with the year mod 100).
    static constexpr int kCenturyStart = 2000;

    /// "%2d:%2d" of hour and minute, blanks turned into "0".
    static std::string time(std::int32_t hour, std::int32_t minute);
    /// "%2d-%2d-%2d" of year, month and day, blanks turned into "0".
    static std::string date(std::int32_t year, std::int32_t month, std::int32_t day);
    /// The date and the time joined by one space: "19-01-22 10:05".
    static std::string dateTime(std::int32_t year, std::int32_t month, std::int32_t day, std::int32_t hour,
                                std::int32_t minute);
    /// The local date of a "yy-MM-dd HH:mm" text, through `Calendar` (its time zone), the year taken as 2000 +
    /// yy. Nothing unless every field is two digits and names a real minute: month 1 to 12, a day of that
    /// month, hour 0 to 23, minute 0 to 59.
    static std::optional<Date> parse(const std::string& text);
};

}  // namespace halvora
