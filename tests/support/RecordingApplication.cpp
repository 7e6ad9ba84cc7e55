#include "support/RecordingApplication.hpp"

#include <algorithm>

#include "support/RecordingDeviceDelegate.hpp"

namespace halvora::test {

void RecordingApplication::heartDeviceOnConnectionChanged(std::int32_t status) {
    add("heart status " + std::to_string(status));
}

void RecordingApplication::heartDeviceOnProgressMeasurement(std::int32_t value) {
    add("progress " + std::to_string(value));
}

void RecordingApplication::heartDeviceOnResult(const HalvoraSDKHeartData& data) {
    {
        std::lock_guard lock(mutex_);
        results_.push_back(data);
    }
    if (data.errorCode) {
        add("error result " + std::to_string(*data.errorCode));
    } else {
        add("result " + resultText(data));
    }
}

void RecordingApplication::deviceOnConnectionChanged(DeviceKind kind, std::int32_t status) {
    add("status " + std::to_string(kind) + " -> " + std::to_string(status));
}

void RecordingApplication::deviceOnBatteryLevelReceived(DeviceKind kind, std::int32_t level) {
    add("battery " + std::to_string(kind) + " " + std::to_string(level));
}

void RecordingApplication::deviceOnSendInformation(DeviceKind kind, const std::string& information) {
    add("info " + std::to_string(kind) + " " + information);
}

void RecordingApplication::allDevicesDetected(const ScanResult& devices) {
    std::string text = "scan";
    for (const auto& [kind, list] : devices) {
        text += " " + std::to_string(kind) + ":" + std::to_string(list.size());
    }
    {
        std::lock_guard lock(mutex_);
        lastScan_ = devices;
    }
    add(text);
}

std::vector<std::string> RecordingApplication::events() const {
    std::lock_guard lock(mutex_);
    std::vector<std::string> out;
    for (const auto& [time, event] : events_) out.push_back(event);
    return out;
}

std::vector<std::string> RecordingApplication::eventsStartingWith(const std::string& prefix) const {
    std::vector<std::string> out;
    for (const auto& event : events()) {
        if (event.rfind(prefix, 0) == 0) out.push_back(event);
    }
    return out;
}

std::size_t RecordingApplication::count(const std::string& event) const {
    auto all = events();
    return static_cast<std::size_t>(std::count(all.begin(), all.end(), event));
}

long long RecordingApplication::timeOf(const std::string& event) const {
    std::lock_guard lock(mutex_);
    for (const auto& [time, e] : events_) {
        if (e == event) return time;
    }
    return -1;
}

ScanResult RecordingApplication::lastScan() const {
    std::lock_guard lock(mutex_);
    return lastScan_;
}

std::vector<HalvoraSDKHeartData> RecordingApplication::results() const {
    std::lock_guard lock(mutex_);
    return results_;
}

void RecordingApplication::clear() {
    std::lock_guard lock(mutex_);
    events_.clear();
    results_.clear();
}

void RecordingApplication::add(const std::string& event) {
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(executor_->now() - start_).count();
    std::lock_guard lock(mutex_);
    events_.emplace_back(elapsed, event);
}

}  // namespace halvora::test
