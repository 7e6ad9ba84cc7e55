#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "halvora/Core/Date.hpp"

namespace halvora {

/// A blood-pressure result, or a failed measurement when `errorCode` is set. Values are as the monitor sends
/// them, unscaled.
struct HalvoraSDKHeartData {
    std::optional<Date> date;               ///< not filled by the monitors' drivers
    std::optional<std::int32_t> errorCode;  ///< set only on a failed measurement (negative, or -1)
    /// Systolic pressure, mmHg, as the monitor sends it (no scaling); absent on a failed measurement.
    std::optional<std::int32_t> systolic;
    /// Diastolic pressure, mmHg, as sent; absent on a failed measurement.
    std::optional<std::int32_t> diastolic;
    /// Pulse rate, beats per minute, as sent; absent on a failed measurement.
    std::optional<std::int32_t> pulse;

    /// Equal when systolic, diastolic and pulse are all equal (an absent value equals only an absent one);
    /// date and errorCode are not compared.
    bool isEqual(const HalvoraSDKHeartData& other) const;
    /// hash(systolic) + hash(diastolic) + hash(pulse); an absent value hashes to 0.
    std::size_t hash() const;
    /// `Date: ...\nSystolic: %d\nDiastolic: %d\nPulse: %d\n`; the date as "yyyy-MM-dd HH:mm:ss" in local time,
    /// "(null)" when absent; absent values print as 0.
    std::string print() const;
};

}  // namespace halvora
