#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "DFU/HexRecords.hpp"
#include "halvora/DFU/IntelHex2BinConverter.hpp"

namespace halvora::test {
namespace {

using Image = std::optional<std::vector<std::uint8_t>>;
using Bytes = std::vector<std::uint8_t>;

Bytes concat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const auto& part : parts) out.insert(out.end(), part.begin(), part.end());
    return out;
}

// The value of single digits and of digit pairs and quads.
TEST(IntelHex2BinConverterTest, DigitsBytesAndAddresses) {
    const std::pair<char, int> digits[] = {{'0', 0}, {'9', 9}, {'A', 10}, {'F', 15}, {'/', 255}, {' ', 255}, {'a', 42}};
    for (const auto& [c, value] : digits) EXPECT_EQ(IntelHex2BinConverter::ascii2char(c), value) << c;
    const std::uint8_t pair[] = {'7', 'F'};
    EXPECT_EQ(IntelHex2BinConverter::readByte(std::span<const std::uint8_t, 2>(pair)), 0x7F);
    const std::uint8_t quad[] = {'1', '2', 'A', 'B'};
    EXPECT_EQ(IntelHex2BinConverter::readAddress(std::span<const std::uint8_t, 4>(quad)), 0x12AB);
}

// Every text gives the same size from calculateBinLength, convert and inspect, and the walk ends as said.
TEST(IntelHex2BinConverterTest, ConversionCases) {
    const Bytes a = pattern(16, 0x10), b = pattern(8, 0x80), c = pattern(4, 0xC0);
    struct Case {
        const char* name;
        std::string text;
        Image image;
        HexWalkEnd end;
    };
    const Case cases[] = {
        {"empty text", "", Bytes{}, HexWalkEnd::EndOfFile},
        {"all below 0x1000", hexText({dataRecord(0x0000, a), dataRecord(0x0FF0, b), endRecord()}), Bytes{},
         HexWalkEnd::EndOfFile},
        {"line feeds", hexText({dataRecord(0x0FF8, c), dataRecord(0x1000, a), dataRecord(0x1010, b), endRecord()}),
         concat({a, b}), HexWalkEnd::EndOfFile},
        {"CR LF", hexText({dataRecord(0x1000, a), dataRecord(0x1010, b), endRecord()}, "\r\n"), concat({a, b}),
         HexWalkEnd::EndOfFile},
        {"no line ends", hexText({dataRecord(0x1000, a), dataRecord(0x1010, b), endRecord()}, ""), concat({a, b}),
         HexWalkEnd::EndOfFile},
        {"gaps vanish, file order kept", hexText({dataRecord(0x3000, b), dataRecord(0x1000, a), endRecord()}),
         concat({b, a}), HexWalkEnd::EndOfFile},
        {"checksums not verified", ":0410000001020304FF\n", Bytes{1, 2, 3, 4}, HexWalkEnd::EndOfFile},
        {"base lifts low addresses", hexText({linearRecord(1), dataRecord(0x0000, a), endRecord()}), a,
         HexWalkEnd::EndOfFile},
        {"type 4 to the next block continues",
         hexText({dataRecord(0x1000, a), linearRecord(1), dataRecord(0x0000, b), endRecord()}), concat({a, b}),
         HexWalkEnd::EndOfFile},
        {"type 4 to block 2 ends",
         hexText({dataRecord(0x1000, a), linearRecord(2), dataRecord(0x0000, b), endRecord()}), a,
         HexWalkEnd::LinearJump},
        {"type 4 to the same block ends", hexText({dataRecord(0x1000, a), linearRecord(0), dataRecord(0x2000, b)}), a,
         HexWalkEnd::LinearJump},
        {"type 4 before any data moves freely",
         hexText({linearRecord(5), dataRecord(0x0000, a), linearRecord(6), dataRecord(0x0000, b), endRecord()}),
         concat({a, b}), HexWalkEnd::EndOfFile},
        {"type 2 to the next segment continues",
         hexText({dataRecord(0x1000, a), segmentRecord(0x1000), dataRecord(0x0000, b), endRecord()}), concat({a, b}),
         HexWalkEnd::EndOfFile},
        {"type 2 to segment 0x2000 ends",
         hexText({dataRecord(0x1000, a), segmentRecord(0x2000), dataRecord(0x0000, b), endRecord()}), a,
         HexWalkEnd::SegmentJump},
        {"type 2 below the floor skips", hexText({segmentRecord(0x00F0), dataRecord(0x0000, a), dataRecord(0x0100, b)}),
         b, HexWalkEnd::EndOfFile},
        {"records after the end record still count", hexText({endRecord(), dataRecord(0x1000, c)}), c,
         HexWalkEnd::EndOfFile},
        {"trailing text", hexText({dataRecord(0x1000, a), endRecord()}) + "\n", std::nullopt, HexWalkEnd::TrailingText},
        {"not a record", hexText({dataRecord(0x1000, a), " " + dataRecord(0x1010, b), endRecord()}), std::nullopt,
         HexWalkEnd::NotARecord},
        {"lower-case record start", "x" + hexText({dataRecord(0x1000, a)}), std::nullopt, HexWalkEnd::NotARecord},
        {"cut in the data", hexText({dataRecord(0x1000, a)}).substr(0, 20), std::nullopt, HexWalkEnd::RecordCutShort},
        {"cut in the header", dataRecord(0x1000, a) + "\n:10", std::nullopt, HexWalkEnd::RecordCutShort},
        {"length beyond the text", ":FF100000" + std::string(20, '0'), std::nullopt, HexWalkEnd::RecordCutShort},
        {"address record without data", hexText({dataRecord(0x1000, a), hexRecord(0x04, 0, {})}), std::nullopt,
         HexWalkEnd::ShortAddressRecord},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        const Bytes text = textBytes(test.text);
        const Image image = IntelHex2BinConverter::convert(text);
        EXPECT_EQ(image, test.image);
        const std::size_t size = image ? image->size() : 0;
        EXPECT_EQ(IntelHex2BinConverter::calculateBinLength(text), size);
        const HexImageSummary summary = IntelHex2BinConverter::inspect(text);
        EXPECT_EQ(summary.imageSize, size);
        EXPECT_EQ(summary.end, test.end) << summary.reason;
    }
}

