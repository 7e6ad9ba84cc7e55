#include "lab/Devices/Vital/internal/VitalProtocol.hpp"

#include <algorithm>
#include <iterator>

namespace halvora::lab::vital {

namespace {

constexpr int kBcdLimit = 100;
constexpr int kDigitsPerByte = 10;
constexpr std::uint8_t kHighNibbleShift = 4;
constexpr std::uint8_t kLowNibble = 0x0F;
constexpr int kHighestDigit = 9;

}  // namespace

std::uint8_t checksum(std::span<const std::uint8_t> bytes) {
    unsigned sum = 0;
    for (auto b : bytes) sum += b;
    return static_cast<std::uint8_t>(sum & 0xFF);
}

std::uint8_t toBcd(int value) {
    const int v = ((value % kBcdLimit) + kBcdLimit) % kBcdLimit;
    return static_cast<std::uint8_t>((v / kDigitsPerByte) << kHighNibbleShift | (v % kDigitsPerByte));
}

std::optional<int> fromBcd(std::uint8_t byte) {
    const int high = byte >> kHighNibbleShift;
    const int low = byte & kLowNibble;
    if (high > kHighestDigit || low > kHighestDigit) return std::nullopt;
    return high * kDigitsPerByte + low;
}

bool isHistoryCode(std::uint8_t code) {
    return std::find(std::begin(kHistoryCodes), std::end(kHistoryCodes), code) != std::end(kHistoryCodes);
}

}  // namespace halvora::lab::vital
