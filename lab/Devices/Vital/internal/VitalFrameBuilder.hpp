#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "lab/Devices/Vital/internal/VitalProtocol.hpp"

namespace halvora::lab {

/// An answer frame under construction: 16 bytes, the code in byte 0, every other byte zero until set, and
/// byte 15 the low byte of the sum of bytes 0 to 14 (added by bytes()). Setting a byte outside bytes 1 to 14
/// does nothing.
class VitalFrameBuilder {
public:
    /// A frame answering (or raising) `code`.
    explicit VitalFrameBuilder(std::uint8_t code);

    /// Sets byte `index`.
    VitalFrameBuilder& set(std::size_t index, std::uint8_t value);
    /// Sets byte `index` to the BCD of `value` (0 to 99).
    VitalFrameBuilder& bcd(std::size_t index, int value);
    /// Sets bytes `index` and `index` + 1 to `value` little-endian (clamped to 16 bits).
    VitalFrameBuilder& littleEndian16(std::size_t index, long long value);
    /// Sets bytes `index` to `index` + 3 to `value` little-endian (clamped to 32 bits).
    VitalFrameBuilder& littleEndian32(std::size_t index, long long value);
    /// The frame with its checksum.
    std::vector<std::uint8_t> bytes() const;

private:
    std::vector<std::uint8_t> bytes_;
};

}  // namespace halvora::lab
