#include "lab/Devices/Bracelet/BraceletTime.hpp"

#include <chrono>

#include "halvora/Core/Format.hpp"

namespace halvora::lab {

namespace {

constexpr std::int64_t kSecondsPerDay = 86400;

std::chrono::sys_days epochDay() {
    return std::chrono::sys_days{std::chrono::year{2010} / std::chrono::January / 1};
}

/// Reads exactly `count` decimal digits at `at`.
std::optional<int> digits(const std::string& text, std::size_t at, std::size_t count) {
    if (at + count > text.size()) return std::nullopt;
    int value = 0;
    for (std::size_t i = at; i < at + count; ++i) {
        if (text[i] < '0' || text[i] > '9') return std::nullopt;
        value = value * 10 + (text[i] - '0');
    }
    return value;
}

bool separatorAt(const std::string& text, std::size_t at, char separator) {
    return at < text.size() && text[at] == separator;
}

/// The time of these fields, when they name a real calendar time.
std::optional<BraceletTime> checked(int year, int month, int day, int hour, int minute, int second) {
    const std::chrono::year_month_day date{std::chrono::year{year}, std::chrono::month{static_cast<unsigned>(month)},
                                           std::chrono::day{static_cast<unsigned>(day)}};
    if (!date.ok() || hour > 23 || minute > 59 || second > 59) return std::nullopt;
    return BraceletTime{year, month, day, hour, minute, second};
}

}  // namespace

std::optional<BraceletTime> BraceletTime::parse(const std::string& text) {
    // yyyy-MM-dd HH:mm[:ss]
    if (text.size() != 16 && text.size() != 19) return std::nullopt;
    if (!separatorAt(text, 4, '-') || !separatorAt(text, 7, '-') || !separatorAt(text, 10, ' ') ||
        !separatorAt(text, 13, ':')) {
        return std::nullopt;
    }
    const auto year = digits(text, 0, 4);
    const auto month = digits(text, 5, 2);
    const auto day = digits(text, 8, 2);
    const auto hour = digits(text, 11, 2);
    const auto minute = digits(text, 14, 2);
    std::optional<int> second = 0;
    if (text.size() == 19) second = separatorAt(text, 16, ':') ? digits(text, 17, 2) : std::nullopt;
    if (!year || !month || !day || !hour || !minute || !second) return std::nullopt;
    return checked(*year, *month, *day, *hour, *minute, *second);
}

std::optional<BraceletTime> BraceletTime::parseCompact(const std::string& text) {
    // yyyyMMddHHmm
    if (text.size() != 12) return std::nullopt;
    const auto year = digits(text, 0, 4);
    const auto month = digits(text, 4, 2);
    const auto day = digits(text, 6, 2);
    const auto hour = digits(text, 8, 2);
    const auto minute = digits(text, 10, 2);
    if (!year || !month || !day || !hour || !minute) return std::nullopt;
    return checked(*year, *month, *day, *hour, *minute, 0);
}

BraceletTime BraceletTime::fromSecondsSince2010(std::int64_t seconds) {
    std::int64_t days = seconds / kSecondsPerDay;
    std::int64_t rest = seconds % kSecondsPerDay;
    if (rest < 0) {
        rest += kSecondsPerDay;
        --days;
    }
    const std::chrono::year_month_day date{epochDay() + std::chrono::days{days}};
    BraceletTime time;
    time.year = static_cast<int>(date.year());
    time.month = static_cast<int>(static_cast<unsigned>(date.month()));
    time.day = static_cast<int>(static_cast<unsigned>(date.day()));
    time.hour = static_cast<int>(rest / 3600);
    time.minute = static_cast<int>(rest % 3600 / 60);
    time.second = static_cast<int>(rest % 60);
    return time;
}

std::int64_t BraceletTime::secondsSince2010() const {
    const std::chrono::sys_days date{std::chrono::year{year} / std::chrono::month{static_cast<unsigned>(month)} /
                                     std::chrono::day{static_cast<unsigned>(day)}};
    const std::int64_t days = (date - epochDay()).count();
    return days * kSecondsPerDay + std::int64_t{hour} * 3600 + std::int64_t{minute} * 60 + second;
}

bool BraceletTime::fitsDeviceCount() const {
    const std::int64_t count = deviceSeconds();
    return secondsSince2010() >= 0 && count <= kMaxDeviceSeconds;
}

BraceletTime BraceletTime::plusSeconds(std::int64_t seconds) const {
    return fromSecondsSince2010(secondsSince2010() + seconds);
}

std::string BraceletTime::text() const {
    return format("%04d-%02d-%02d %02d:%02d:%02d", year, month, day, hour, minute, second);
}

std::string BraceletTime::compactText() const {
    return format("%04d%02d%02d%02d%02d", year, month, day, hour, minute);
}

}  // namespace halvora::lab
