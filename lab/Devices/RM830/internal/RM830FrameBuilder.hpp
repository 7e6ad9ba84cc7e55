#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "lab/Devices/RM830/internal/RM830Protocol.hpp"

namespace halvora::lab {

/// An answer frame under construction: the code in byte 0, every other byte zero until set, and the last
/// byte the low byte of the sum of all the others (added by bytes()). Setting a byte outside the frame's
/// payload does nothing.
class RM830FrameBuilder {
public:
    /// A frame of `length` bytes (16 for every answer but the heart-rate history's 20).
    explicit RM830FrameBuilder(std::uint8_t code, std::size_t length = rm830::kFrameLength);

    /// Sets byte `index`.
    RM830FrameBuilder& set(std::size_t index, std::uint8_t value);
    /// Sets byte `index` to the BCD of `value` (0 to 99).
    RM830FrameBuilder& bcd(std::size_t index, int value);
    /// Sets bytes `index` to `index` + 2 to `value` big-endian (clamped to 24 bits).
    RM830FrameBuilder& bigEndian24(std::size_t index, long long value);
    /// Sets bytes `index` and `index` + 1 to `value` little-endian (clamped to 16 bits).
    RM830FrameBuilder& littleEndian16(std::size_t index, long long value);
    /// The frame with its checksum.
    std::vector<std::uint8_t> bytes() const;

private:
    std::vector<std::uint8_t> bytes_;
};

}  // namespace halvora::lab
