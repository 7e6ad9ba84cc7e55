#include "halvora/DFU/internal/DFUProcessState.hpp"

namespace halvora {

DFUProcessState& DFUProcessState::shared() {
    static DFUProcessState state;
    return state;
}

std::uint64_t DFUProcessState::newEngineNumber() {
    std::lock_guard lock(mutex_);
    return ++lastEngineNumber_;
}

bool DFUProcessState::claimSlot(std::uint64_t engine) {
    std::lock_guard lock(mutex_);
    if (slotHolder_ && *slotHolder_ != engine) return false;
    slotHolder_ = engine;
    return true;
}

void DFUProcessState::releaseSlot(std::uint64_t engine) {
    std::lock_guard lock(mutex_);
    if (slotHolder_ == engine) slotHolder_.reset();
}

bool DFUProcessState::holdsSlot(std::uint64_t engine) const {
    std::lock_guard lock(mutex_);
    return slotHolder_ == engine;
}

bool DFUProcessState::slotTaken() const {
    std::lock_guard lock(mutex_);
    return slotHolder_.has_value();
}

bool DFUProcessState::isPerformedOldDFU() const {
    std::lock_guard lock(mutex_);
    return performedOldDFU_;
}

void DFUProcessState::setPerformedOldDFU(bool value) {
    std::lock_guard lock(mutex_);
    performedOldDFU_ = value;
}

bool DFUProcessState::isStartingSecondFile() const {
    std::lock_guard lock(mutex_);
    return startingSecondFile_;
}

void DFUProcessState::setStartingSecondFile(bool value) {
    std::lock_guard lock(mutex_);
    startingSecondFile_ = value;
}

bool DFUProcessState::isVersionCharacteristicExist() const {
    std::lock_guard lock(mutex_);
    return versionCharacteristicExist_;
}

void DFUProcessState::setVersionCharacteristicExist(bool value) {
    std::lock_guard lock(mutex_);
    versionCharacteristicExist_ = value;
}

bool DFUProcessState::isOneFileForSDAndBL() const {
    std::lock_guard lock(mutex_);
    return oneFileForSDAndBL_;
}

void DFUProcessState::setOneFileForSDAndBL(bool value) {
    std::lock_guard lock(mutex_);
    oneFileForSDAndBL_ = value;
}

MonotonicTime DFUProcessState::startTime() const {
    std::lock_guard lock(mutex_);
    return startTime_;
}

void DFUProcessState::setStartTime(MonotonicTime time) {
    std::lock_guard lock(mutex_);
    startTime_ = time;
}

MonotonicTime DFUProcessState::finishTime() const {
    std::lock_guard lock(mutex_);
    return finishTime_;
}

void DFUProcessState::setFinishTime(MonotonicTime time) {
    std::lock_guard lock(mutex_);
    finishTime_ = time;
}

}  // namespace halvora
