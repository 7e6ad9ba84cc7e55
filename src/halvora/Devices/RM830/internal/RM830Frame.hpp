#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace halvora {

/// One command frame to the RM830 bracelet: always 16 bytes, the command code in byte 0, its parameters in
/// bytes 1 to 14 (zero where unused) and in byte 15 the low byte of the sum of bytes 0 to 14.
class RM830Frame {
public:
    /// Bytes in every frame.
    static constexpr std::size_t kLength = 16;
    /// Index of the first parameter byte.
    static constexpr std::size_t kFirstParameter = 1;
    /// Index of the last parameter byte.
    static constexpr std::size_t kLastParameter = 14;
    /// Index of the checksum.
    static constexpr std::size_t kChecksumIndex = 15;

    /// A frame of `code` with every parameter 0.
    explicit RM830Frame(std::uint8_t code) { bytes_[0] = code; }

    /// Sets parameter byte `index` (1 to 14; any other index is left alone).
    RM830Frame& set(std::size_t index, std::uint8_t value);
    /// The command code.
    std::uint8_t code() const { return bytes_[0]; }
    /// The 16 bytes, checksum in place.
    std::vector<std::uint8_t> bytes() const;

    /// The low byte of the sum of `body` (bytes 0 to 14 of a frame).
    static std::uint8_t checksum(std::span<const std::uint8_t> body);
    /// The plain sum of `values` (wrapping in 32 bits); a frame keeps its low byte.
    static std::int32_t sum(const std::vector<std::int32_t>& values);

private:
    std::array<std::uint8_t, kLength> bytes_{};
};

}  // namespace halvora
