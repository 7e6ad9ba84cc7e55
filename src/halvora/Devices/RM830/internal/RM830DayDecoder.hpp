#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "halvora/Core/Date.hpp"
#include "halvora/Records/HalvoraSDKBraceletData.hpp"

namespace halvora {

/// Decodes a history day of the RM830 bracelet: 96 frames, one per quarter hour, each
/// 43 F0 <BCD yy> <BCD MM> <BCD dd> <quarter-hour index 0..95> <kind> <8 data bytes>.
///
/// Kind 0xFF is a sleep quarter hour (deep when the data bytes add up to more than 31); kind 0x00 an activity
/// quarter hour (little-endian 16-bit calories in hundredths, steps, distance in hundredths, then two unused
/// bytes), kept only with steps; any other kind is skipped. Dates are local civil time through `Calendar`;
/// fields out of range roll over as the calendar does.
class RM830DayDecoder {
public:
    RM830DayDecoder() = delete;

    /// Bytes a day frame needs (through byte 14).
    static constexpr std::size_t kFrameLength = 15;
    /// Minutes in one frame's slot.
    static constexpr std::int32_t kQuarterHour = 15;
    /// Kind byte of a sleep frame.
    static constexpr std::uint8_t kSleepKind = 0xFF;
    /// Kind byte of an activity frame.
    static constexpr std::uint8_t kActivityKind = 0x00;
    /// A sleep quarter hour is deep when its data bytes add up to more than this.
    static constexpr std::int32_t kDeepSleepThreshold = 31;

    /// The records of the frames, in arrival order; nothing when no frame gave a record. Frames shorter than
    /// kFrameLength are skipped.
    static std::optional<HalvoraSDKBraceletData> decode(const std::vector<std::vector<std::uint8_t>>& frames);
    /// The start of a frame's quarter hour: 2000 + yy, MM, dd, index / 4 hours, (index x 15) mod 60 minutes,
    /// in local time. The frame must hold kFrameLength bytes.
    static Date quarterHourDate(std::span<const std::uint8_t> frame);
};

}  // namespace halvora
