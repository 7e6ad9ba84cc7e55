#include "support/RecordingDeviceDelegate.hpp"

#include <algorithm>
#include <type_traits>

namespace halvora::test {

std::string resultText(const HalvoraSDKHeartData& data) {
    auto text = [](const std::optional<std::int32_t>& v) { return v ? std::to_string(*v) : std::string("-"); };
    return text(data.systolic) + "/" + text(data.diastolic) + "/" + text(data.pulse);
}

void RecordingDeviceDelegate::deviceOnDataReceived(const std::shared_ptr<BLEDevice>&, const DeviceData& data) {
    std::visit(
        [this](const auto& value) {
            using T = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<T, std::int32_t>) {
                add("data " + std::to_string(value));
            } else if constexpr (std::is_same_v<T, HalvoraSDKHeartData>) {
                add("result " + resultText(value));
            }
        },
        data);
}

void RecordingDeviceDelegate::deviceOnErrorReceived(const std::shared_ptr<BLEDevice>&, const DeviceError& error) {
    if (std::holds_alternative<std::int32_t>(error)) {
        add("error " + std::to_string(std::get<std::int32_t>(error)));
    } else if (std::holds_alternative<std::string>(error)) {
        add("error text " + std::get<std::string>(error));
    } else {
        add("error absent");
    }
}

void RecordingDeviceDelegate::deviceOnBatteryLevelReceived(const std::shared_ptr<BLEDevice>&, std::int32_t level) {
    add("battery " + std::to_string(level));
}

std::vector<std::string> RecordingDeviceDelegate::events() const {
    std::lock_guard lock(mutex_);
    return events_;
}

std::size_t RecordingDeviceDelegate::count(const std::string& event) const {
    std::lock_guard lock(mutex_);
    return static_cast<std::size_t>(std::count(events_.begin(), events_.end(), event));
}

void RecordingDeviceDelegate::clear() {
    std::lock_guard lock(mutex_);
    events_.clear();
}

void RecordingDeviceDelegate::add(std::string event) {
    std::lock_guard lock(mutex_);
    events_.push_back(std::move(event));
}

}  // namespace halvora::test
