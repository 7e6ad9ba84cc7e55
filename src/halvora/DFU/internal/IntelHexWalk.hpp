#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "halvora/DFU/HexImageSummary.hpp"

namespace halvora {

namespace hexdigits {

/// The value of every character as a hex digit (see IntelHexWalk::digit).
constexpr std::array<std::uint8_t, 256> makeTable() {
    std::array<std::uint8_t, 256> table{};
    for (unsigned c = 0; c < 256; ++c) {
        if (c < '0') {
            table[c] = 255;
        } else if (c >= 'A') {
            table[c] = static_cast<std::uint8_t>(c - 55);
        } else {
            table[c] = static_cast<std::uint8_t>(c - '0');
        }
    }
    return table;
}

/// The table, made once at compile time.
inline constexpr std::array<std::uint8_t, 256> kTable = makeTable();

}  // namespace hexdigits

/// The one walk over the records of an Intel HEX text that sizing, conversion and inspection share, so that
/// they cannot disagree.
///
/// A record: ':' then upper-case hex digit pairs: length L, address (2 bytes, big-endian), type, L data
/// bytes, checksum; 11 + 2L characters, then an optional carriage return and an optional line feed. The walk
/// keeps a base address B (from 0) and the count C of image bytes:
/// - type 0 (data): skipped when address + B < 0x1000, else its data is handed to the visitor (in file order,
///   gaps between records vanish) and C grows by L;
/// - type 2 (segment V): when C != 0 and V >> 12 != (B >> 16) + 1 the walk ends (SegmentJump), else B = 16V;
/// - type 4 (linear V): when C != 0 and V != (B >> 16) + 1 the walk ends (LinearJump), else B = V << 16;
/// - other types change nothing (an end-of-file record only marks what follows as trailing text).
/// Checksums are not verified. The walk ends when the next record would start exactly at the end of the text.
///
/// Nothing is read outside the text: a record is read only once all its 11 + 2L characters are known to lie
/// inside it; one that does not fit ends the walk as a bad record (RecordCutShort), as does a type-2 or
/// type-4 record with fewer than 2 data bytes (ShortAddressRecord). Nothing is allocated.
class IntelHexWalk {
public:
    IntelHexWalk() = delete;

    /// Where the walk ended and what it counted.
    struct Result {
        HexWalkEnd end = HexWalkEnd::EndOfFile;  ///< why it ended
        std::size_t imageBytes = 0;              ///< C: data bytes handed to the visitor
        std::size_t records = 0;                 ///< records read in full
        std::size_t skippedDataRecords = 0;      ///< data records below 0x1000
        std::size_t offset = 0;                  ///< offset of the record that ended it (the size at the end)
        std::uint32_t jumpValue = 0;             ///< V of the jump record that ended it

        /// True when the text has no image at all (a bad record or trailing text), as opposed to an image
        /// that ended at the end of the text or at a jump.
        bool failed() const {
            return end == HexWalkEnd::NotARecord || end == HexWalkEnd::RecordCutShort ||
                   end == HexWalkEnd::ShortAddressRecord || end == HexWalkEnd::TrailingText;
        }
    };

    /// The record start character.
    static constexpr std::uint8_t kStartCode = ':';
    /// Characters of a record besides its data: ':', length, address, type, checksum.
    static constexpr std::size_t kRecordOverhead = 11;
    /// Data records below this address (plus the base) belong to the bootloader and are skipped.
    static constexpr std::uint64_t kImageFloor = 0x1000;
    /// Record types.
    static constexpr std::uint8_t kTypeData = 0x00;
    static constexpr std::uint8_t kTypeEndOfFile = 0x01;
    static constexpr std::uint8_t kTypeExtendedSegment = 0x02;
    static constexpr std::uint8_t kTypeExtendedLinear = 0x04;

    /// The value of a hex digit: '0'..'9' give 0..9, characters from 'A' up their code minus 55 ('A'..'F' give
    /// 10..15; lower-case letters give meaningless values), ':' to '@' their code minus '0', characters below
    /// '0' give 255.
    static constexpr std::uint8_t digit(std::uint8_t character) { return hexdigits::kTable[character]; }
    /// Two digits as a byte: first x 16 + second, kept to 8 bits.
    static constexpr std::uint8_t byte(std::uint8_t high, std::uint8_t low) {
        return static_cast<std::uint8_t>(digit(high) * 16 + digit(low));
    }

    /// Walks `text`, calling `onData(hexDigits, length)` for every data record that goes into the image, with
    /// the record's 2L data characters.
    template <typename OnData>
    static Result run(std::span<const std::uint8_t> text, OnData&& onData);

private:
    static std::uint8_t byteAt(const std::uint8_t* p) { return byte(p[0], p[1]); }
    static std::uint32_t wordAt(const std::uint8_t* p) { return byteAt(p) * 256u + byteAt(p + 2); }
};

template <typename OnData>
IntelHexWalk::Result IntelHexWalk::run(std::span<const std::uint8_t> text, OnData&& onData) {
    Result result;
    const std::uint8_t* const begin = text.data();
    const std::size_t size = text.size();
    std::uint64_t base = 0;
    bool afterEndRecord = false;
    std::size_t position = 0;
    while (position < size) {
        result.offset = position;
        const std::uint8_t* record = begin + position;
        if (record[0] != kStartCode) {
            result.end = afterEndRecord ? HexWalkEnd::TrailingText : HexWalkEnd::NotARecord;
            return result;
        }
        if (size - position < kRecordOverhead) {
            result.end = HexWalkEnd::RecordCutShort;
            return result;
        }
        const std::size_t length = byteAt(record + 1);
        const std::size_t recordChars = kRecordOverhead + 2 * length;
        if (size - position < recordChars) {
            result.end = HexWalkEnd::RecordCutShort;
            return result;
        }
        const std::uint32_t address = wordAt(record + 3);
        const std::uint8_t type = byteAt(record + 7);
        const std::uint8_t* data = record + 9;
        if ((type == kTypeExtendedSegment || type == kTypeExtendedLinear) && length < 2) {
            result.end = HexWalkEnd::ShortAddressRecord;
            return result;
        }
        ++result.records;
        if (type == kTypeData) {
            if (address + base < kImageFloor) {
                ++result.skippedDataRecords;
            } else {
                onData(std::span<const std::uint8_t>(data, 2 * length), length);
                result.imageBytes += length;
            }
        } else if (type == kTypeExtendedSegment) {
            const std::uint32_t segment = wordAt(data);
            if (result.imageBytes != 0 && (segment >> 12) != (base >> 16) + 1) {
                result.end = HexWalkEnd::SegmentJump;
                result.jumpValue = segment;
                return result;
            }
            base = std::uint64_t{segment} * 16;
        } else if (type == kTypeExtendedLinear) {
            const std::uint32_t upper = wordAt(data);
            if (result.imageBytes != 0 && upper != (base >> 16) + 1) {
                result.end = HexWalkEnd::LinearJump;
                result.jumpValue = upper;
                return result;
            }
            base = std::uint64_t{upper} << 16;
        } else if (type == kTypeEndOfFile) {
            afterEndRecord = true;
        }
        position += recordChars;
        if (position < size && begin[position] == '\r') ++position;
        if (position < size && begin[position] == '\n') ++position;
    }
    result.offset = size;
    result.end = HexWalkEnd::EndOfFile;
    return result;
}

}  // namespace halvora
