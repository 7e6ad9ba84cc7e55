#include "lab/Devices/Tensio/internal/TensioProtocol.hpp"

#include <chrono>

namespace halvora::lab::tensio {

namespace {

constexpr int kLastHour = 23;
constexpr int kLastMinute = 59;
constexpr int kLastSecond = 59;
constexpr int kLastTwoDigitYear = 99;

}  // namespace

std::uint8_t xorOf(std::span<const std::uint8_t> bytes) {
    std::uint8_t value = 0;
    for (auto b : bytes) value ^= b;
    return value;
}

std::uint8_t shortCheck(std::uint8_t code, std::uint8_t parameter) {
    return static_cast<std::uint8_t>(kShortLength ^ code ^ parameter);
}

std::uint8_t longCheck(std::span<const std::uint8_t, kLongValues> values) {
    return static_cast<std::uint8_t>(xorOf(values) ^ kLongLength);
}

std::uint8_t answerCheck(std::span<const std::uint8_t> body) {
    return xorOf(body);
}

std::optional<BraceletTime> calendarTime(int twoDigitYear, int month, int day, int hour, int minute, int second) {
    if (twoDigitYear < 0 || twoDigitYear > kLastTwoDigitYear) return std::nullopt;
    const int year = kCentury + twoDigitYear;
    const std::chrono::year_month_day date{std::chrono::year{year}, std::chrono::month{static_cast<unsigned>(month)},
                                           std::chrono::day{static_cast<unsigned>(day)}};
    if (!date.ok() || hour > kLastHour || minute > kLastMinute || second > kLastSecond) return std::nullopt;
    return BraceletTime{year, month, day, hour, minute, second};
}

}  // namespace halvora::lab::tensio
