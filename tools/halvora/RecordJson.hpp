#pragma once

#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "halvora/Core/Date.hpp"
#include "halvora/Records/HalvoraSDKHeartData.hpp"

namespace halvora::cli {

/// A date in ISO 8601 (UTC, "2026-01-01T00:00:04Z"), or null.
nlohmann::json isoDate(const std::optional<Date>& date);
/// An optional value, or null.
template <typename T>
nlohmann::json optionalJson(const std::optional<T>& value) {
    return value ? nlohmann::json(*value) : nlohmann::json(nullptr);
}
/// A blood-pressure record with its field names as keys.
nlohmann::json toJson(const HalvoraSDKHeartData& data);

}  // namespace halvora::cli
