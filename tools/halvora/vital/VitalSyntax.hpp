#pragma once

#include <optional>
#include <string>
#include <vector>

#include "halvora/Devices/Vital/HalvoraSDKPeriod.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalAlarm.hpp"

namespace halvora::cli {

// How the vital commands read their arguments. Each function throws CliError(ExitBadArguments) naming what
// is wrong, before anything is sent.

/// "on" (true) or "off" (false), for `what`.
bool parseOnOff(const std::string& text, const std::string& what);
/// A whole number, for `what`; range checks are left to the kit, which reports them by error number.
int parseNumber(const std::string& text, const std::string& what);
/// "HH:MM-HH:MM" into the window's times (the order is left to the kit).
void parseWindow(const std::string& text, HalvoraSDKPeriod& period);
/// The week days of a day list ("daily", "weekdays", "weekend", "none", "mon+wed").
void parseDays(const std::string& text, HalvoraSDKPeriod& period);
/// An alarm "HH:MM" or "HH:MM/DAYS" (days as parseDays; daily when absent).
HalvoraSDKVitalAlarm parseVitalAlarm(const std::string& text);

/// One setting of `halvora vital set`: a key with its value.
struct VitalSettingPair {
    std::string key;    ///< time, goal, or a parameter key (brightness, dial, base, language, km, ...)
    std::string value;  ///< the value as given
};
/// The keys `halvora vital set` knows, for its help.
extern const char* const kVitalSetKeysHelp;
/// Pairs KEY VALUE KEY VALUE ... of `halvora vital set`, each key known and given once.
std::vector<VitalSettingPair> parseVitalSettingPairs(const std::vector<std::string>& words);

}  // namespace halvora::cli
