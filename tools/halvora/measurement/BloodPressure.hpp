#pragma once

#include "Session.hpp"
#include "halvora/Records/HalvoraSDKHeartData.hpp"

namespace halvora::cli {

/// Measures with the connected blood-pressure monitor: starts it where the generation has a start command
/// (the second generation measures on its own) and waits for the result or the error record. With `live`,
/// cuff pressures are printed as they come. Throws CliError(ExitDeviceError) when nothing came in time.
HalvoraSDKHeartData measureBloodPressure(Session& session, double timeout, bool live);
/// "121/79 mmHg, pulse 68", or "error -6".
std::string bloodPressureText(const HalvoraSDKHeartData& data);

}  // namespace halvora::cli
