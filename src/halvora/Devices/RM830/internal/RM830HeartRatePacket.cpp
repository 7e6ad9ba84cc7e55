#include "halvora/Devices/RM830/internal/RM830HeartRatePacket.hpp"

#include <ctime>

#include "halvora/Core/Calendar.hpp"
#include "halvora/Devices/RM830/internal/RM830Bcd.hpp"

namespace halvora {

namespace {

constexpr std::size_t kYearIndex = 2;
constexpr std::size_t kMonthIndex = 3;
constexpr std::size_t kDayIndex = 4;
constexpr std::size_t kHourIndex = 5;
constexpr std::size_t kMinuteIndex = 6;
constexpr std::size_t kFirstReadingIndex = 7;

constexpr int kTmYearBase = 1900;
constexpr int k2000s = 2000;
constexpr int k1900s = 1900;
constexpr int kMonths = 12;
constexpr int kHours = 24;
constexpr int kMinutes = 60;
constexpr int kFebruary = 2;

bool isLeapYear(int year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int daysInMonth(int year, int month) {
    constexpr int kDays[kMonths] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == kFebruary && isLeapYear(year) ? 29 : kDays[month - 1];
}

}  // namespace

std::optional<Date> RM830HeartRatePacket::startDate(std::span<const std::uint8_t> packet) {
    if (packet.size() < kLength) return std::nullopt;
    for (std::size_t i = kYearIndex; i <= kMinuteIndex; ++i) {
        if (!RM830Bcd::isValid(packet[i])) return std::nullopt;  // more than two digits: not "ddMMyyHHmm"
    }
    const int twoDigitYear = RM830Bcd::decode(packet[kYearIndex]);
    const int year = twoDigitYear + (twoDigitYear < kCenturyPivot ? k2000s : k1900s);
    const int month = RM830Bcd::decode(packet[kMonthIndex]);
    const int day = RM830Bcd::decode(packet[kDayIndex]);
    const int hour = RM830Bcd::decode(packet[kHourIndex]);
    const int minute = RM830Bcd::decode(packet[kMinuteIndex]);
    if (month < 1 || month > kMonths || day < 1 || day > daysInMonth(year, month)) return std::nullopt;
    if (hour >= kHours || minute >= kMinutes) return std::nullopt;
    std::tm local{};
    local.tm_year = year - kTmYearBase;
    local.tm_mon = month - 1;
    local.tm_mday = day;
    local.tm_hour = hour;
    local.tm_min = minute;
    local.tm_isdst = -1;
    return Calendar::fromLocal(local);
}

std::vector<HalvoraSDKHeartBeatData> RM830HeartRatePacket::readings(std::span<const std::uint8_t> packet) {
    std::vector<HalvoraSDKHeartBeatData> out;
    if (packet.size() < kLength) return out;
    const std::optional<Date> start = startDate(packet);
    out.reserve(kReadings);
    for (std::size_t i = 0; i < kReadings; ++i) {
        HalvoraSDKHeartBeatData reading;
        reading.heartRate = packet[kFirstReadingIndex + i];
        if (start) reading.date = *start + kReadingInterval * static_cast<int>(i);
        out.push_back(reading);
    }
    return out;
}

}  // namespace halvora
