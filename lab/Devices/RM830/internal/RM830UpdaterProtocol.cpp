#include "lab/Devices/RM830/internal/RM830UpdaterProtocol.hpp"

#include <algorithm>

#include "halvora/Core/Format.hpp"

namespace halvora::lab::rm830updater {

namespace {

constexpr std::size_t kWordBytes = 4;
constexpr unsigned kBitsPerByte = 8;

}  // namespace

std::vector<std::uint8_t> response(std::uint8_t opcode, std::uint8_t status) {
    return {kResponse, opcode, status};
}

std::vector<std::uint8_t> receipt(std::uint64_t bytes) {
    std::vector<std::uint8_t> frame{kReceipt};
    for (std::size_t i = 0; i < kWordBytes; ++i) {
        frame.push_back(static_cast<std::uint8_t>((bytes >> (kBitsPerByte * i)) & 0xFF));
    }
    return frame;
}

std::optional<std::uint32_t> littleEndian32(std::span<const std::uint8_t> bytes, std::size_t offset) {
    if (offset > bytes.size() || bytes.size() - offset < kWordBytes) return std::nullopt;
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < kWordBytes; ++i) {
        value |= static_cast<std::uint32_t>(bytes[offset + i]) << (kBitsPerByte * i);
    }
    return value;
}

std::optional<ImageSizes> newProcedureSizes(std::span<const std::uint8_t> packet) {
    if (packet.size() != kSizesLength) return std::nullopt;
    return ImageSizes{*littleEndian32(packet, 0), *littleEndian32(packet, kWordBytes),
                      *littleEndian32(packet, kApplicationSizeOffset)};
}

std::optional<std::uint32_t> oldProcedureSize(std::span<const std::uint8_t> packet) {
    if (packet.size() != kOldSizeLength) return std::nullopt;
    return littleEndian32(packet, 0);
}

std::optional<std::string> imageVersion(std::span<const std::uint8_t> image) {
    if (image.size() < kImageHeaderLength) return std::nullopt;
    if (!std::equal(kImageMagic.begin(), kImageMagic.end(), image.begin())) return std::nullopt;
    const auto part = [&](std::size_t i) { return static_cast<int>(static_cast<std::int8_t>(image[i])); };
    const std::size_t at = kImageMagic.size();
    return format("%d.%d.%d.%d", part(at), part(at + 1), part(at + 2), part(at + 3));
}

}  // namespace halvora::lab::rm830updater
