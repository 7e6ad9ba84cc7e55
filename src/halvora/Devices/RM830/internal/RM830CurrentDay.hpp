#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "halvora/Core/Date.hpp"
#include "halvora/Records/HalvoraSDKStepData.hpp"

namespace halvora {

/// Today's totals, the answer to the real-time request (0x09): steps in bytes 1 to 3, calories in hundredths
/// in bytes 7 to 9 and distance in hundredths in bytes 10 to 12, each a 24-bit big-endian number.
class RM830CurrentDay {
public:
    RM830CurrentDay() = delete;

    /// Bytes an answer needs (through byte 12).
    static constexpr std::size_t kMinLength = 13;

    /// The record, dated `now`; nothing for an answer shorter than kMinLength.
    static std::optional<HalvoraSDKStepData> decode(std::span<const std::uint8_t> answer, Date now);
};

}  // namespace halvora
