#include "RM830Listener.hpp"

namespace halvora::cli {

void RM830Listener::braceletCurrentStepsReceived(const HalvoraSDKStepData& data) {
    std::lock_guard lock(mutex_);
    steps_ = data;
}

void RM830Listener::braceletSyncReceived(const HalvoraSDKBraceletData& data) {
    std::lock_guard lock(mutex_);
    syncs_.push_back(data);
}

void RM830Listener::braceletRM830HRReceived(std::int32_t heartRate) {
    std::lock_guard lock(mutex_);
    heartRates_.push_back(heartRate);
}

void RM830Listener::braceletRM830HRSyncReceived(const std::vector<HalvoraSDKHeartBeatData>& data) {
    std::lock_guard lock(mutex_);
    heartHistories_.push_back(data);
}

void RM830Listener::operationFinished(bool success) {
    std::lock_guard lock(mutex_);
    finished_.push_back(success);
}

std::optional<HalvoraSDKStepData> RM830Listener::steps() const {
    std::lock_guard lock(mutex_);
    return steps_;
}

std::vector<HalvoraSDKBraceletData> RM830Listener::syncs() const {
    std::lock_guard lock(mutex_);
    return syncs_;
}

std::vector<std::int32_t> RM830Listener::heartRates() const {
    std::lock_guard lock(mutex_);
    return heartRates_;
}

std::vector<std::vector<HalvoraSDKHeartBeatData>> RM830Listener::heartHistories() const {
    std::lock_guard lock(mutex_);
    return heartHistories_;
}

std::vector<bool> RM830Listener::finished() const {
    std::lock_guard lock(mutex_);
    return finished_;
}

}  // namespace halvora::cli
