#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace halvora::fuzz {

/// Reads a fuzzer's input from the front, one field at a time. Past the end every read answers zero or
/// nothing, so that any input, however short, is a complete script.
class FuzzInput {
public:
    explicit FuzzInput(std::span<const std::uint8_t> data) : data_(data) {}

    bool empty() const { return position_ >= data_.size(); }
    std::uint8_t byte() { return empty() ? 0 : data_[position_++]; }
    std::uint16_t word() { return static_cast<std::uint16_t>(byte() << 8 | byte()); }
    std::int32_t integer() { return static_cast<std::int32_t>(static_cast<std::uint32_t>(word()) << 16 | word()); }
    bool flag() { return (byte() & 1) != 0; }
    /// Up to `count` bytes (fewer at the end of the input).
    std::vector<std::uint8_t> bytes(std::size_t count) {
        const std::size_t n = std::min(count, data_.size() - std::min(position_, data_.size()));
        std::vector<std::uint8_t> out(data_.begin() + static_cast<std::ptrdiff_t>(position_),
                                      data_.begin() + static_cast<std::ptrdiff_t>(position_ + n));
        position_ += n;
        return out;
    }
    /// A length byte, then that many bytes as text.
    std::string text() {
        const auto raw = bytes(byte());
        return {raw.begin(), raw.end()};
    }

private:
    std::span<const std::uint8_t> data_;
    std::size_t position_ = 0;
};

}  // namespace halvora::fuzz
