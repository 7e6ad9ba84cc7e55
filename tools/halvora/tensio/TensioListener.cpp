#include "TensioListener.hpp"

#include <cstddef>

namespace halvora::cli {

namespace {

template <typename T>
std::vector<T> tail(const std::vector<T>& list, std::size_t from) {
    if (from >= list.size()) return {};
    return {list.begin() + static_cast<std::ptrdiff_t>(from), list.end()};
}

}  // namespace

void TensioListener::tensioBraceletOnProgressMeasurement(std::int32_t value) {
    std::function<void(std::int32_t)> watcher;
    {
        std::lock_guard lock(mutex_);
        pressures_.push_back(value);
        watcher = pressureWatcher_;
    }
    // Called without the lock: the watcher prints, and may be slow.
    if (watcher) watcher(value);
}

void TensioListener::tensioBraceletOnResult(const HalvoraSDKTensioBraceletData& data) {
    std::lock_guard lock(mutex_);
    results_.push_back(data);
}

void TensioListener::tensioBraceletInformation(const TensioBraceletInformation& information) {
    std::lock_guard lock(mutex_);
    information_.push_back(information);
}

void TensioListener::tensioBraceletRequestExecuted(std::int32_t request) {
    std::lock_guard lock(mutex_);
    executed_.push_back(request);
}

void TensioListener::setPressureWatcher(std::function<void(std::int32_t)> watcher) {
    std::lock_guard lock(mutex_);
    pressureWatcher_ = std::move(watcher);
}

TensioListener::Mark TensioListener::mark() const {
    std::lock_guard lock(mutex_);
    return {pressures_.size(), results_.size(), information_.size(), executed_.size()};
}

std::vector<std::int32_t> TensioListener::pressuresSince(const Mark& since) const {
    std::lock_guard lock(mutex_);
    return tail(pressures_, since.pressures);
}

std::vector<HalvoraSDKTensioBraceletData> TensioListener::resultsSince(const Mark& since) const {
    std::lock_guard lock(mutex_);
    return tail(results_, since.results);
}

std::vector<TensioBraceletInformation> TensioListener::informationSince(const Mark& since) const {
    std::lock_guard lock(mutex_);
    return tail(information_, since.information);
}

std::vector<std::int32_t> TensioListener::executedSince(const Mark& since) const {
    std::lock_guard lock(mutex_);
    return tail(executed_, since.executed);
}

}  // namespace halvora::cli
