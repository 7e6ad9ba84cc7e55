#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "halvora/Devices/Vital/HalvoraSDKDetailedSleepData.hpp"
#include "halvora/Devices/Vital/HalvoraSDKDetailedStepData.hpp"
#include "halvora/Devices/Vital/HalvoraSDKSportData.hpp"
#include "halvora/Devices/Vital/HalvoraSDKStepSummaryData.hpp"
#include "halvora/Devices/Vital/HalvoraSDKUser.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalActivityPeriod.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalHRVData.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalParams.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalPeriod.hpp"

namespace halvora::cli {

// The Vital bracelet's records as JSON (keys = the records' field names) and as one line of text.

/// The notification flags by name.
nlohmann::json toJson(const HalvoraSDKVitalNotification& notifications);
/// The device parameters by field name ("notifications" is null when the record has none).
nlohmann::json toJson(const HalvoraSDKVitalParams& parameters);
/// The wearer by field name ("birthDate" is null when absent).
nlohmann::json toJson(const HalvoraSDKUser& user);
/// The exercise reminder by field name, its window included.
nlohmann::json toJson(const HalvoraSDKVitalActivityPeriod& period);
/// The measurement schedule by field name, its window included.
nlohmann::json toJson(const HalvoraSDKVitalPeriod& period);

/// A day's totals by field name.
nlohmann::json toJson(const HalvoraSDKStepSummaryData& data);
/// A step interval by field name, its steps per minute as a list.
nlohmann::json toJson(const HalvoraSDKDetailedStepData& data);
/// A sleep segment by field name.
nlohmann::json toJson(const HalvoraSDKDetailedSleepData& data);
/// An HRV measurement by field name.
nlohmann::json toJson(const HalvoraSDKVitalHRVData& data);
/// A sport session by field name.
nlohmann::json toJson(const HalvoraSDKSportData& data);

/// "brightness 12, dial 3, heart-rate base 72, language 0, km, 24h, wrist sense, celsius, ..." (the flags on).
std::string parametersText(const HalvoraSDKVitalParams& parameters);
/// "sex 1, age 41, 180 cm, 77 kg, extra 0".
std::string userText(const HalvoraSDKUser& user);
/// "09:00-18:00 mon+tue, every 60 min under 100 steps, on".
std::string activityText(const HalvoraSDKVitalActivityPeriod& period);
/// "mode 2, 08:00-20:00 daily, every 30 min".
std::string detectionText(const HalvoraSDKVitalPeriod& period);

}  // namespace halvora::cli
