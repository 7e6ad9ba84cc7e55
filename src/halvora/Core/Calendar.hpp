#pragma once

#include <ctime>
#include <optional>
#include <string>

#include "halvora/Core/Date.hpp"

namespace halvora {

/// The one calendar helper: conversions between dates and local civil time (Gregorian calendar) in one
/// process-wide time zone that the application, the CLI and the tests can pin.
///
/// Built on the C library (TZ, tzset, localtime_r, mktime). Pinning a zone sets the process's TZ
/// environment variable; unpinning restores the value TZ had before the first pin. Every conversion and
/// every zone change runs under one mutex, so the helper is safe from any thread. Other code in the process
/// should not change TZ while a zone is pinned.
///
/// Dates are taken to whole seconds (rounded down, also before 1970); the fraction of a second is dropped
/// by every conversion.
class Calendar {
public:
    Calendar() = delete;

    /// Pins the zone: an IANA name ("UTC", "Europe/Madrid") or a POSIX TZ rule ("JST-9"); nothing returns to
    /// the process's own zone (its TZ as it was before pinning, or the system's local time). An unknown name
    /// is taken by the C library as UTC.
    static void setTimeZone(std::optional<std::string> tzName);
    /// The pinned zone, or nothing when the process's own zone is used.
    static std::optional<std::string> timeZone();

    /// Local civil time of `date` (tm_year since 1900, tm_mon 0 to 11, tm_yday 0 to 365, tm_isdst set).
    static std::tm toLocal(Date date);
    /// The date of a local civil time. Fields out of range are normalised as mktime does (minute 60 is the
    /// next hour, day 0 the last day of the previous month); tm_isdst -1 lets the zone's rules decide
    /// whether summer time applies. A local time that the C library cannot represent gives the epoch.
    static Date fromLocal(const std::tm& local);

    /// "yyyy-MM-dd HH:mm:ss" in local time.
    static std::string formatDateTime(Date date);
};

}  // namespace halvora
