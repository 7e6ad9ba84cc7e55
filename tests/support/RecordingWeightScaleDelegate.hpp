#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "halvora/Devices/Measurement/HalvoraWeightScaleDelegate.hpp"

namespace halvora::test {

/// A weight-scale application delegate that keeps every callback in order ("type 1", "weighing",
/// "result") and the records of the two result callbacks.
class RecordingWeightScaleDelegate : public HalvoraWeightScaleDelegate {
public:
    void weightscaleOnTypeDetected(std::int32_t type) override { add("type " + std::to_string(type), nullptr, {}); }
    void weightscaleOnMeasurementResult(const HalvoraSDKWeightScaleData& data) override {
        add("weighing", &weighings_, data);
    }
    void weightscaleOnResult(const HalvoraSDKWeightScaleData& data) override { add("result", &results_, data); }

    std::vector<std::string> events() const { return locked(events_); }
    std::vector<HalvoraSDKWeightScaleData> weighings() const { return locked(weighings_); }
    std::vector<HalvoraSDKWeightScaleData> results() const { return locked(results_); }
    std::size_t count(const std::string& event) const {
        std::size_t n = 0;
        for (const auto& e : events()) n += e == event ? 1 : 0;
        return n;
    }
    void clear() {
        std::lock_guard lock(mutex_);
        events_.clear();
        weighings_.clear();
        results_.clear();
    }

private:
    void add(std::string event, std::vector<HalvoraSDKWeightScaleData>* records,
             const HalvoraSDKWeightScaleData& data) {
        std::lock_guard lock(mutex_);
        events_.push_back(std::move(event));
        if (records) records->push_back(data);
    }
    template <typename T>
    T locked(const T& value) const {
        std::lock_guard lock(mutex_);
        return value;
    }

    mutable std::mutex mutex_;
    std::vector<std::string> events_;
    std::vector<HalvoraSDKWeightScaleData> weighings_;
    std::vector<HalvoraSDKWeightScaleData> results_;
};

}  // namespace halvora::test
