#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "halvora/Core/Date.hpp"
#include "halvora/Devices/RM830/HalvoraSDKRM830TimeRange.hpp"

namespace halvora {

/// The RM830 bracelet's command frames, each 16 bytes with its checksum (see RM830Frame). Numbers that do not
/// fit their field are sent as documented per frame; nothing here fails.
class RM830Commands {
public:
    RM830Commands() = delete;

    /// Sent for a height, weight, stride or age outside 0 to 254.
    static constexpr std::uint8_t kOutOfRange = 0xFF;
    /// Stride per thousand centimetres of height (0.415 cm per cm, kept exact in integers).
    static constexpr std::int64_t kStridePerThousandCm = 415;
    /// Stride without a height, gender 0, cm.
    static constexpr std::uint8_t kDefaultStrideGender0 = 78;
    /// Stride without a height, any other gender, cm.
    static constexpr std::uint8_t kDefaultStrideOtherGender = 70;
    /// The largest step goal the 24-bit field holds; larger goals are sent as this.
    static constexpr std::int64_t kMaxStepGoal = 0xFFFFFF;
    /// The one time format the kit sets.
    static constexpr std::uint8_t kTimeFormat = 1;
    /// The year the date's two-digit year counts from.
    static constexpr std::int32_t kCenturyStart = 2000;

    /// 0x01: BCD year - 2000, month, day, hour, minute, second of `date` in local time, then 0x01.
    static std::vector<std::uint8_t> dateTime(Date date);
    /// 0x41.
    static std::vector<std::uint8_t> readDateTime();
    /// 0x37 with byte 1 = 1 (the only format the kit sets).
    static std::vector<std::uint8_t> timeFormat();
    /// 0x38.
    static std::vector<std::uint8_t> readTimeFormat();
    /// 0x02: 1 for gender 0 (else 0), age, height, weight, stride. Height, weight and stride outside 0 to 254
    /// are sent as 0xFF; no height or weight is sent as 0; a negative age as 0, one above 254 as 0xFF, none as
    /// 0. Stride: the integer part of height x 0.415 with a height, else 78 for gender 0 and 70 otherwise.
    static std::vector<std::uint8_t> personalInformation(std::optional<std::int32_t> heightCm,
                                                         std::optional<std::int32_t> weightKg, std::int32_t gender,
                                                         std::optional<std::int32_t> age);
    /// 0x0B: the goal as a 24-bit big-endian number, limited to 0 to 0xFFFFFF.
    static std::vector<std::uint8_t> targets(std::int64_t steps);
    /// 0x46.
    static std::vector<std::uint8_t> datesWithInfo();
    /// 0x09.
    static std::vector<std::uint8_t> startRealTime();
    /// 0x0A.
    static std::vector<std::uint8_t> stopRealtime();
    /// 0x42.
    static std::vector<std::uint8_t> readPersonalInformation();
    /// 0x43 with the number of days back (its low byte).
    static std::vector<std::uint8_t> dataDaysAgo(std::int32_t days);
    /// 0x27.
    static std::vector<std::uint8_t> firmwareVersion();
    /// 0x47.
    static std::vector<std::uint8_t> switchToUpdater();
    /// 0x6D.
    static std::vector<std::uint8_t> heartRateBasicValue();
    /// 0x2F with the packet number (its low byte).
    static std::vector<std::uint8_t> heartRateValue(std::int32_t packet);
    /// 0x2C with 1 or 0.
    static std::vector<std::uint8_t> realtimeHR(bool enabled);
    /// 0x19 with 1 or 0.
    static std::vector<std::uint8_t> monitoringHR(bool enabled);
    /// 0x2A: enable, then BCD start hour, start minute, end hour, end minute and the day mask; zeros without a
    /// range.
    static std::vector<std::uint8_t> monitoringHRAuto(bool enabled,
                                                      const std::optional<HalvoraSDKRM830TimeRange>& range);

    /// `value` when it is 0 to 254, else 0xFF.
    static std::uint8_t byteOrOutOfRange(std::int64_t value);
    /// The stride byte (see personalInformation).
    static std::uint8_t stride(std::optional<std::int32_t> heightCm, std::int32_t gender);
};

}  // namespace halvora
