#include "halvora/Core/Calendar.hpp"

#include <cerrno>
#include <cstdlib>
#include <mutex>

#include "halvora/Core/Format.hpp"

namespace halvora {

namespace {

constexpr const char* kTimeZoneVariable = "TZ";

struct CalendarState {
    std::mutex mutex;
    std::optional<std::string> pinned;
    bool originalSaved = false;
    std::optional<std::string> originalTz;  ///< TZ before the first pin; nothing when it was unset
};

CalendarState& state() {
    static CalendarState calendar;
    return calendar;
}

void applyTz(const std::optional<std::string>& tz) {
    if (tz) {
        ::setenv(kTimeZoneVariable, tz->c_str(), 1);
    } else {
        ::unsetenv(kTimeZoneVariable);
    }
    ::tzset();
}

std::time_t toTimeT(Date date) {
    return static_cast<std::time_t>(std::chrono::floor<std::chrono::seconds>(date.time_since_epoch()).count());
}

/// Local time of `date`; the caller holds the calendar's mutex.
std::tm localTimeLocked(Date date) {
    const std::time_t seconds = toTimeT(date);
    std::tm local{};
    if (::localtime_r(&seconds, &local) == nullptr) local = std::tm{};
    return local;
}

}  // namespace

void Calendar::setTimeZone(std::optional<std::string> tzName) {
    CalendarState& calendar = state();
    std::lock_guard lock(calendar.mutex);
    if (!calendar.originalSaved) {
        const char* original = std::getenv(kTimeZoneVariable);
        if (original != nullptr) calendar.originalTz = original;
        calendar.originalSaved = true;
    }
    calendar.pinned = std::move(tzName);
    applyTz(calendar.pinned ? calendar.pinned : calendar.originalTz);
}

std::optional<std::string> Calendar::timeZone() {
    CalendarState& calendar = state();
    std::lock_guard lock(calendar.mutex);
    return calendar.pinned;
}

std::tm Calendar::toLocal(Date date) {
    std::lock_guard lock(state().mutex);
    return localTimeLocked(date);
}

Date Calendar::fromLocal(const std::tm& local) {
    std::tm copy = local;
    std::time_t seconds = 0;
    int error = 0;
    {
        std::lock_guard lock(state().mutex);
        ::tzset();  // reads the zone now, so that errno below speaks of mktime alone
        errno = 0;
        seconds = ::mktime(&copy);
        error = errno;
    }
    // -1 is also the valid result for one second before the epoch; only errno tells a failure apart.
    if (seconds == static_cast<std::time_t>(-1) && error != 0) return Date{};
    return Date{std::chrono::seconds{seconds}};
}

std::string Calendar::formatDateTime(Date date) {
    const std::tm local = toLocal(date);
    return format("%04d-%02d-%02d %02d:%02d:%02d", local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                  local.tm_min, local.tm_sec);
}

}  // namespace halvora
