#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "halvora/Manager/HalvoraSDKManager.hpp"
#include "halvora/Runtime/Executor.hpp"

namespace halvora::test {

/// An application that records every general callback it receives, as short texts with the virtual time
/// in milliseconds: "1000 status 0 -> 0", "4130 status 0 -> 2", "power on", "progress 120",
/// "result 120/80/72", "error result -6", "battery 0 87", "info 6 Version :54.51.56.1", "scan {...}".
class RecordingApplication : public HalvoraSDKManagerDelegate,
                             public HalvoraDeviceDelegate,
                             public HalvoraHeartDelegate,
                             public HalvoraSDKDevicesScanDelegate {
public:
    explicit RecordingApplication(std::shared_ptr<Executor> executor) : executor_(std::move(executor)) {}

    // HalvoraSDKManagerDelegate (the general delegate also gets the heart callbacks; recorded as "general ...")
    void bluetoothPoweredOn(bool poweredOn) override { add(poweredOn ? "power on" : "power off"); }
    void heartDeviceOnConnectionChanged(std::int32_t status) override;
    void heartDeviceOnProgressMeasurement(std::int32_t value) override;
    void heartDeviceOnResult(const HalvoraSDKHeartData& data) override;
    // HalvoraDeviceDelegate
    void deviceOnConnectionChanged(DeviceKind kind, std::int32_t status) override;
    void deviceOnBatteryLevelReceived(DeviceKind kind, std::int32_t level) override;
    void deviceOnSendInformation(DeviceKind kind, const std::string& information) override;
    // HalvoraSDKDevicesScanDelegate
    void allDevicesDetected(const ScanResult& devices) override;

    /// Every event (without times).
    std::vector<std::string> events() const;
    /// Events starting with `prefix`.
    std::vector<std::string> eventsStartingWith(const std::string& prefix) const;
    std::size_t count(const std::string& event) const;
    bool has(const std::string& event) const { return count(event) > 0; }
    /// The virtual time (ms since the executor started) of the first occurrence of `event`, or -1.
    long long timeOf(const std::string& event) const;
    /// The last scan result received.
    ScanResult lastScan() const;
    std::vector<HalvoraSDKHeartData> results() const;
    void clear();

private:
    void add(const std::string& event);

    std::shared_ptr<Executor> executor_;
    MonotonicTime start_ = executor_->now();
    mutable std::mutex mutex_;
    std::vector<std::pair<long long, std::string>> events_;
    ScanResult lastScan_;
    std::vector<HalvoraSDKHeartData> results_;
};

}  // namespace halvora::test
