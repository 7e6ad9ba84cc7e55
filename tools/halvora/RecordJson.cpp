#include "RecordJson.hpp"

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

nlohmann::json toJson(const HalvoraSDKHeartData& data) {
    return {{"date", isoDate(data.date)},
            {"errorCode", optionalJson(data.errorCode)},
            {"systolic", optionalJson(data.systolic)},
            {"diastolic", optionalJson(data.diastolic)},
            {"pulse", optionalJson(data.pulse)}};
}

}  // namespace halvora::cli
