#include "halvora/Core/FloatToBits.hpp"

#include <bit>

namespace halvora {

std::uint32_t floatToBits(float value) {
    return std::bit_cast<std::uint32_t>(value);
}

}  // namespace halvora
