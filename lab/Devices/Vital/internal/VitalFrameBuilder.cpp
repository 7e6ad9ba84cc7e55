#include "lab/Devices/Vital/internal/VitalFrameBuilder.hpp"

#include <algorithm>
#include <span>

namespace halvora::lab {

namespace {

constexpr long long kMax16 = 0xFFFF;
constexpr long long kMax32 = 0xFFFFFFFFLL;
constexpr unsigned kBitsPerByte = 8;

}  // namespace

VitalFrameBuilder::VitalFrameBuilder(std::uint8_t code) : bytes_(vital::kFrameLength, 0) {
    bytes_[0] = code;
}

VitalFrameBuilder& VitalFrameBuilder::set(std::size_t index, std::uint8_t value) {
    if (index >= 1 && index < vital::kChecksumIndex) bytes_[index] = value;
    return *this;
}

VitalFrameBuilder& VitalFrameBuilder::bcd(std::size_t index, int value) {
    return set(index, vital::toBcd(value));
}

VitalFrameBuilder& VitalFrameBuilder::littleEndian16(std::size_t index, long long value) {
    const auto v = static_cast<std::uint32_t>(std::clamp(value, 0LL, kMax16));
    set(index, static_cast<std::uint8_t>(v & 0xFF));
    return set(index + 1, static_cast<std::uint8_t>(v >> kBitsPerByte));
}

VitalFrameBuilder& VitalFrameBuilder::littleEndian32(std::size_t index, long long value) {
    const auto v = static_cast<std::uint64_t>(std::clamp(value, 0LL, kMax32));
    for (std::size_t i = 0; i < 4; ++i) set(index + i, static_cast<std::uint8_t>((v >> (kBitsPerByte * i)) & 0xFF));
    return *this;
}

std::vector<std::uint8_t> VitalFrameBuilder::bytes() const {
    auto frame = bytes_;
    frame[vital::kChecksumIndex] = vital::checksum(std::span<const std::uint8_t>(frame).first(vital::kChecksumIndex));
    return frame;
}

}  // namespace halvora::lab
