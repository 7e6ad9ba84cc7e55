#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "lab/Devices/Bracelet/BraceletTime.hpp"
#include "lab/Devices/RM830/RM830Day.hpp"
#include "lab/Devices/RM830/RM830HeartPacket.hpp"
#include "lab/Devices/RM830/RM830Settings.hpp"

namespace halvora::lab {

/// The bracelet's answer frames, 16 bytes each (the heart-rate history's 20), the last byte the low byte
/// of the sum of the others. Bytes not named are 0.
class RM830Answers {
public:
    /// One answer frame.
    using Frame = std::vector<std::uint8_t>;

    RM830Answers() = delete;

    /// The code alone: a setting taken, an action done.
    static Frame acknowledgement(std::uint8_t code);
    /// The code with its top bit set: the command failed.
    static Frame error(std::uint8_t code);
    /// 0x41: bytes 1 to 6 the BCD of year - 2000, month, day, hour, minute and second (the layout the phone
    /// sets the clock with).
    static Frame clock(const BraceletTime& time);
    /// 0x38: byte 1 the time format held (0 before the phone set one).
    static Frame timeFormat(std::optional<int> format);
    /// 0x42: bytes 1 to 5 gender, age, height, weight and stride as held (the layout the phone sets them with).
    static Frame personalData(const RM830Settings::PersonalData& personal);
    /// 0x46: byte 1 how many stored days there are (at most 255), bytes 2 to 14 the numbers (days ago) of
    /// the first 13, from today back.
    static Frame datesWithData(const std::vector<int>& daysAgo);
    /// 0x09: steps in bytes 1 to 3, calories in bytes 7 to 9, distance in bytes 10 to 12, each 24 bits
    /// big-endian (calories and distance in hundredths); bytes 4 to 6 are 0.
    static Frame currentDay(long long steps, long long calories, long long distance);
    /// 0x27: the four version bytes in bytes 1 to 4.
    static Frame version(const std::array<std::uint8_t, 4>& bytes);
    /// 0x6D or 0x2C: a heart rate in byte 1.
    static Frame heartRate(std::uint8_t code, int bpm);
    /// 0x43 with byte 1 = 0xFF: nothing stored for the day asked for.
    static Frame noDayData();
    /// The 96 frames of a stored day of date `date`, one per quarter in order: 43 F0, the BCD of year - 2000,
    /// month and day, the quarter's index (binary), then 0x00 and calories, steps and distance 16 bits
    /// little-endian, or 0xFF and the eight movement counts.
    static std::vector<Frame> day(const BraceletTime& date, const RM830Day& day);
    /// 0x2F, 20 bytes: byte 1 0x64 when more packets follow (else 0xFF), bytes 2 to 6 the BCD of year - 2000,
    /// month, day, hour and minute of the start, bytes 7 to 18 the readings, byte 19 the checksum.
    static Frame heartPacket(const RM830HeartPacket& packet, bool more);
};

}  // namespace halvora::lab
