#include "halvora/Devices/RM830/internal/RM830HeartRateDownload.hpp"

#include <limits>

namespace halvora {

void RM830HeartRateDownload::request(std::int32_t packet) {
    if (packet == 0) {
        readings_.clear();
        packets_ = 0;
    }
    currentPacket_ = packet;
}

void RM830HeartRateDownload::append(const std::vector<HalvoraSDKHeartBeatData>& readings) {
    if (isFull()) return;
    readings_.insert(readings_.end(), readings.begin(), readings.end());
    ++packets_;
}

std::int32_t RM830HeartRateDownload::nextPacket() const {
    return currentPacket_ == std::numeric_limits<std::int32_t>::max() ? currentPacket_ : currentPacket_ + 1;
}

}  // namespace halvora
