#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "halvora/Core/Date.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKWeightScaleData.hpp"
#include "halvora/Records/HalvoraSDKHeartData.hpp"

namespace halvora::cli {

/// A date in ISO 8601 (UTC, "2026-01-01T00:00:04Z"), or null.
nlohmann::json isoDate(const std::optional<Date>& date);
/// An optional value, or null.
template <typename T>
nlohmann::json optionalJson(const std::optional<T>& value) {
    return value ? nlohmann::json(*value) : nlohmann::json(nullptr);
}
/// A figure: a number, or "NaN", "Infinity" or "-Infinity" where the formulas give no finite value (a
/// stored height of 0), since JSON has no such numbers.
nlohmann::json figure(const std::optional<double>& value);
/// A weight-scale record with its field names as keys (absent fields are left out).
nlohmann::json toJson(const HalvoraSDKWeightScaleData& data);
/// A blood-pressure record with its field names as keys.
nlohmann::json toJson(const HalvoraSDKHeartData& data);

}  // namespace halvora::cli

namespace halvora::cli {

/// The weight-scale record's figures, in the record's order, with their field names.
std::vector<std::pair<std::string, std::optional<double>>> weightFigures(const HalvoraSDKWeightScaleData& data);

}  // namespace halvora::cli
