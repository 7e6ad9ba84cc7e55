#include "halvora/DFU/IntelHex2BinConverter.hpp"

#include <algorithm>

#include "halvora/Core/Format.hpp"
#include "halvora/DFU/internal/FirmwarePackets.hpp"
#include "halvora/DFU/internal/IntelHexWalk.hpp"

namespace halvora {

namespace {

/// 1 + the line feeds before `offset`.
std::size_t lineAt(std::span<const std::uint8_t> file, std::size_t offset) {
    const auto end = file.begin() + static_cast<std::ptrdiff_t>(std::min(offset, file.size()));
    return 1 + static_cast<std::size_t>(std::count(file.begin(), end, std::uint8_t{'\n'}));
}

std::string reasonText(const HexImageSummary& summary) {
    switch (summary.end) {
        case HexWalkEnd::EndOfFile:
            return format("end of file (%zu records, %zu data records below 0x1000 skipped)", summary.records,
                          summary.skippedDataRecords);
        case HexWalkEnd::SegmentJump:
            return format("type-2 record at byte %zu (line %zu) jumps to segment 0x%04X, not adjacent to the image",
                          summary.offset, summary.line, static_cast<unsigned>(summary.jumpValue));
        case HexWalkEnd::LinearJump:
            return format("type-4 record at byte %zu (line %zu) jumps to 0x%04X, not adjacent to the image",
                          summary.offset, summary.line, static_cast<unsigned>(summary.jumpValue));
        case HexWalkEnd::NotARecord:
            return format("record at byte %zu (line %zu) does not start with ':'", summary.offset, summary.line);
        case HexWalkEnd::RecordCutShort:
            return format("record at byte %zu (line %zu) is cut short by the end of the file", summary.offset,
                          summary.line);
        case HexWalkEnd::ShortAddressRecord:
            return format("address record at byte %zu (line %zu) has fewer than 2 data bytes", summary.offset,
                          summary.line);
        case HexWalkEnd::TrailingText:
            return format("text after the end-of-file record at byte %zu (line %zu)", summary.offset, summary.line);
    }
    return {};
}

}  // namespace

std::uint8_t IntelHex2BinConverter::ascii2char(std::uint8_t character) {
    return IntelHexWalk::digit(character);
}

std::uint8_t IntelHex2BinConverter::readByte(std::span<const std::uint8_t, 2> characters) {
    return IntelHexWalk::byte(characters[0], characters[1]);
}

std::uint16_t IntelHex2BinConverter::readAddress(std::span<const std::uint8_t, 4> characters) {
    return static_cast<std::uint16_t>(readByte(characters.first<2>()) * 256 + readByte(characters.last<2>()));
}

std::size_t IntelHex2BinConverter::calculateBinLength(std::span<const std::uint8_t> file) {
    const auto walk = IntelHexWalk::run(file, [](std::span<const std::uint8_t>, std::size_t) {});
    return walk.failed() ? 0 : walk.imageBytes;
}

std::optional<std::vector<std::uint8_t>> IntelHex2BinConverter::convert(std::span<const std::uint8_t> file) {
    // Sized by the same walk, so the fill below lands exactly on the end of the buffer.
    std::vector<std::uint8_t> image(calculateBinLength(file));
    std::size_t filled = 0;
    const auto walk = IntelHexWalk::run(file, [&](std::span<const std::uint8_t> digits, std::size_t length) {
        if (length > image.size() - filled) return;  // cannot happen: both walks read the same records
        std::uint8_t* out = image.data() + filled;
        for (std::size_t i = 0; i < length; ++i) out[i] = IntelHexWalk::byte(digits[2 * i], digits[2 * i + 1]);
        filled += length;
    });
    if (walk.failed()) return std::nullopt;
    return image;
}

HexImageSummary IntelHex2BinConverter::inspect(std::span<const std::uint8_t> file) {
    const auto walk = IntelHexWalk::run(file, [](std::span<const std::uint8_t>, std::size_t) {});
    HexImageSummary summary;
    summary.imageSize = walk.failed() ? 0 : walk.imageBytes;
    summary.packets = FirmwarePackets::packetCount(summary.imageSize);
    summary.bytesInLastPacket = summary.imageSize == 0 ? 0 : FirmwarePackets::bytesInLastPacket(summary.imageSize);
    summary.records = walk.records;
    summary.skippedDataRecords = walk.skippedDataRecords;
    summary.end = walk.end;
    summary.jumpValue = walk.jumpValue;
    summary.offset = walk.offset;
    summary.line = lineAt(file, walk.offset);
    summary.reason = reasonText(summary);
    return summary;
}

}  // namespace halvora
