#include "support/RecordingWeightScaleDelegate.hpp"

#include <algorithm>

namespace halvora::test {

void RecordingWeightScaleDelegate::weightscaleOnTypeDetected(std::int32_t type) {
    std::lock_guard lock(mutex_);
    events_.push_back("type " + std::to_string(type));
}

void RecordingWeightScaleDelegate::weightscaleOnMeasurementResult(const HalvoraSDKWeightScaleData& data) {
    std::lock_guard lock(mutex_);
    events_.emplace_back("weighing");
    weighings_.push_back(data);
}

void RecordingWeightScaleDelegate::weightscaleOnResult(const HalvoraSDKWeightScaleData& data) {
    std::lock_guard lock(mutex_);
    events_.emplace_back("result");
    results_.push_back(data);
}

std::vector<std::string> RecordingWeightScaleDelegate::events() const {
    std::lock_guard lock(mutex_);
    return events_;
}

std::size_t RecordingWeightScaleDelegate::count(const std::string& event) const {
    std::lock_guard lock(mutex_);
    return static_cast<std::size_t>(std::count(events_.begin(), events_.end(), event));
}

std::vector<HalvoraSDKWeightScaleData> RecordingWeightScaleDelegate::weighings() const {
    std::lock_guard lock(mutex_);
    return weighings_;
}

std::vector<HalvoraSDKWeightScaleData> RecordingWeightScaleDelegate::results() const {
    std::lock_guard lock(mutex_);
    return results_;
}

void RecordingWeightScaleDelegate::clear() {
    std::lock_guard lock(mutex_);
    events_.clear();
    weighings_.clear();
    results_.clear();
}

}  // namespace halvora::test
