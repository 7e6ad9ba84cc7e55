#include "halvora/Devices/Tensio/internal/TensioDateText.hpp"

#include <algorithm>
#include <chrono>
#include <ctime>

#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora {

namespace {

constexpr char kBlank = ' ';
constexpr char kZero = '0';
constexpr int kTmYearBase = 1900;
constexpr int kTmMonthBase = 1;
constexpr int kLastMonth = 12;
constexpr int kLastHour = 23;
constexpr int kLastMinute = 59;
constexpr int kDecimal = 10;

/// "yy-MM-dd HH:mm": where each field's two digits start, and the separator after it.
struct Field {
    std::size_t at;
    char separatorAfter;
};
constexpr Field kYear{0, '-'};
constexpr Field kMonth{3, '-'};
constexpr Field kDay{6, ' '};
constexpr Field kHour{9, ':'};
constexpr Field kMinute{12, '\0'};
constexpr std::size_t kTextLength = 14;

std::string zeroFilled(std::string text) {
    std::replace(text.begin(), text.end(), kBlank, kZero);
    return text;
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// The two digits of `field`, when they are two digits followed by its separator.
std::optional<int> twoDigits(const std::string& text, const Field& field) {
    const char high = text[field.at];
    const char low = text[field.at + 1];
    if (!isDigit(high) || !isDigit(low)) return std::nullopt;
    if (field.separatorAfter != '\0' && text[field.at + 2] != field.separatorAfter) return std::nullopt;
    return (high - kZero) * kDecimal + (low - kZero);
}

int daysInMonth(int year, int month) {
    using namespace std::chrono;
    const year_month_day_last last{std::chrono::year{year} / std::chrono::month{static_cast<unsigned>(month)} /
                                   std::chrono::last};
    return static_cast<int>(static_cast<unsigned>(last.day()));
}

}  // namespace

std::string TensioDateText::time(std::int32_t hour, std::int32_t minute) {
    return zeroFilled(format("%2d:%2d", static_cast<int>(hour), static_cast<int>(minute)));
}

std::string TensioDateText::date(std::int32_t year, std::int32_t month, std::int32_t day) {
    return zeroFilled(format("%2d-%2d-%2d", static_cast<int>(year), static_cast<int>(month), static_cast<int>(day)));
}

std::string TensioDateText::dateTime(std::int32_t year, std::int32_t month, std::int32_t day, std::int32_t hour,
                                     std::int32_t minute) {
    return date(year, month, day) + kBlank + time(hour, minute);
}

std::optional<Date> TensioDateText::parse(const std::string& text) {
    if (text.size() != kTextLength) return std::nullopt;
    const auto year = twoDigits(text, kYear);
    const auto month = twoDigits(text, kMonth);
    const auto day = twoDigits(text, kDay);
    const auto hour = twoDigits(text, kHour);
    const auto minute = twoDigits(text, kMinute);
    if (!year || !month || !day || !hour || !minute) return std::nullopt;
    const int fullYear = kCenturyStart + *year;
    if (*month < 1 || *month > kLastMonth || *day < 1 || *day > daysInMonth(fullYear, *month)) return std::nullopt;
    if (*hour > kLastHour || *minute > kLastMinute) return std::nullopt;
    std::tm local{};
    local.tm_year = fullYear - kTmYearBase;
    local.tm_mon = *month - kTmMonthBase;
    local.tm_mday = *day;
    local.tm_hour = *hour;
    local.tm_min = *minute;
    local.tm_isdst = -1;
    return Calendar::fromLocal(local);
}

}  // namespace halvora
