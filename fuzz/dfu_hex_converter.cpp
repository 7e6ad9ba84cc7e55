// The Intel HEX converter: any text is sized, converted and inspected, and the three must tell the same
// story. A broken promise of IntelHex2BinConverter.hpp or HexImageSummary.hpp stops the fuzzer (trap), as a
// sanitizer's report does.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "halvora/DFU/IntelHex2BinConverter.hpp"

namespace {

using halvora::HexImageSummary;
using halvora::HexWalkEnd;
using halvora::IntelHex2BinConverter;
using Bytes = std::vector<std::uint8_t>;

/// Bytes in every packet but the last.
constexpr std::size_t kPacketSize = 20;

void expect(bool promiseKept) {
    if (!promiseKept) __builtin_trap();
}

/// The walk ended at the end of the text or at a jump: there is an image (perhaps empty).
bool endsWithImage(HexWalkEnd end) {
    return end == HexWalkEnd::EndOfFile || end == HexWalkEnd::SegmentJump || end == HexWalkEnd::LinearJump;
}

bool isJump(HexWalkEnd end) {
    return end == HexWalkEnd::SegmentJump || end == HexWalkEnd::LinearJump;
}

/// Size, image and summary agree; packets and bytes in the last packet follow from the size.
void checkAgreement(std::size_t length, const std::optional<Bytes>& image, const HexImageSummary& summary) {
    expect(summary.imageSize == length);
    expect(image.has_value() == endsWithImage(summary.end));
    expect(image ? image->size() == length : length == 0);
    expect(summary.packets == (length + kPacketSize - 1) / kPacketSize);
    if (length == 0) {
        expect(summary.bytesInLastPacket == 0);
    } else {
        expect(summary.bytesInLastPacket >= 1 && summary.bytesInLastPacket <= kPacketSize);
        expect((summary.packets - 1) * kPacketSize + summary.bytesInLastPacket == length);
    }
}

/// Where and why the walk ended: an offset inside the text (its size at the end of it), the line of that
/// offset, a jump value only for a jump, and a reason to show.
void checkPosition(std::span<const std::uint8_t> text, const HexImageSummary& summary) {
    expect(summary.end == HexWalkEnd::EndOfFile ? summary.offset == text.size() : summary.offset < text.size());
    const auto before = text.first(std::min(summary.offset, text.size()));
    expect(summary.line == 1 + static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n')));
    if (!isJump(summary.end)) expect(summary.jumpValue == 0);
    expect(summary.skippedDataRecords <= summary.records);
    expect(!summary.reason.empty());
}

/// The text before the record that ended the walk is a clean text of its own: it ends at its end, after the
/// same records (the jump record that ended a walk excepted), and an image that ended at a jump is exactly
/// that text's image. The prefix is its own buffer of exactly its size, so a read past it is caught.
void checkPrefix(std::span<const std::uint8_t> text, const HexImageSummary& summary,
                 const std::optional<Bytes>& image) {
    if (summary.end == HexWalkEnd::EndOfFile) return;
    const Bytes prefix(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(summary.offset));
    const HexImageSummary before = IntelHex2BinConverter::inspect(prefix);
    expect(before.end == HexWalkEnd::EndOfFile);
    expect(before.records + (isJump(summary.end) ? 1 : 0) == summary.records);
    expect(before.skippedDataRecords == summary.skippedDataRecords);
    if (isJump(summary.end)) expect(IntelHex2BinConverter::convert(prefix) == image);
}

/// The digit helpers agree with each other on the text's first characters.
void checkDigits(std::span<const std::uint8_t> text) {
    if (text.size() < 4) return;
    const auto quad = text.first<4>();
    const auto high = IntelHex2BinConverter::readByte(quad.first<2>());
    const auto low = IntelHex2BinConverter::readByte(quad.last<2>());
    expect(high == static_cast<std::uint8_t>(IntelHex2BinConverter::ascii2char(quad[0]) * 16 +
                                             IntelHex2BinConverter::ascii2char(quad[1])));
    expect(IntelHex2BinConverter::readAddress(quad) == static_cast<std::uint16_t>(high * 256 + low));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span<const std::uint8_t> text(data, size);
    const std::size_t length = IntelHex2BinConverter::calculateBinLength(text);
    const std::optional<Bytes> image = IntelHex2BinConverter::convert(text);
    const HexImageSummary summary = IntelHex2BinConverter::inspect(text);
    checkAgreement(length, image, summary);
    checkPosition(text, summary);
    checkPrefix(text, summary, image);
    checkDigits(text);
    return 0;
}
