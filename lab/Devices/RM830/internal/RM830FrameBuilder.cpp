#include "lab/Devices/RM830/internal/RM830FrameBuilder.hpp"

#include <algorithm>
#include <span>

namespace halvora::lab {

namespace {

constexpr long long kMax24 = 0xFFFFFF;
constexpr long long kMax16 = 0xFFFF;

}  // namespace

RM830FrameBuilder::RM830FrameBuilder(std::uint8_t code, std::size_t length)
    : bytes_(std::max<std::size_t>(length, 2), 0) {
    bytes_[0] = code;
}

RM830FrameBuilder& RM830FrameBuilder::set(std::size_t index, std::uint8_t value) {
    if (index + 1 < bytes_.size()) bytes_[index] = value;
    return *this;
}

RM830FrameBuilder& RM830FrameBuilder::bcd(std::size_t index, int value) {
    return set(index, rm830::toBcd(value));
}

RM830FrameBuilder& RM830FrameBuilder::bigEndian24(std::size_t index, long long value) {
    const auto v = static_cast<std::uint32_t>(std::clamp(value, 0LL, kMax24));
    set(index, static_cast<std::uint8_t>(v >> 16));
    set(index + 1, static_cast<std::uint8_t>(v >> 8 & 0xFF));
    return set(index + 2, static_cast<std::uint8_t>(v & 0xFF));
}

RM830FrameBuilder& RM830FrameBuilder::littleEndian16(std::size_t index, long long value) {
    const auto v = static_cast<std::uint16_t>(std::clamp(value, 0LL, kMax16));
    set(index, static_cast<std::uint8_t>(v & 0xFF));
    return set(index + 1, static_cast<std::uint8_t>(v >> 8));
}

std::vector<std::uint8_t> RM830FrameBuilder::bytes() const {
    auto frame = bytes_;
    frame.back() = rm830::checksum(std::span<const std::uint8_t>(frame).first(frame.size() - 1));
    return frame;
}

}  // namespace halvora::lab
