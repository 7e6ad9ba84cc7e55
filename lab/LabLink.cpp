#include "lab/LabLink.hpp"

#include <algorithm>

#include "lab/SimulatedPeripheral.hpp"

namespace halvora::lab {

LabLink::LabLink(std::weak_ptr<VirtualPeripheral> device, std::weak_ptr<SimulatedPeripheral> peripheral,
                 std::optional<std::string> restoreIdentifier, MonotonicTime start)
    : device_(std::move(device)),
      start_(start),
      peripheral_(std::move(peripheral)),
      restoreIdentifier_(std::move(restoreIdentifier)) {}

std::shared_ptr<VirtualPeripheral> LabLink::device() const {
    return device_.lock();
}

std::shared_ptr<SimulatedPeripheral> LabLink::peripheral() const {
    std::lock_guard lock(mutex_);
    return peripheral_.lock();
}

std::optional<std::string> LabLink::restoreIdentifier() const {
    std::lock_guard lock(mutex_);
    return restoreIdentifier_;
}

bool LabLink::hasLiveCentral() const {
    auto peripheral = this->peripheral();
    return peripheral && peripheral->central() != nullptr;
}

void LabLink::rebind(std::weak_ptr<SimulatedPeripheral> peripheral, std::optional<std::string> restoreIdentifier) {
    std::lock_guard lock(mutex_);
    peripheral_ = std::move(peripheral);
    restoreIdentifier_ = std::move(restoreIdentifier);
}

bool LabLink::isNotifying(const BLEUUID& characteristic) const {
    std::lock_guard lock(mutex_);
    return notifying_.count(characteristic) != 0;
}

void LabLink::setNotifying(const BLEUUID& characteristic, bool enabled) {
    std::lock_guard lock(mutex_);
    if (enabled) {
        notifying_.insert(characteristic);
    } else {
        notifying_.erase(characteristic);
    }
}

MonotonicTime LabLink::bookWrite(const LinkModel& model, MonotonicTime now) {
    const LinkModel normal = model.normalized();
    std::lock_guard lock(mutex_);
    std::int64_t event = std::max(normal.eventAfter(start_, now), writeEvent_);
    if (event == writeEvent_ && writesInEvent_ >= normal.packetsPerEvent) ++event;
    if (event != writeEvent_) {
        writeEvent_ = event;
        writesInEvent_ = 0;
    }
    ++writesInEvent_;
    return normal.eventTime(start_, event);
}

void LabLink::setEndTimer(std::shared_ptr<TimerHandle> timer) {
    std::lock_guard lock(mutex_);
    endTimer_ = std::move(timer);
}

void LabLink::cancelEndTimer() {
    std::shared_ptr<TimerHandle> timer;
    {
        std::lock_guard lock(mutex_);
        timer = std::move(endTimer_);
    }
    if (timer) timer->invalidate();
}

}  // namespace halvora::lab
