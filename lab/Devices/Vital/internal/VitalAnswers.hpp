#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "lab/Devices/Bracelet/BraceletTime.hpp"
#include "lab/Devices/Vital/VitalSettings.hpp"

namespace halvora::lab {

/// The Vital bracelet's answer and event frames, 16 bytes each, byte 15 the low byte of the sum of the
/// others. Bytes not named are 0.
class VitalAnswers {
public:
    /// One answer frame.
    using Frame = std::vector<std::uint8_t>;

    VitalAnswers() = delete;

    /// The code alone: a setting taken, an action done.
    static Frame acknowledgement(std::uint8_t code);
    /// The code with bit 7 set: the command was refused.
    static Frame refusal(std::uint8_t code);
    /// 0x41: bytes 1 to 6 the BCD of year - 2000, month, day, hour, minute and second.
    static Frame clock(const BraceletTime& time);
    /// 0x4B: the goal in bytes 1 to 4, little-endian.
    static Frame stepGoal(std::uint32_t goal);
    /// 0x42: bytes 1 to 5 as the phone set them.
    static Frame user(const VitalSettings::User& user);
    /// 0x04: bytes 1 to 6 the flags, byte 7 the second and byte 8 the first notification byte, byte 9 the
    /// heart-rate base, byte 11 the brightness, byte 12 the dial, byte 14 the language, each as 0x03 sent it.
    static Frame parameters(const VitalSettings::Parameters& parameters);
    /// 0x07: byte 1 the further setting as 0x06 sent it.
    static Frame parametersRest(const VitalSettings::Parameters& parameters);
    /// 0x26: bytes 1 to 4 the BCD window times, byte 5 the week days, bytes 6 to 8 reminder period, minimum
    /// steps and motion (the layout 0x25 sets it with).
    static Frame activityPeriod(const VitalSettings::ActivityPeriod& period);
    /// 0x2A: byte 1 the type code taken.
    static Frame detectionSet(int typeCode);
    /// 0x2B: the layout 0x2A sets it with: byte 1 the mode, bytes 2 to 5 the BCD window times, byte 6 the
    /// week days, bytes 7 and 8 the interval little-endian, byte 9 the type code.
    static Frame detection(int typeCode, const VitalSettings::Detection& detection);
    /// 0x28: byte 1 the quantity code, byte 2 the enable byte.
    static Frame measurementControl(int quantity, int enable);
    /// 0x13: byte 1 the battery level.
    static Frame battery(int level);
    /// 0x22: the six address bytes in bytes 1 to 6.
    static Frame macAddress(const std::array<std::uint8_t, 6>& address);
    /// 0xB0: byte 1 as the phone sent it.
    static Frame qrCode(std::uint8_t shown);
    /// 0x09: steps in bytes 1 to 4 (little-endian), the heart rate in byte 5, the temperature in tenths of a
    /// degree Celsius in bytes 6 and 7 (little-endian; 0 when the temperature is off).
    static Frame realTime(long long steps, int heartRate, int temperature);
    /// 0x16: the operation number in byte 1.
    static Frame firmwareCommand(int operation);
    /// 0x18 with data: the heart rate in byte 1 (never 0), today's steps in bytes 2 to 5 (little-endian).
    static Frame heartbeat(int heartRate, long long steps);
    /// 0x18 without data: the code alone.
    static Frame emptyHeartbeat();
    /// 0xFE: the code alone.
    static Frame sos();
};

}  // namespace halvora::lab
