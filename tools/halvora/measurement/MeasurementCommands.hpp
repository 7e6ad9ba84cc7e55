#pragma once

#include <cstdint>

#include "Session.hpp"
#include "WeightScale.hpp"

namespace halvora::cli {

// The measurement devices' commands. Each prints through the session's printer and returns the exit
// status, or throws CliError with a one-line reason.

/// Connects a blood-pressure monitor, measures and prints the result.
int runMeasureBloodPressure(Session& session, double timeout);
/// Stores the user's body data, connects a weight scale and prints the live weights and the final figures.
int runMeasureScale(Session& session, const ScaleUser& user, double timeout);
/// Connects a thermometer and prints its first reading.
int runMeasureThermometer(Session& session, double timeout);
/// Connects the pulse oximeter and prints values and a running pleth trace for `seconds`.
int runMeasureOximeter(Session& session, double seconds, double timeout);
/// Connects the baby thermometer and prints its first reading.
int runMeasureBabyThermometer(Session& session, double timeout);
/// Connects a second-generation thermometer and sends it a command; prints the acknowledgement.
int runThermometerCommand(Session& session, std::int32_t command, double timeout);

}  // namespace halvora::cli
