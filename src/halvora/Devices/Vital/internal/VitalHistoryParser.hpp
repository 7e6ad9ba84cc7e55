#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "halvora/Core/Date.hpp"
#include "halvora/Devices/Vital/HalvoraSDKDetailedStepData.hpp"
#include "halvora/Devices/Vital/HalvoraSDKSportData.hpp"
#include "halvora/Devices/Vital/HalvoraSDKStepSummaryData.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalHRVData.hpp"
#include "halvora/Records/HalvoraSDKHeartBeatData.hpp"
#include "halvora/Records/HalvoraSDKOximeterData.hpp"
#include "halvora/Records/HalvoraSDKThermometerData.hpp"

namespace halvora {

/// Decoders of one record slot of each Vital history kind (the slot starts with its two-byte index). Dates
/// are six BCD bytes (year after 2000, month, day, hour, minute, second) in local time; a slot whose date
/// is not a valid one gives nothing. Multi-byte numbers are read little-endian up to their first zero byte
/// (0x00 0x01 reads as 0), as the bracelet's records are meant to be read. Each decoder gives nothing for a
/// slot shorter than its stride.
class VitalHistoryParser {
public:
    VitalHistoryParser() = delete;

    static constexpr std::size_t kTotalsStride = 27;              ///< daily totals (0x51)
    static constexpr std::size_t kDetailedStepsStride = 25;       ///< detailed steps (0x52)
    static constexpr std::size_t kAutomaticHeartRateStride = 24;  ///< automatic heart rate (0x54)
    static constexpr std::size_t kSampleStride = 10;              ///< spot heart rate, blood oxygen (0x55, 0x60, 0x66)
    static constexpr std::size_t kHRVStride = 15;                 ///< HRV (0x56)
    static constexpr std::size_t kSportStride = 25;               ///< sport (0x5C)
    static constexpr std::size_t kTemperatureStride = 11;         ///< temperature (0x62, 0x65)
    /// Samples of an automatic heart-rate record.
    static constexpr std::size_t kAutomaticSamples = 15;
    /// Seconds between two automatic heart-rate samples.
    static constexpr std::int64_t kAutomaticSampleSeconds = 900;
    /// The thermometer mode of a bracelet reading.
    static constexpr std::int32_t kBraceletThermometerMode = 1;

    /// Six BCD bytes from `index` as a local date; nothing when a field is out of its range.
    static std::optional<Date> bcdDate(std::span<const std::uint8_t> bytes, std::size_t index);
    /// Three BCD bytes (year, month, day) from `index` as local midnight.
    static std::optional<Date> bcdDay(std::span<const std::uint8_t> bytes, std::size_t index);

    /// Daily totals: distance and calories in hundredths, exercise minutes delivered in seconds.
    static std::optional<HalvoraSDKStepSummaryData> totals(std::span<const std::uint8_t> slot);
    /// Detailed steps: calories and distance in hundredths, ten per-minute counts.
    static std::optional<HalvoraSDKDetailedStepData> detailedSteps(std::span<const std::uint8_t> slot);
    /// Automatic heart rate: one record per non-zero sample, dated 900 s after the one before (a zero sample
    /// still takes its time step).
    static std::vector<HalvoraSDKHeartBeatData> automaticHeartRate(std::span<const std::uint8_t> slot);
    /// Spot heart rate.
    static std::optional<HalvoraSDKHeartBeatData> heartRate(std::span<const std::uint8_t> slot);
    /// Blood oxygen (spot and automatic): the date and the SpO2 value.
    static std::optional<HalvoraSDKOximeterData> bloodOxygen(std::span<const std::uint8_t> slot);
    /// HRV with its estimates, one byte each.
    static std::optional<HalvoraSDKVitalHRVData> hrv(std::span<const std::uint8_t> slot);
    /// Sport: heart rate (byte 8), steps (9, 2 bytes), calories (11, 2), distance (13, 2), active time (15, 4),
    /// exercise time (19, 4), sport kind (23).
    static std::optional<HalvoraSDKSportData> sport(std::span<const std::uint8_t> slot);
    /// Temperature (spot and automatic) in tenths of a degree Celsius, mode 1, unit "celsius".
    static std::optional<HalvoraSDKThermometerData> temperature(std::span<const std::uint8_t> slot);
};

}  // namespace halvora
