#include "lab/Devices/Vital/internal/VitalCommand.hpp"

#include <algorithm>
#include <span>

namespace halvora::lab {

namespace {

constexpr unsigned kBitsPerByte = 8;

}  // namespace

std::optional<VitalCommand> VitalCommand::parse(const std::vector<std::uint8_t>& bytes) {
    if (bytes.size() != vital::kFrameLength) return std::nullopt;
    const std::span<const std::uint8_t> all(bytes);
    const bool checked = bytes[0] != vital::kWeather;
    if (checked && vital::checksum(all.first(vital::kChecksumIndex)) != bytes[vital::kChecksumIndex]) {
        return std::nullopt;
    }
    std::array<std::uint8_t, vital::kFrameLength> frame{};
    std::copy(bytes.begin(), bytes.end(), frame.begin());
    return VitalCommand(frame);
}

std::uint32_t VitalCommand::littleEndian16(std::size_t index) const {
    return static_cast<std::uint32_t>(byte(index)) | static_cast<std::uint32_t>(byte(index + 1)) << kBitsPerByte;
}

std::uint32_t VitalCommand::littleEndian32(std::size_t index) const {
    return littleEndian16(index) | littleEndian16(index + 2) << (2 * kBitsPerByte);
}

}  // namespace halvora::lab
