#pragma once

#include <string>
#include <vector>

namespace halvora::cli {

/// "HH:MM" into hour and minute; false when it is not a time of day.
bool parseTimeOfDay(const std::string& text, int& hour, int& minute);

/// The days a text names, as "mon" ... "sun": "daily", "weekdays", "weekend", "none" or names joined by
/// '+' ("mon+wed+sat"). Throws CliError(ExitBadArguments) naming `what` for an unknown day.
std::vector<std::string> parseDayNames(const std::string& text, const std::string& what);

}  // namespace halvora::cli
