#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace halvora {

/// A request frame to the Vital bracelet: a zeroed buffer (16 bytes unless a command says otherwise) with
/// the code in byte 0, the payload after it and, in the last byte, the checksum of all the bytes before.
class VitalFrame {
public:
    /// Bytes of the usual frame.
    static constexpr std::size_t kLength = 16;

    /// A zeroed frame of `length` bytes (at least 1) with `code` in byte 0.
    explicit VitalFrame(std::uint8_t code, std::size_t length = kLength);

    /// Sets byte `index`; indexes past the payload (the checksum byte or beyond) are left alone.
    VitalFrame& set(std::size_t index, std::uint8_t value);
    /// Sets bytes from `index` on; bytes that would reach the checksum byte are left out.
    VitalFrame& set(std::size_t index, std::span<const std::uint8_t> values);
    /// The frame with its checksum in the last byte.
    std::vector<std::uint8_t> bytes() const;

    /// The sum of the first `length` bytes taken as signed 8-bit values, truncated to its low 8 bits; 0 for a
    /// length below 1 (never more bytes than the span holds).
    static std::uint8_t calculateChecksum(std::span<const std::uint8_t> bytes, std::int32_t length);

private:
    std::vector<std::uint8_t> bytes_;
};

}  // namespace halvora
