#pragma once

#include "halvora/Records/HalvoraSDKBraceletSedentaryAlarm.hpp"

namespace halvora {

/// A periodic heart-rate monitoring window of a bracelet: the daily window and interval of the sedentary
/// reminder, and the days it applies to.
struct HalvoraSDKBraceletMonitoringAlarm : HalvoraSDKBraceletSedentaryAlarm {
    /// Applies on Mondays.
    bool monday = false;
    /// Applies on Tuesdays.
    bool tuesday = false;
    /// Applies on Wednesdays.
    bool wednesday = false;
    /// Applies on Thursdays.
    bool thursday = false;
    /// Applies on Fridays.
    bool friday = false;
    /// Applies on Saturdays.
    bool saturday = false;
    /// Applies on Sundays.
    bool sunday = false;
};

}  // namespace halvora
