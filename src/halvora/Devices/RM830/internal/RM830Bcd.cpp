#include "halvora/Devices/RM830/internal/RM830Bcd.hpp"

#include "halvora/Core/Format.hpp"

namespace halvora {

namespace {

constexpr int kNibbleBits = 4;
constexpr std::uint8_t kLowNibble = 0x0F;
constexpr int kDecimalBase = 10;
constexpr int kNibbleBase = 16;

int highNibble(std::uint8_t value) {
    return value >> kNibbleBits;
}
int lowNibble(std::uint8_t value) {
    return value & kLowNibble;
}

}  // namespace

std::uint8_t RM830Bcd::encode(std::int32_t value) {
    const std::int64_t wide = value;  // no overflow for any argument
    return static_cast<std::uint8_t>((wide / kDecimalBase) * kNibbleBase + wide % kDecimalBase);
}

std::int32_t RM830Bcd::decode(std::uint8_t value) {
    return highNibble(value) * kDecimalBase + lowNibble(value);
}

std::string RM830Bcd::digits(std::uint8_t value) {
    return format("%d%d", highNibble(value), lowNibble(value));
}

bool RM830Bcd::isValid(std::uint8_t value) {
    return highNibble(value) < kDecimalBase && lowNibble(value) < kDecimalBase;
}

}  // namespace halvora
