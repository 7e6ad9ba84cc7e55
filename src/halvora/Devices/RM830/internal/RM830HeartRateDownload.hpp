#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "halvora/Records/HalvoraSDKHeartBeatData.hpp"

namespace halvora {

/// The heart-rate history being collected (the driver's `heartData` and `currentPacket`). A request for
/// packet 0 empties it. It holds the readings of at most kMaxPackets packets (packet numbers are one byte, so
/// a download from packet 0 has no more): the driver ends a download at the packet that fills it, and a full
/// list takes no more readings.
class RM830HeartRateDownload {
public:
    /// The most packets whose readings are kept between two requests for packet 0.
    static constexpr std::size_t kMaxPackets = 256;

    /// A packet is asked for: packet 0 empties the list; the number becomes the current packet.
    void request(std::int32_t packet);
    /// Adds one packet's readings (nothing once full).
    void append(const std::vector<HalvoraSDKHeartBeatData>& readings);
    /// True once kMaxPackets packets were added since the list was last emptied.
    bool isFull() const { return packets_ >= kMaxPackets; }
    /// True when the next packet added fills the list.
    bool isLastThatFits() const { return packets_ + 1 >= kMaxPackets; }
    /// The packet last asked for.
    std::int32_t currentPacket() const { return currentPacket_; }
    /// The packet after the current one (the number stays at its largest value rather than overflow).
    std::int32_t nextPacket() const;
    /// The readings collected, in order.
    const std::vector<HalvoraSDKHeartBeatData>& readings() const { return readings_; }

private:
    std::vector<HalvoraSDKHeartBeatData> readings_;
    std::size_t packets_ = 0;
    std::int32_t currentPacket_ = 0;
};

}  // namespace halvora
