#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "halvora/Core/Date.hpp"
#include "halvora/Records/HalvoraSDKTensioBraceletData.hpp"

namespace halvora {

/// The wrist blood-pressure bracelet's readings: the fourteen-byte result of a measurement and the ten-byte
/// record of its memory. A frame shorter than its layout gives nothing.
class TensioRecords {
public:
    TensioRecords() = delete;

    /// Bytes of a measurement result.
    static constexpr std::size_t kResultLength = 14;
    /// Bytes of a stored record.
    static constexpr std::size_t kStoredLength = 10;

    /// A result: b3..b7 year (two digits), month, day, hour, minute; systolic b8 x 256 + b9, diastolic b10,
    /// pulse b11, irregular b12, every byte taken as signed (so a byte from 0x80 up counts negative). The date
    /// is TensioDateText's reading of the five numbers (absent when they name no real minute).
    static std::optional<HalvoraSDKTensioBraceletData> measurementResult(std::span<const std::uint8_t> frame);
    /// A stored record: systolic b4 x 256 + b5, diastolic b6, pulse b7, irregular b8; dated `now` (the bracelet
    /// keeps no date with it).
    static std::optional<HalvoraSDKTensioBraceletData> storedRecord(std::span<const std::uint8_t> frame, Date now);
};

}  // namespace halvora
