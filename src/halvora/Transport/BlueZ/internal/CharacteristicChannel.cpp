#include "halvora/Transport/BlueZ/internal/CharacteristicChannel.hpp"

#include <algorithm>

namespace halvora::bluez {

bool CharacteristicChannel::enqueue(Request request) {
    if (queue_.size() >= kMaxQueued) return false;
    queue_.push_back(std::move(request));
    return true;
}

std::optional<CharacteristicChannel::Request> CharacteristicChannel::next() {
    if (busy_ || queue_.empty()) return std::nullopt;
    busy_ = true;
    inFlight_ = std::move(queue_.front());
    queue_.pop_front();
    return inFlight_;
}

std::vector<CharacteristicChannel::Request> CharacteristicChannel::takeAll() {
    std::vector<Request> all;
    if (busy_ && inFlight_) all.push_back(std::move(*inFlight_));
    inFlight_.reset();
    busy_ = false;
    for (auto& request : queue_) all.push_back(std::move(request));
    queue_.clear();
    return all;
}

std::vector<std::vector<std::uint8_t>> CharacteristicChannel::valueArrived(std::vector<std::uint8_t> value) {
    std::vector<std::vector<std::uint8_t>> deliver;
    if (readPending_) {
        if (held_.size() >= kMaxHeld) {
            if (wantsValues()) deliver.push_back(std::move(held_.front()));
            held_.erase(held_.begin());
        }
        held_.push_back(std::move(value));
        return deliver;
    }
    if (wantsValues()) deliver.push_back(std::move(value));
    return deliver;
}

void CharacteristicChannel::readStarted() {
    readPending_ = true;
    held_.clear();
}

std::vector<std::vector<std::uint8_t>> CharacteristicChannel::readEnded(const std::vector<std::uint8_t>* value) {
    readPending_ = false;
    std::vector<std::vector<std::uint8_t>> held;
    held.swap(held_);
    if (value != nullptr) {
        // bluetoothd sets Value just before it answers: the last equal value is the read's own.
        const auto echo = std::find(held.rbegin(), held.rend(), *value);
        if (echo != held.rend()) held.erase(std::next(echo).base());
    }
    if (!wantsValues()) held.clear();
    return held;
}

}  // namespace halvora::bluez
