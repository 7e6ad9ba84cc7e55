#include "halvora/Devices/Vital/internal/VitalFrame.hpp"

#include <algorithm>

#include "halvora/Core/ByteUtils.hpp"

namespace halvora {

VitalFrame::VitalFrame(std::uint8_t code, std::size_t length)
    : bytes_(ByteUtils::prepareByteArray(static_cast<std::int32_t>(std::max<std::size_t>(length, 1)))) {
    bytes_[0] = code;
}

VitalFrame& VitalFrame::set(std::size_t index, std::uint8_t value) {
    if (index > 0 && index + 1 < bytes_.size()) bytes_[index] = value;
    return *this;
}

VitalFrame& VitalFrame::set(std::size_t index, std::span<const std::uint8_t> values) {
    for (std::size_t i = 0; i < values.size(); ++i) set(index + i, values[i]);
    return *this;
}

std::vector<std::uint8_t> VitalFrame::bytes() const {
    // The checksum runs over the whole frame while its own byte is still zero (set() never writes it).
    std::vector<std::uint8_t> out = bytes_;
    const std::uint8_t checksum = calculateChecksum(out, static_cast<std::int32_t>(out.size()));
    if (!out.empty()) out[out.size() - 1] = checksum;
    return out;
}

std::uint8_t VitalFrame::calculateChecksum(std::span<const std::uint8_t> bytes, std::int32_t length) {
    if (length < 1) return 0;
    const std::size_t count = std::min(bytes.size(), static_cast<std::size_t>(length));
    int sum = 0;
    for (std::size_t i = 0; i < count; ++i) sum += static_cast<std::int8_t>(bytes[i]);
    return static_cast<std::uint8_t>(static_cast<unsigned>(sum) & 0xFFU);
}

}  // namespace halvora
