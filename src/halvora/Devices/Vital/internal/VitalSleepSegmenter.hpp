#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "halvora/Devices/Vital/HalvoraSDKDetailedSleepData.hpp"

namespace halvora {

/// Cuts one Vital sleep notification into segments: byte 0 the code, bytes 1 and 2 the index, bytes 3 to 8
/// the BCD start, byte 9 a count the driver does not need, and from byte 11 one value per minute up to the
/// notification's end (0 no data, 1 deep, anything else light). Runs of the same class make one segment;
/// light and deep runs become records, no-data runs none. After a record is made, the next segment starts
/// at the notification's start plus that record's own length (not the time run so far): the bracelet's
/// sleep is read that way on purpose.
class VitalSleepSegmenter {
public:
    VitalSleepSegmenter() = delete;

    /// Bytes a notification needs for its start date.
    static constexpr std::size_t kHeaderLength = 9;
    /// Where the per-minute values start.
    static constexpr std::size_t kFirstMinute = 11;

    /// The segments of `reply`; none for a notification too short for its date or with an invalid date.
    static std::vector<HalvoraSDKDetailedSleepData> segments(std::span<const std::uint8_t> reply);
};

}  // namespace halvora
