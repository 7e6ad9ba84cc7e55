#pragma once

#include <cstdint>

namespace halvora {

/// The 32 bits of an IEEE 754 single-precision value, as an unsigned integer (1.0f gives 0x3F800000).
std::uint32_t floatToBits(float value);

}  // namespace halvora
