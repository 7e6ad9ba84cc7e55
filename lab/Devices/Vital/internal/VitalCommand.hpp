#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "lab/Devices/Vital/internal/VitalProtocol.hpp"

namespace halvora::lab {

/// One 16-byte command frame from the phone, checked: byte 15 is the low byte of the sum of bytes 0 to 14,
/// except for the weather frame (0x15), which the phone sends without a valid checksum and which is taken
/// as it is.
class VitalCommand {
public:
    /// The command in `bytes`; nothing for a write of another length or with a wrong checksum.
    static std::optional<VitalCommand> parse(const std::vector<std::uint8_t>& bytes);

    /// Byte 0.
    std::uint8_t code() const { return bytes_[0]; }
    /// Byte `index` (1 to 14 are the payload); 0 outside the frame.
    std::uint8_t byte(std::size_t index) const { return index < bytes_.size() ? bytes_[index] : 0; }
    /// The BCD value of byte `index`; nothing when it is not a BCD byte.
    std::optional<int> bcd(std::size_t index) const { return vital::fromBcd(byte(index)); }
    /// Bytes `index` and `index` + 1 as a little-endian number.
    std::uint32_t littleEndian16(std::size_t index) const;
    /// Bytes `index` to `index` + 3 as a little-endian number.
    std::uint32_t littleEndian32(std::size_t index) const;

private:
    explicit VitalCommand(const std::array<std::uint8_t, vital::kFrameLength>& bytes) : bytes_(bytes) {}

    std::array<std::uint8_t, vital::kFrameLength> bytes_;
};

}  // namespace halvora::lab
