#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "halvora/Core/Date.hpp"

namespace halvora {

/// A blood-pressure reading of the wrist blood-pressure bracelet: a measurement just taken, or one read back
/// from its memory. A fresh record has every field absent (the manager hands one over for an error code).
struct HalvoraSDKTensioBraceletData {
    /// When it was measured (for a record read back from memory: when it was read, the bracelet keeps no
    /// date with it).
    std::optional<Date> date;
    /// Systolic pressure in the bracelet's unit.
    std::optional<std::int32_t> systolic;
    /// Diastolic pressure in the bracelet's unit.
    std::optional<std::int32_t> diastolic;
    /// Pulse rate, beats per minute.
    std::optional<std::int32_t> pulse;
    /// The bracelet's irregular-heartbeat flag byte.
    std::optional<std::int32_t> irregular;

    /// Equal when all five fields are equal (an absent value equals only an absent one).
    bool operator==(const HalvoraSDKTensioBraceletData& other) const = default;
    /// Combines the hashes of the five fields; an absent value hashes to 0.
    std::size_t hash() const;
};

}  // namespace halvora
