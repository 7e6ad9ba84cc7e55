#pragma once

#include <cstdint>
#include <string>

namespace halvora {

/// The two-digit BCD bytes of the RM830 bracelet's frames: each decimal digit in one nibble.
class RM830Bcd {
public:
    RM830Bcd() = delete;

    /// 0 to 99 as (v / 10) x 16 + v % 10 (25 gives 0x25). Other values are not BCD; the low byte of the same
    /// formula is kept.
    static std::uint8_t encode(std::int32_t value);
    /// (b >> 4) x 10 + (b & 0x0F): 0x25 gives 25; a nibble above 9 counts as its value (0xFF gives 165).
    static std::int32_t decode(std::uint8_t value);
    /// The two nibbles written as "%d%d": 0x07 gives "07", 0x1A gives "110".
    static std::string digits(std::uint8_t value);
    /// True when both nibbles are decimal digits.
    static bool isValid(std::uint8_t value);
};

}  // namespace halvora
