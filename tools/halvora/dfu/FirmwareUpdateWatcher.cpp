#include "dfu/FirmwareUpdateWatcher.hpp"

namespace halvora::cli {

void FirmwareUpdateWatcher::firmwareUpdateProgress(const FirmwareUpdateProgress& progress) {
    std::lock_guard lock(mutex_);
    progress_ = progress;
    ++reports_;
}

void FirmwareUpdateWatcher::firmwareUpdateFinished(const FirmwareUpdateOutcome& outcome) {
    std::lock_guard lock(mutex_);
    if (!outcome_) outcome_ = outcome;
}

std::optional<FirmwareUpdateProgress> FirmwareUpdateWatcher::progress() const {
    std::lock_guard lock(mutex_);
    return progress_;
}

std::uint64_t FirmwareUpdateWatcher::reports() const {
    std::lock_guard lock(mutex_);
    return reports_;
}

std::optional<FirmwareUpdateOutcome> FirmwareUpdateWatcher::outcome() const {
    std::lock_guard lock(mutex_);
    return outcome_;
}

}  // namespace halvora::cli
