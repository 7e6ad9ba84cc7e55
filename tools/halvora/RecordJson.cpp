#include "RecordJson.hpp"

#include <cmath>
#include <ctime>

namespace halvora::cli {

nlohmann::json isoDate(const std::optional<Date>& date) {
    if (!date) return nullptr;
    const std::time_t t = std::chrono::system_clock::to_time_t(*date);
    std::tm utc{};
    gmtime_r(&t, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return std::string(text);
}

nlohmann::json figure(const std::optional<double>& value) {
    if (!value) return nullptr;
    if (std::isnan(*value)) return "NaN";
    if (std::isinf(*value)) return *value > 0 ? "Infinity" : "-Infinity";
    return *value;
}

nlohmann::json toJson(const HalvoraSDKWeightScaleData& data) {
    nlohmann::json out = nlohmann::json::object();
    for (const auto& [name, value] : weightFigures(data)) {
        if (value) out[name] = figure(value);
    }
    if (data.unit) out["unit"] = *data.unit;
    return out;
}

nlohmann::json toJson(const HalvoraSDKHeartData& data) {
    return {{"date", isoDate(data.date)},
            {"errorCode", optionalJson(data.errorCode)},
            {"systolic", optionalJson(data.systolic)},
            {"diastolic", optionalJson(data.diastolic)},
            {"pulse", optionalJson(data.pulse)}};
}

}  // namespace halvora::cli

namespace halvora::cli {

std::vector<std::pair<std::string, std::optional<double>>> weightFigures(const HalvoraSDKWeightScaleData& d) {
    return {{"weight", d.weight},
            {"imc", d.imc},
            {"fatPercentage", d.fatPercentage},
            {"fatRawValue", d.fatRawValue},
            {"waterPercentage", d.waterPercentage},
            {"waterRawValue", d.waterRawValue},
            {"musclePercentage", d.musclePercentage},
            {"muscleRawValue", d.muscleRawValue},
            {"visceralPercentage", d.visceralPercentage},
            {"visceralRawValue", d.visceralRawValue},
            {"bonePercentage", d.bonePercentage},
            {"boneRawValue", d.boneRawValue},
            {"bmr", d.bmr},
            {"proteinPercentage", d.proteinPercentage},
            {"idealWeight", d.idealWeight},
            {"obesityPercentage", d.obesityPercentage},
            {"bodyAge", d.bodyAge},
            {"bia", d.bia}};
}

}  // namespace halvora::cli
