#pragma once

#include <array>
#include <cstdint>

#include "lab/Devices/Bracelet/BraceletTime.hpp"

namespace halvora::lab {

/// One stored heart-rate measurement: twelve readings, 10 seconds apart, from `start` on. Its answer carries
/// the start to the minute (its seconds are not sent).
struct RM830HeartPacket {
    /// Readings in one packet.
    static constexpr std::size_t kReadings = 12;
    /// Seconds between two readings.
    static constexpr int kReadingSeconds = 10;

    BraceletTime start;                              ///< the first reading's local wall-clock time
    std::array<std::uint8_t, kReadings> readings{};  ///< beats per minute

    /// Packets compare by every field.
    friend bool operator==(const RM830HeartPacket&, const RM830HeartPacket&) = default;
};

}  // namespace halvora::lab
