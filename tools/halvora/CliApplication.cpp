#include "CliApplication.hpp"

namespace halvora::cli {

void CliApplication::bluetoothPoweredOn(bool poweredOn) {
    std::lock_guard lock(mutex_);
    poweredOn_ = poweredOn;
}

void CliApplication::heartDeviceOnProgressMeasurement(std::int32_t value) { notify(onProgress, value); }

void CliApplication::heartDeviceOnResult(const HalvoraSDKHeartData& data) {
    std::lock_guard lock(mutex_);
    if (!heartResult_) heartResult_ = data;
}

void CliApplication::deviceOnConnectionChanged(DeviceKind kind, std::int32_t status) {
    {
        std::lock_guard lock(mutex_);
        status_[kind] = status;
        if (status == ConnectionStatusSearching) searched_[kind] = true;
    }
    notify(onStatus, kind, status);
}

void CliApplication::deviceOnBatteryLevelReceived(DeviceKind kind, std::int32_t level) {
    std::lock_guard lock(mutex_);
    battery_[kind] = level;
}

void CliApplication::allDevicesDetected(const ScanResult& devices) { notify(onScan, devices); }

void CliApplication::weightscaleOnMeasurementResult(const HalvoraSDKWeightScaleData& data) { notify(onWeighing, data); }

void CliApplication::weightscaleOnResult(const HalvoraSDKWeightScaleData& data) {
    std::lock_guard lock(mutex_);
    if (!weightResult_) weightResult_ = data;
}

std::optional<HalvoraSDKWeightScaleData> CliApplication::weightResult() const {
    std::lock_guard lock(mutex_);
    return weightResult_;
}

std::optional<bool> CliApplication::poweredOn() const {
    std::lock_guard lock(mutex_);
    return poweredOn_;
}

std::optional<std::int32_t> CliApplication::status(DeviceKind kind) const {
    std::lock_guard lock(mutex_);
    auto it = status_.find(kind);
    if (it == status_.end()) return std::nullopt;
    return it->second;
}

bool CliApplication::wasSearching(DeviceKind kind) const {
    std::lock_guard lock(mutex_);
    return searched_.count(kind) != 0;
}

std::optional<HalvoraSDKHeartData> CliApplication::heartResult() const {
    std::lock_guard lock(mutex_);
    return heartResult_;
}

std::optional<std::int32_t> CliApplication::battery(DeviceKind kind) const {
    std::lock_guard lock(mutex_);
    auto it = battery_.find(kind);
    if (it == battery_.end()) return std::nullopt;
    return it->second;
}

void CliApplication::clearResults() {
    std::lock_guard lock(mutex_);
    heartResult_.reset();
    weightResult_.reset();
    battery_.clear();
}

}  // namespace halvora::cli
