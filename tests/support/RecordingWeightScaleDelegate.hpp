#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "halvora/Devices/Measurement/HalvoraWeightScaleDelegate.hpp"

namespace halvora::test {

/// A weight-scale application delegate that records every callback, in order, as "type 1", "weighing" or
/// "result", and keeps the records of the two result callbacks.
class RecordingWeightScaleDelegate : public HalvoraWeightScaleDelegate {
public:
    void weightscaleOnTypeDetected(std::int32_t type) override;
    void weightscaleOnMeasurementResult(const HalvoraSDKWeightScaleData& data) override;
    void weightscaleOnResult(const HalvoraSDKWeightScaleData& data) override;

    std::vector<std::string> events() const;
    std::size_t count(const std::string& event) const;
    /// The records of weightscaleOnMeasurementResult, in order.
    std::vector<HalvoraSDKWeightScaleData> weighings() const;
    /// The records of weightscaleOnResult, in order.
    std::vector<HalvoraSDKWeightScaleData> results() const;
    void clear();

private:
    mutable std::mutex mutex_;
    std::vector<std::string> events_;
    std::vector<HalvoraSDKWeightScaleData> weighings_;
    std::vector<HalvoraSDKWeightScaleData> results_;
};

}  // namespace halvora::test