// The summary's packets, counts, position and reason.
TEST(IntelHex2BinConverterTest, InspectDescribesTheWalk) {
    const std::string text =
        hexText({dataRecord(0x0000, pattern(4)), dataRecord(0x1000, pattern(16)), dataRecord(0x1010, pattern(5)),
                 linearRecord(3), dataRecord(0x1020, pattern(16))});
    HexImageSummary summary = IntelHex2BinConverter::inspect(textBytes(text));
    EXPECT_EQ(summary.imageSize, 21u);
    EXPECT_EQ(summary.packets, 2u);
    EXPECT_EQ(summary.bytesInLastPacket, 1u);
    EXPECT_EQ(summary.records, 4u);
    EXPECT_EQ(summary.skippedDataRecords, 1u);
    EXPECT_EQ(summary.jumpValue, 3u);
    EXPECT_EQ(summary.line, 4u);
    EXPECT_EQ(summary.offset, text.find(linearRecord(3)));
    EXPECT_EQ(summary.reason, "type-4 record at byte " + std::to_string(summary.offset) +
                                  " (line 4) jumps to 0x0003, not adjacent to the image");

    const std::string bad = hexText({dataRecord(0x1000, pattern(40)), endRecord()}) + "junk";
    summary = IntelHex2BinConverter::inspect(textBytes(bad));
    EXPECT_EQ(summary.imageSize, 0u);
    EXPECT_EQ(summary.bytesInLastPacket, 0u);
    EXPECT_EQ(summary.reason,
              "text after the end-of-file record at byte " + std::to_string(bad.size() - 4) + " (line 3)");

    summary = IntelHex2BinConverter::inspect(textBytes(hexText({dataRecord(0x1000, pattern(40))})));
    EXPECT_EQ(summary.packets, 2u);
    EXPECT_EQ(summary.bytesInLastPacket, 20u);
    EXPECT_EQ(summary.reason, "end of file (1 records, 0 data records below 0x1000 skipped)");
}

// A text cut anywhere: where a record (or its line end) ends, the records before the cut are the image; anywhere
// else there is none. Each cut is its own buffer of that exact size, so a read past it would be caught.
TEST(IntelHex2BinConverterTest, TextCutAnywhereIsReadWithinItsBounds) {
    const std::vector<Bytes> data = {pattern(16, 1), pattern(3, 2), pattern(16, 3)};
    std::vector<std::string> records;
    for (std::size_t i = 0; i < data.size(); ++i)
        records.push_back(dataRecord(static_cast<std::uint16_t>(0x1000 + 16 * i), data[i]));
    const std::string full = hexText(records, "\r\n");
    std::vector<std::pair<std::size_t, std::size_t>> boundaries = {{0, 0}};  // cut -> image size
    std::size_t position = 0, size = 0;
    for (std::size_t i = 0; i < records.size(); ++i) {
        position += records[i].size();
        size += data[i].size();
        for (std::size_t end = 0; end < 3; ++end) boundaries.emplace_back(position + end, size);
        position += 2;
    }
    for (std::size_t cut = 0; cut <= full.size(); ++cut) {
        SCOPED_TRACE(cut);
        const Bytes text(full.begin(), full.begin() + static_cast<std::ptrdiff_t>(cut));
        std::optional<std::size_t> expected;
        for (const auto& [at, bytes] : boundaries) {
            if (at == cut) expected = bytes;
        }
        const Image image = IntelHex2BinConverter::convert(text);
        EXPECT_EQ(image.has_value(), expected.has_value());
        if (image && expected) {
            EXPECT_EQ(image->size(), *expected);
        }
        EXPECT_EQ(IntelHex2BinConverter::inspect(text).imageSize, expected.value_or(0));
    }
}

}  // namespace
}  // namespace halvora::test
