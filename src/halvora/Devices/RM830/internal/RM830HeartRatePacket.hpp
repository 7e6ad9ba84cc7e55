#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "halvora/Core/Date.hpp"
#include "halvora/Records/HalvoraSDKHeartBeatData.hpp"

namespace halvora {

/// One packet of the RM830 bracelet's heart-rate history (answer 0x2F):
/// 2F <marker> <BCD yy> <BCD MM> <BCD dd> <BCD HH> <BCD mm> <12 heart rates>, the readings 10 seconds apart
/// from the packet's start.
///
/// The start is read as the text "ddMMyyHHmm" made of the five BCD bytes' digits, in local time through
/// `Calendar`. A two-digit year below 50 is 20yy, any other 19yy. A byte that is not two decimal digits, or a
/// day, month, hour or minute out of range, gives no start: the readings then carry no date.
class RM830HeartRatePacket {
public:
    RM830HeartRatePacket() = delete;

    /// Bytes a packet needs (through the twelfth reading, byte 18).
    static constexpr std::size_t kLength = 19;
    /// Readings in a packet.
    static constexpr std::size_t kReadings = 12;
    /// Time between two readings.
    static constexpr std::chrono::seconds kReadingInterval{10};
    /// Two-digit years below this are in the 2000s, the others in the 1900s.
    static constexpr std::int32_t kCenturyPivot = 50;

    /// The packet's start; nothing for a packet shorter than kLength or a start that is not a valid date.
    static std::optional<Date> startDate(std::span<const std::uint8_t> packet);
    /// The twelve readings (unsigned bytes 7 to 18); empty for a packet shorter than kLength.
    static std::vector<HalvoraSDKHeartBeatData> readings(std::span<const std::uint8_t> packet);
};

}  // namespace halvora
