#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "lab/Devices/RM830/internal/RM830Protocol.hpp"

namespace halvora::lab {

/// One command frame from the phone, checked: exactly 16 bytes whose byte 15 is the low byte of the sum
/// of bytes 0 to 14.
class RM830Command {
public:
    /// The command in `bytes`; nothing for a write of another length or with a wrong checksum.
    static std::optional<RM830Command> parse(const std::vector<std::uint8_t>& bytes);

    /// Byte 0.
    std::uint8_t code() const { return bytes_[0]; }
    /// Byte `index` (1 to 14 are the parameters); 0 outside the frame.
    std::uint8_t byte(std::size_t index) const { return index < bytes_.size() ? bytes_[index] : 0; }
    /// The BCD value of byte `index`; nothing when it is not a BCD byte.
    std::optional<int> bcd(std::size_t index) const { return rm830::fromBcd(byte(index)); }
    /// Bytes `index` to `index` + 2 as a big-endian number.
    std::uint32_t bigEndian24(std::size_t index) const;

private:
    explicit RM830Command(const std::array<std::uint8_t, rm830::kFrameLength>& bytes) : bytes_(bytes) {}

    std::array<std::uint8_t, rm830::kFrameLength> bytes_;
};

}  // namespace halvora::lab
