#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "halvora/Devices/Bracelet/HalvoraBraceletDelegate.hpp"

namespace halvora::cli {

/// The tool's delegate for the text-command bracelet: it keeps what the bracelet reported so that the
/// bracelet commands can wait for it. Callbacks arrive on the kit's callback queue; everything is guarded.
class BraceletListener : public HalvoraBraceletDelegate {
public:
    /// A watcher of history packages (package n of N), called on the kit's queue.
    using ProgressWatcher = std::function<void(std::int32_t, std::int32_t)>;

    void braceletCurrentStepsReceived(const HalvoraSDKStepData& data) override;
    void braceletHeartDataReceived(const HalvoraSDKHeartBeatData& data) override;
    void braceletSyncReceived(const HalvoraSDKBraceletData& data) override;
    void braceletActivityStarted() override;
    void braceletActivityFinished() override;
    void braceletActivityStepsReceived(std::int32_t steps) override;
    void braceletBeepReceived() override;
    void braceletParameterSet(std::int32_t code) override;
    void braceletInfoReceived(const std::string& info) override;
    void braceletBatteryReceived(std::int32_t percent) override;
    void braceletSyncProgress(std::int32_t package, std::int32_t totalPackages) override;

    /// Sets (or clears) the progress watcher.
    void setProgressWatcher(ProgressWatcher watcher);

    std::optional<HalvoraSDKStepData> steps() const;
    std::vector<HalvoraSDKHeartBeatData> heartRates() const;
    /// The downloads delivered so far, in order.
    std::vector<HalvoraSDKBraceletData> syncs() const;
    /// Parameter codes confirmed so far, in order.
    std::vector<std::int32_t> parameterCodes() const;
    /// Informational texts, in order.
    std::vector<std::string> infos() const;
    std::optional<std::int32_t> battery() const;
    /// Notifications of activity: "started", "finished", "steps N", "beep".
    std::vector<std::string> events() const;

private:
    mutable std::mutex mutex_;
    std::optional<HalvoraSDKStepData> steps_;
    std::vector<HalvoraSDKHeartBeatData> heartRates_;
    std::vector<HalvoraSDKBraceletData> syncs_;
    std::vector<std::int32_t> parameterCodes_;
    std::vector<std::string> infos_;
    std::optional<std::int32_t> battery_;
    std::vector<std::string> events_;
    ProgressWatcher progress_;
};

}  // namespace halvora::cli
