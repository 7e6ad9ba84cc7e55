#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Session.hpp"
#include "TensioSession.hpp"
#include "halvora/Records/HalvoraSDKTensioBraceletData.hpp"

namespace halvora::cli {

// The wrist blood-pressure bracelet's commands. Each connects the bracelet, asks, waits for the answer and
// prints it through the session's printer; it returns the exit status, or throws CliError with a one-line
// reason (exit 2 for bad arguments, found before anything is sent; 4 for an error the bracelet reported,
// a refusal of the kit, or an answer that did not come).

/// What `halvora tensio config` sets (in one frame, so in one request).
struct TensioConfigOptions {
    int hand = 0;                           ///< the wrist, as the bracelet numbers it
    std::optional<std::string> ambulatory;  ///< "on" or "off"; absent: kept as the bracelet reports it
};

/// Measures with the connected bracelet and returns the result; with `live`, cuff pressures are printed as
/// they come. A measurement that fails or does not end in time is stopped, then reported with CliError.
HalvoraSDKTensioBraceletData measureWrist(TensioSession& bracelet, bool live);
/// Walks the connected bracelet's memory: its count, then one stored measurement per request, oldest first.
std::vector<HalvoraSDKTensioBraceletData> readMemory(TensioSession& bracelet);
/// "124/82 mmHg, pulse 72", with ", irregular heartbeat" when the bracelet flagged one.
std::string wristResultText(const HalvoraSDKTensioBraceletData& data);

int runMeasureWristBloodPressure(Session& session, double timeout);
int runTensioHistory(Session& session, const std::optional<std::string>& csvPath, double timeout);
int runTensioClear(Session& session, double timeout);
int runTensioTime(Session& session, double timeout);
int runTensioSetTime(Session& session, double timeout);
int runTensioInfo(Session& session, double timeout);
int runTensioConfig(Session& session, const TensioConfigOptions& options, double timeout);
int runTensioReset(Session& session, double timeout);
int runTensioAmbulatoryGet(Session& session, double timeout);
int runTensioAmbulatorySet(Session& session, const std::vector<std::string>& windows, double timeout);

}  // namespace halvora::cli
