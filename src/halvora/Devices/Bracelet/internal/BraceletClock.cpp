#include "halvora/Devices/Bracelet/internal/BraceletClock.hpp"

#include "halvora/Core/Calendar.hpp"

namespace halvora {

namespace {

constexpr int kTmBaseYear = 1900;

Date secondsAfterEpoch(std::int64_t seconds) {
    return Date{std::chrono::seconds{seconds}};
}

}  // namespace

Date BraceletClock::getRightTime(std::uint32_t time, Date now) {
    const Date shifted = plusCalendarYears(secondsAfterEpoch(std::int64_t{time} - kTimeCorrection), kEpochYears);
    return shifted - utcOffset(now);
}

Date BraceletClock::sleepDate(std::uint32_t time) {
    return plusCalendarYears(secondsAfterEpoch(std::int64_t{time} - kSleepTimeCorrection), kEpochYears);
}

std::int64_t BraceletClock::sleepSlotKey(Date date) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(date.time_since_epoch()).count();
    return seconds / kSleepSlot * kSleepSlot;  // integer division truncates toward zero
}

std::chrono::seconds BraceletClock::utcOffset(Date date) {
    using namespace std::chrono;
    const std::tm local = Calendar::toLocal(date);
    const year_month_day day{year{local.tm_year + kTmBaseYear}, month{static_cast<unsigned>(local.tm_mon + 1)},
                             std::chrono::day{static_cast<unsigned>(local.tm_mday)}};
    const sys_seconds localAsUtc = sys_days{day} + hours{local.tm_hour} + minutes{local.tm_min} + seconds{local.tm_sec};
    return localAsUtc.time_since_epoch() - floor<seconds>(date.time_since_epoch());
}

Date BraceletClock::YearShift::shift(Date date) {
    // A shift found earlier holds for this date when the offsets at both ends are the ones it was found
    // with, and no offset change lies near the shifted date (where a local time can be missing or twice).
    constexpr std::chrono::hours kClearance{4};
    if (known_ && utcOffset(date) == offsetBefore_) {
        const Date shifted = date + delta_;
        if (utcOffset(shifted) == offsetAfter_ && utcOffset(shifted - kClearance) == offsetAfter_ &&
            utcOffset(shifted + kClearance) == offsetAfter_) {
            return shifted;
        }
    }
    const Date shifted = plusCalendarYears(date, kEpochYears);
    delta_ = shifted - date;
    offsetBefore_ = utcOffset(date);
    offsetAfter_ = utcOffset(shifted);
    // Only a shift that keeps the wall-clock time exactly is kept (not one the calendar had to move out of
    // a missing hour).
    const std::tm before = Calendar::toLocal(date);
    const std::tm after = Calendar::toLocal(shifted);
    known_ = after.tm_hour == before.tm_hour && after.tm_min == before.tm_min && after.tm_sec == before.tm_sec;
    return shifted;
}

Date BraceletClock::rightTime(std::uint32_t time, std::chrono::seconds offsetNow, YearShift& years) {
    return years.shift(secondsAfterEpoch(std::int64_t{time} - kTimeCorrection)) - offsetNow;
}

Date BraceletClock::sleepDate(std::uint32_t time, YearShift& years) {
    return years.shift(secondsAfterEpoch(std::int64_t{time} - kSleepTimeCorrection));
}

Date BraceletClock::plusCalendarYears(Date date, int years) {
    std::tm local = Calendar::toLocal(date);
    local.tm_year += years;
    local.tm_isdst = -1;
    return Calendar::fromLocal(local);
}

}  // namespace halvora
