#include "VitalListener.hpp"

namespace halvora::cli {

void VitalListener::braceletVitalDeviceInformation(const std::string&, const HalvoraSDKResponse& response) {
    std::lock_guard lock(mutex_);
    responses_.push_back(response);
}

void VitalListener::braceletVitalDeviceError(const std::string&, std::int32_t error, std::int32_t command) {
    std::lock_guard lock(mutex_);
    errors_.push_back({error, command});
}

VitalListener::Mark VitalListener::mark() const {
    std::lock_guard lock(mutex_);
    return {responses_.size(), errors_.size()};
}

std::optional<HalvoraSDKResponse> VitalListener::responseSince(const Mark& since, std::int32_t command) const {
    std::lock_guard lock(mutex_);
    for (std::size_t i = since.responses; i < responses_.size(); ++i) {
        if (responses_[i].command == command) return responses_[i];
    }
    return std::nullopt;
}

std::vector<HalvoraSDKResponse> VitalListener::responsesSince(const Mark& since, std::int32_t command) const {
    std::lock_guard lock(mutex_);
    std::vector<HalvoraSDKResponse> out;
    for (std::size_t i = since.responses; i < responses_.size(); ++i) {
        if (responses_[i].command == command) out.push_back(responses_[i]);
    }
    return out;
}

std::optional<VitalListener::Error> VitalListener::errorSince(const Mark& since, std::int32_t command) const {
    std::lock_guard lock(mutex_);
    for (std::size_t i = since.errors; i < errors_.size(); ++i) {
        if (errors_[i].command == command) return errors_[i];
    }
    return std::nullopt;
}

}  // namespace halvora::cli
