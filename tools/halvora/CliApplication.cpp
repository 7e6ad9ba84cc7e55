#include "CliApplication.hpp"

namespace halvora::cli {

void CliApplication::bluetoothPoweredOn(bool poweredOn) {
    std::lock_guard lock(mutex_);
    poweredOn_ = poweredOn;
}

void CliApplication::heartDeviceOnProgressMeasurement(std::int32_t value) {
    notify(onProgress, value);
}

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

void CliApplication::deviceOnSendInformation(DeviceKind kind, const std::string& information) {
    std::lock_guard lock(mutex_);
    information_[kind].push_back(information);
}

std::vector<std::string> CliApplication::information(DeviceKind kind) const {
    std::lock_guard lock(mutex_);
    const auto found = information_.find(kind);
    return found == information_.end() ? std::vector<std::string>{} : found->second;
}

void CliApplication::allDevicesDetected(const ScanResult& devices) {
    notify(onScan, devices);
}

void CliApplication::weightscaleOnMeasurementResult(const HalvoraSDKWeightScaleData& data) {
    notify(onWeighing, data);
}

void CliApplication::weightscaleOnResult(const HalvoraSDKWeightScaleData& data) {
    std::lock_guard lock(mutex_);
    if (!weightResult_) weightResult_ = data;
}

void CliApplication::thermometerOnResult(const HalvoraSDKThermometerData& data) {
    std::lock_guard lock(mutex_);
    if (!thermometerResult_) thermometerResult_ = data;
}

void CliApplication::thermometerOnSuccessCommand(const HalvoraSDKThermometerSuccessData& data) {
    {
        std::lock_guard lock(mutex_);
        thermometerAck_ = data;
    }
    notify(onThermometerEvent, std::string("ack"),
           nlohmann::json{{"command", data.command ? nlohmann::json(*data.command) : nlohmann::json(nullptr)},
                          {"data", data.data ? nlohmann::json(*data.data) : nlohmann::json(nullptr)}});
}

void CliApplication::thermometerOnError(std::int32_t error) {
    {
        std::lock_guard lock(mutex_);
        thermometerError_ = error;
    }
    notify(onThermometerEvent, std::string("error"), nlohmann::json{{"error", error}});
}

void CliApplication::oximeterDeviceOnResult(const HalvoraSDKOximeterData& data) {
    {
        std::lock_guard lock(mutex_);
        oximeterResult_ = data;
    }
    notify(onOximeter, data);
}

void CliApplication::oximeterDeviceOnProgressMeasurement(const HalvoraSDKOximeterData& data) {
    {
        std::lock_guard lock(mutex_);
        ++oximeterSamples_;
    }
    notify(onOximeter, data);
}

void CliApplication::babyThermometerOnResult(const HalvoraSDKBabyThermometerData& data) {
    std::lock_guard lock(mutex_);
    if (!babyResult_) babyResult_ = data;
}

std::optional<HalvoraSDKThermometerData> CliApplication::thermometerResult() const {
    std::lock_guard lock(mutex_);
    return thermometerResult_;
}

std::optional<HalvoraSDKOximeterData> CliApplication::oximeterResult() const {
    std::lock_guard lock(mutex_);
    return oximeterResult_;
}

std::size_t CliApplication::oximeterSamples() const {
    std::lock_guard lock(mutex_);
    return oximeterSamples_;
}

std::optional<HalvoraSDKBabyThermometerData> CliApplication::babyResult() const {
    std::lock_guard lock(mutex_);
    return babyResult_;
}

std::optional<std::int32_t> CliApplication::thermometerError() const {
    std::lock_guard lock(mutex_);
    return thermometerError_;
}

std::optional<HalvoraSDKThermometerSuccessData> CliApplication::thermometerAck() const {
    std::lock_guard lock(mutex_);
    return thermometerAck_;
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

void CliApplication::forgetConnection(DeviceKind kind) {
    std::lock_guard lock(mutex_);
    status_.erase(kind);
    searched_.erase(kind);
    information_.erase(kind);
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
    thermometerResult_.reset();
    oximeterResult_.reset();
    oximeterSamples_ = 0;
    babyResult_.reset();
    thermometerError_.reset();
    thermometerAck_.reset();
    battery_.clear();
}

}  // namespace halvora::cli
