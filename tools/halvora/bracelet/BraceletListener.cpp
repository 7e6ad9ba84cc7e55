#include "BraceletListener.hpp"

namespace halvora::cli {

void BraceletListener::braceletCurrentStepsReceived(const HalvoraSDKStepData& data) {
    std::lock_guard lock(mutex_);
    steps_ = data;
}

void BraceletListener::braceletHeartDataReceived(const HalvoraSDKHeartBeatData& data) {
    std::lock_guard lock(mutex_);
    heartRates_.push_back(data);
}

void BraceletListener::braceletSyncReceived(const HalvoraSDKBraceletData& data) {
    std::lock_guard lock(mutex_);
    syncs_.push_back(data);
}

void BraceletListener::braceletActivityStarted() {
    std::lock_guard lock(mutex_);
    events_.emplace_back("started");
}

void BraceletListener::braceletActivityFinished() {
    std::lock_guard lock(mutex_);
    events_.emplace_back("finished");
}

void BraceletListener::braceletActivityStepsReceived(std::int32_t steps) {
    std::lock_guard lock(mutex_);
    events_.push_back("steps " + std::to_string(steps));
}

void BraceletListener::braceletBeepReceived() {
    std::lock_guard lock(mutex_);
    events_.emplace_back("beep");
}

void BraceletListener::braceletParameterSet(std::int32_t code) {
    std::lock_guard lock(mutex_);
    parameterCodes_.push_back(code);
}

void BraceletListener::braceletInfoReceived(const std::string& info) {
    std::lock_guard lock(mutex_);
    infos_.push_back(info);
}

void BraceletListener::braceletBatteryReceived(std::int32_t percent) {
    std::lock_guard lock(mutex_);
    battery_ = percent;
}

void BraceletListener::braceletSyncProgress(std::int32_t package, std::int32_t totalPackages) {
    ProgressWatcher watcher;
    {
        std::lock_guard lock(mutex_);
        watcher = progress_;
    }
    if (watcher) watcher(package, totalPackages);
}

void BraceletListener::setProgressWatcher(ProgressWatcher watcher) {
    std::lock_guard lock(mutex_);
    progress_ = std::move(watcher);
}

std::optional<HalvoraSDKStepData> BraceletListener::steps() const {
    std::lock_guard lock(mutex_);
    return steps_;
}

std::vector<HalvoraSDKHeartBeatData> BraceletListener::heartRates() const {
    std::lock_guard lock(mutex_);
    return heartRates_;
}

std::vector<HalvoraSDKBraceletData> BraceletListener::syncs() const {
    std::lock_guard lock(mutex_);
    return syncs_;
}

std::vector<std::int32_t> BraceletListener::parameterCodes() const {
    std::lock_guard lock(mutex_);
    return parameterCodes_;
}

std::vector<std::string> BraceletListener::infos() const {
    std::lock_guard lock(mutex_);
    return infos_;
}

std::optional<std::int32_t> BraceletListener::battery() const {
    std::lock_guard lock(mutex_);
    return battery_;
}

std::vector<std::string> BraceletListener::events() const {
    std::lock_guard lock(mutex_);
    return events_;
}

}  // namespace halvora::cli
