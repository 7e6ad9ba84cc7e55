#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

#include "halvora/Devices/RM830/HalvoraBraceletRM830Delegate.hpp"

namespace halvora::cli {

/// The tool's delegate for the RM830 bracelet: it keeps what the bracelet reported so that the rm830
/// commands can wait for it. Callbacks arrive on the kit's callback queue; everything is guarded.
class RM830Listener : public HalvoraBraceletRM830Delegate {
public:
    void braceletCurrentStepsReceived(const HalvoraSDKStepData& data) override;
    void braceletSyncReceived(const HalvoraSDKBraceletData& data) override;
    void braceletRM830HRReceived(std::int32_t heartRate) override;
    void braceletRM830HRSyncReceived(const std::vector<HalvoraSDKHeartBeatData>& data) override;
    void operationFinished(bool success) override;

    std::optional<HalvoraSDKStepData> steps() const;
    /// History days delivered so far, in order.
    std::vector<HalvoraSDKBraceletData> syncs() const;
    /// Heart rates reported so far, in order.
    std::vector<std::int32_t> heartRates() const;
    /// Heart-rate histories delivered so far, in order.
    std::vector<std::vector<HalvoraSDKHeartBeatData>> heartHistories() const;
    /// Outcomes of the operations answered so far, in order.
    std::vector<bool> finished() const;

private:
    mutable std::mutex mutex_;
    std::optional<HalvoraSDKStepData> steps_;
    std::vector<HalvoraSDKBraceletData> syncs_;
    std::vector<std::int32_t> heartRates_;
    std::vector<std::vector<HalvoraSDKHeartBeatData>> heartHistories_;
    std::vector<bool> finished_;
};

}  // namespace halvora::cli
