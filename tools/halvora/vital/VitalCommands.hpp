#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Session.hpp"
#include "VitalSession.hpp"
#include "VitalSyntax.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalParams.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalWeather.hpp"

namespace halvora::cli {

// The Vital bracelet's commands. Each connects the bracelet, asks, waits for the answer and prints it
// through the session's printer; it returns the exit status, or throws CliError with a one-line reason
// (exit 2 for arguments the tool cannot read, found before anything is sent; 4 for an error the kit
// reported, "error N for command C: ...", or an answer that did not come). A set form reads the record
// first, changes what was given, writes it and prints what the bracelet reads back.

/// What `halvora vital user set` changes (absent: kept as the bracelet holds it).
struct VitalUserOptions {
    std::optional<int> sex;     ///< the kit's sex value
    std::optional<int> age;     ///< years
    std::optional<int> height;  ///< cm
    std::optional<int> weight;  ///< kg
    std::optional<int> extra;   ///< the record's further byte
};

/// What `halvora vital activity set` changes (absent: kept).
struct VitalActivityOptions {
    std::optional<std::string> window;  ///< "HH:MM-HH:MM"
    std::optional<std::string> days;    ///< a day list
    std::optional<int> period;          ///< minutes between reminders
    std::optional<int> steps;           ///< steps below which it reminds
    std::optional<std::string> motion;  ///< on or off
};

/// What `halvora vital detection TYPE set` changes (absent: kept).
struct VitalDetectionOptions {
    std::optional<int> mode;            ///< 0 off, 1 within the window, 2 at an interval
    std::optional<std::string> window;  ///< "HH:MM-HH:MM"
    std::optional<std::string> days;    ///< a day list
    std::optional<int> interval;        ///< minutes, mode 2
};

/// The sport mode's start values.
struct VitalSportOptions {
    int mode = 0;     ///< the sport
    int level = -1;   ///< the level (sent for sport 6 only)
    int period = -1;  ///< the time period
};

/// The quantities of the automatic measurement by name ("heart-rate" 0, "oxygen" 1, "temperature" 2).
int detectionType(const std::string& name);
/// Applies parameter settings (keys brightness, dial, base, language, km, 24h, wrist, celsius, night, ancs)
/// to `parameters`; throws CliError(ExitBadArguments) for a value that does not read.
void applyParameterSettings(HalvoraSDKVitalParams& parameters, const std::vector<VitalSettingPair>& settings);

/// The bracelet's clock, battery level and parameters, read on a connected bracelet.
Date readVitalTime(VitalSession& bracelet);
int readVitalBattery(VitalSession& bracelet);
HalvoraSDKVitalParams readVitalParameters(VitalSession& bracelet);

int runVitalTime(Session& session, double timeout);
int runVitalGoal(Session& session, double timeout);
int runVitalUser(Session& session, double timeout);
int runVitalUserSet(Session& session, const VitalUserOptions& options, double timeout);
int runVitalParams(Session& session, double timeout);
int runVitalActivity(Session& session, double timeout);
int runVitalActivitySet(Session& session, const VitalActivityOptions& options, double timeout);
int runVitalDetection(Session& session, const std::string& type, double timeout);
int runVitalDetectionSet(Session& session, const std::string& type, const VitalDetectionOptions& options,
                         double timeout);
int runVitalAlarmsSet(Session& session, const std::vector<std::string>& alarms, double timeout);
int runVitalWeatherSet(Session& session, const HalvoraSDKVitalWeather& weather, double timeout);
int runVitalBattery(Session& session, double timeout);
int runVitalMac(Session& session, double timeout);
int runVitalQR(Session& session, bool show, double timeout);
int runVitalSport(Session& session, bool start, const VitalSportOptions& options, double timeout);
int runVitalMeasure(Session& session, bool start, int quantity, double timeout);
/// Several settings in one connection (time, goal and parameters), each read back and printed.
int runVitalSettings(Session& session, const std::vector<VitalSettingPair>& settings, double timeout);

}  // namespace halvora::cli
