#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "Session.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKBabyThermometerData.hpp"
#include "halvora/Records/HalvoraSDKOximeterData.hpp"
#include "halvora/Records/HalvoraSDKThermometerData.hpp"

namespace halvora::cli {

// The thermometers, the pulse oximeter and the baby thermometer: waiting for their readings, and their
// records as JSON (field names as keys) and as text.

HalvoraSDKThermometerData waitForThermometer(Session& session, double timeout);
HalvoraSDKBabyThermometerData waitForBabyThermometer(Session& session, double timeout);
/// Waits for the oximeter's values; with `live`, values and a running pleth trace are printed.
HalvoraSDKOximeterData measureOximeter(Session& session, double seconds, bool live);

nlohmann::json toJson(const HalvoraSDKThermometerData& data);
nlohmann::json toJson(const HalvoraSDKOximeterData& data);
nlohmann::json toJson(const HalvoraSDKBabyThermometerData& data);
std::string thermometerText(const HalvoraSDKThermometerData& data);
std::string oximeterText(const HalvoraSDKOximeterData& data);
std::string babyThermometerText(const HalvoraSDKBabyThermometerData& data);

}  // namespace halvora::cli
