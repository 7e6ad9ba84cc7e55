#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "halvora/Core/Date.hpp"
#include "halvora/Devices/Vital/HalvoraSDKRealtimeData.hpp"
#include "halvora/Devices/Vital/HalvoraSDKUser.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalActivityPeriod.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalParams.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalPeriod.hpp"

namespace halvora {

/// Decoders of the Vital bracelet's replies (byte 0 the code). Each reads fixed bytes and gives nothing for
/// a reply too short for them; none reads past the reply's end.
class VitalReplyParser {
public:
    VitalReplyParser() = delete;

    /// Bytes a clock reply needs.
    static constexpr std::size_t kTimeLength = 7;
    /// Bytes a step-goal reply needs.
    static constexpr std::size_t kStepGoalLength = 5;
    /// Bytes a MAC-address reply needs.
    static constexpr std::size_t kMacLength = 7;
    /// Bytes a battery reply needs.
    static constexpr std::size_t kBatteryLength = 2;
    /// Bytes a user reply needs.
    static constexpr std::size_t kUserLength = 6;
    /// Bytes the first parameter reply needs.
    static constexpr std::size_t kParametersLength = 13;
    /// Bytes the second parameter reply needs.
    static constexpr std::size_t kSecondParametersLength = 2;
    /// Bytes an exercise-reminder reply needs.
    static constexpr std::size_t kActivityPeriodLength = 9;
    /// Bytes a schedule reply needs.
    static constexpr std::size_t kDetectionLength = 10;
    /// Bytes a real-time reading needs.
    static constexpr std::size_t kRealtimeLength = 8;
    /// Bytes a firmware-command event needs.
    static constexpr std::size_t kOperationLength = 2;

    /// 0x41: BCD year (plus 2000), month, day, hour, minute, second in bytes 1 to 6, local time.
    static std::optional<Date> time(std::span<const std::uint8_t> reply);
    /// 0x4B: the goal in bytes 1 to 4, little-endian.
    static std::optional<std::int32_t> stepGoal(std::span<const std::uint8_t> reply);
    /// 0x22: bytes 1 to 6 as "AA:BB:CC:DD:EE:FF".
    static std::optional<std::string> macAddress(std::span<const std::uint8_t> reply);
    /// 0x13: the level in byte 1.
    static std::optional<std::int32_t> battery(std::span<const std::uint8_t> reply);
    /// 0x42: sex (0 is 1, else 0), age, height, weight and the further byte in bytes 1 to 5.
    static std::optional<HalvoraSDKUser> user(std::span<const std::uint8_t> reply);
    /// 0x04: flags in bytes 1 to 6 in the encodings the phone sends them (bytes 1, 2, 4: 0x80 true; bytes 3,
    /// 5, 6: bit 0 true), the notifications from bytes 8 and 7, the heart-rate base in byte 9, the brightness
    /// in byte 10, the dial in byte 11 (both with bit 7 cleared) and the language in byte 12 (0x81 and 0 are
    /// the first language, any other value the second).
    static std::optional<HalvoraSDKVitalParams> parameters(std::span<const std::uint8_t> reply);
    /// 0x07: the second frame's setting in byte 1 (0x81 true), added to `parameters`.
    static std::optional<HalvoraSDKVitalParams> secondParameters(std::span<const std::uint8_t> reply,
                                                                 HalvoraSDKVitalParams parameters);
    /// 0x26: the layout of the request: BCD window in bytes 1 to 4, week byte, period, steps, motion flag.
    static std::optional<HalvoraSDKVitalActivityPeriod> activityPeriod(std::span<const std::uint8_t> reply);
    /// 0x2B: the layout of the set request: mode, BCD window in bytes 2 to 5, week byte, interval in bytes 7
    /// and 8 (little-endian); the quantity is `type`, the one asked for.
    static std::optional<HalvoraSDKVitalPeriod> detection(std::span<const std::uint8_t> reply, std::int32_t type);
    /// 0x09: steps in bytes 1 to 4 (little-endian), heart rate in byte 5, temperature in tenths of a degree in
    /// bytes 6 and 7 (little-endian).
    static std::optional<HalvoraSDKRealtimeData> realtime(std::span<const std::uint8_t> reply);
    /// 0x16: the operation number in byte 1.
    static std::optional<std::int32_t> operation(std::span<const std::uint8_t> reply);
    /// The bytes after the code (empty for a reply of the code alone).
    static std::vector<std::uint8_t> payload(std::span<const std::uint8_t> reply);
};

}  // namespace halvora
