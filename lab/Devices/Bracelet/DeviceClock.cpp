#include "lab/Devices/Bracelet/DeviceClock.hpp"

#include <algorithm>
#include <chrono>
#include <ctime>

#include "halvora/Core/Calendar.hpp"

namespace halvora::lab {

namespace {

constexpr int kTmYearBase = 1900;
constexpr int kLastHour = 23;
constexpr int kLastMinute = 59;
constexpr int kLastSecond = 59;

}  // namespace

BraceletTime DeviceClock::read(MonotonicTime now, Date labDate) const {
    if (!anchor_) {
        const std::tm local = Calendar::toLocal(labDate);
        return {local.tm_year + kTmYearBase,        local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min,
                std::min(local.tm_sec, kLastSecond)};
    }
    if (waitsForRadio_) return *anchor_;
    const auto elapsed = std::chrono::duration_cast<std::chrono::seconds>(now - anchoredAt_).count();
    return anchor_->plusSeconds(elapsed);
}

void DeviceClock::set(const BraceletTime& time, MonotonicTime now, bool waitForRadio) {
    anchor_ = time;
    anchoredAt_ = now;
    waitsForRadio_ = waitForRadio;
}

void DeviceClock::linkUp(MonotonicTime now) {
    if (waitsForRadio_) set(*anchor_, now);
}

std::optional<BraceletTime> DeviceClock::realTime(int year, int month, int day, int hour, int minute, int second) {
    const std::chrono::year_month_day date{std::chrono::year{year}, std::chrono::month{static_cast<unsigned>(month)},
                                           std::chrono::day{static_cast<unsigned>(day)}};
    if (!date.ok() || hour < 0 || hour > kLastHour || minute < 0 || minute > kLastMinute || second < 0 ||
        second > kLastSecond) {
        return std::nullopt;
    }
    return BraceletTime{year, month, day, hour, minute, second};
}

}  // namespace halvora::lab
