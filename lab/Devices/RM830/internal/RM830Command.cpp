#include "lab/Devices/RM830/internal/RM830Command.hpp"

#include <algorithm>
#include <span>

namespace halvora::lab {

std::optional<RM830Command> RM830Command::parse(const std::vector<std::uint8_t>& bytes) {
    if (bytes.size() != rm830::kFrameLength) return std::nullopt;
    const std::span<const std::uint8_t> all(bytes);
    if (rm830::checksum(all.first(rm830::kChecksumIndex)) != bytes[rm830::kChecksumIndex]) return std::nullopt;
    std::array<std::uint8_t, rm830::kFrameLength> frame{};
    std::copy(bytes.begin(), bytes.end(), frame.begin());
    return RM830Command(frame);
}

std::uint32_t RM830Command::bigEndian24(std::size_t index) const {
    return static_cast<std::uint32_t>(byte(index)) << 16 | static_cast<std::uint32_t>(byte(index + 1)) << 8 |
           byte(index + 2);
}

}  // namespace halvora::lab
