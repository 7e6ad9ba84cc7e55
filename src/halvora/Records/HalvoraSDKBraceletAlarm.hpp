#pragma once

#include <cstdint>
#include <string>

namespace halvora {

/// One of a bracelet's two alarms: the days it rings on and its time of day.
struct HalvoraSDKBraceletAlarm {
    /// false: alarm 1; true: alarm 2.
    bool secondaryAlarm = false;
    /// Rings on Mondays.
    bool monday = false;
    /// Rings on Tuesdays.
    bool tuesday = false;
    /// Rings on Wednesdays.
    bool wednesday = false;
    /// Rings on Thursdays.
    bool thursday = false;
    /// Rings on Fridays.
    bool friday = false;
    /// Rings on Saturdays.
    bool saturday = false;
    /// Rings on Sundays.
    bool sunday = false;
    /// Hour of day, 0 to 23.
    std::int32_t hour = 0;
    /// Minute, 0 to 59.
    std::int32_t minute = 0;

    /// The text form of the dictionary of the days (booleans, written 1 and 0), "hour" and "minute", keys in
    /// ascending order, one "key = value;" line each (`secondaryAlarm` is not part of it):
    ///
    ///     {
    ///         friday = 0;
    ///         hour = 7;
    ///         minute = 30;
    ///         monday = 1;
    ///         saturday = 1;
    ///         sunday = 0;
    ///         thursday = 0;
    ///         tuesday = 0;
    ///         wednesday = 0;
    ///     }
    std::string description() const;
};

}  // namespace halvora
