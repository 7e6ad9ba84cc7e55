#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "halvora/Manager/HalvoraSDKManager.hpp"

namespace halvora::cli {

/// The tool's application delegate: it keeps what the kit reported (statuses, results, battery levels,
/// scan results) so that commands can wait for it, and lets a command watch events as they come.
/// Callbacks may arrive on any of the kit's queues; everything here is guarded.
class CliApplication : public HalvoraSDKManagerDelegate,
                       public HalvoraDeviceDelegate,
                       public HalvoraHeartDelegate,
                       public HalvoraSDKDevicesScanDelegate,
                       public HalvoraWeightScaleDelegate,
                       public HalvoraThermometerDelegate,
                       public HalvoraOximeterDelegate,
                       public HalvoraBabyThermometerDelegate {
public:
    /// Live watchers, called on the kit's queue (keep them short).
    std::function<void(DeviceKind, std::int32_t)> onStatus;
    std::function<void(std::int32_t)> onProgress;
    std::function<void(const ScanResult&)> onScan;
    std::function<void(const HalvoraSDKWeightScaleData&)> onWeighing;
    std::function<void(const HalvoraSDKOximeterData&)> onOximeter;  ///< values (result) and wave samples
    std::function<void(const std::string&, const nlohmann::json&)> onThermometerEvent;  ///< acks and errors

    void bluetoothPoweredOn(bool poweredOn) override;
    void heartDeviceOnProgressMeasurement(std::int32_t value) override;
    void heartDeviceOnResult(const HalvoraSDKHeartData& data) override;
    void deviceOnConnectionChanged(DeviceKind kind, std::int32_t status) override;
    void deviceOnBatteryLevelReceived(DeviceKind kind, std::int32_t level) override;
    void deviceOnSendInformation(DeviceKind kind, const std::string& information) override;
    void allDevicesDetected(const ScanResult& devices) override;
    void weightscaleOnMeasurementResult(const HalvoraSDKWeightScaleData& data) override;
    void weightscaleOnResult(const HalvoraSDKWeightScaleData& data) override;
    void thermometerOnResult(const HalvoraSDKThermometerData& data) override;
    void thermometerOnSuccessCommand(const HalvoraSDKThermometerSuccessData& data) override;
    void thermometerOnError(std::int32_t error) override;
    void oximeterDeviceOnResult(const HalvoraSDKOximeterData& data) override;
    void oximeterDeviceOnProgressMeasurement(const HalvoraSDKOximeterData& data) override;
    void babyThermometerOnResult(const HalvoraSDKBabyThermometerData& data) override;

    std::optional<bool> poweredOn() const;
    /// The latest status reported for a kind, if any.
    std::optional<std::int32_t> status(DeviceKind kind) const;
    /// Whether the kind was reported searching (status 0) at some point.
    /// Forgets the kind's status, whether it was searched for and what it reported (before a new connection
    /// of the kind).
    void forgetConnection(DeviceKind kind);
    bool wasSearching(DeviceKind kind) const;
    std::optional<HalvoraSDKHeartData> heartResult() const;
    std::optional<std::int32_t> battery(DeviceKind kind) const;
    /// The messages a device of that kind sent about itself (firmware version and check), in order.
    std::vector<std::string> information(DeviceKind kind) const;
    std::optional<HalvoraSDKWeightScaleData> weightResult() const;
    std::optional<HalvoraSDKThermometerData> thermometerResult() const;
    std::optional<HalvoraSDKOximeterData> oximeterResult() const;
    std::size_t oximeterSamples() const;
    std::optional<HalvoraSDKBabyThermometerData> babyResult() const;
    std::optional<std::int32_t> thermometerError() const;
    std::optional<HalvoraSDKThermometerSuccessData> thermometerAck() const;
    /// Forgets results and battery levels (statuses stay).
    void clearResults();

private:
    template <typename Watcher, typename... Args>
    void notify(const Watcher& watcher, Args... args) {
        if (watcher) watcher(args...);
    }

    mutable std::mutex mutex_;
    std::optional<bool> poweredOn_;
    std::map<DeviceKind, std::int32_t> status_;
    std::map<DeviceKind, bool> searched_;
    std::optional<HalvoraSDKHeartData> heartResult_;
    std::optional<HalvoraSDKWeightScaleData> weightResult_;
    std::optional<HalvoraSDKThermometerData> thermometerResult_;
    std::optional<HalvoraSDKOximeterData> oximeterResult_;
    std::size_t oximeterSamples_ = 0;
    std::optional<HalvoraSDKBabyThermometerData> babyResult_;
    std::optional<std::int32_t> thermometerError_;
    std::optional<HalvoraSDKThermometerSuccessData> thermometerAck_;
    std::map<DeviceKind, std::int32_t> battery_;
    std::map<DeviceKind, std::vector<std::string>> information_;
};

}  // namespace halvora::cli
