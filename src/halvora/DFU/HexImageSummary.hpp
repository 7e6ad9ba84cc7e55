#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace halvora {

/// Why the walk over the records of an Intel HEX text ended.
enum class HexWalkEnd {
    EndOfFile,           ///< the last record ended exactly at the end of the text (an empty text ends here too)
    SegmentJump,         ///< a type-2 record moved to a segment not adjacent to the image's: the image ends before it
    LinearJump,          ///< a type-4 record moved to a 64 KiB block not adjacent to the image's: the image ends
    NotARecord,          ///< a record did not start with ':': there is no image
    RecordCutShort,      ///< the text ended inside a record: there is no image
    ShortAddressRecord,  ///< a type-2 or type-4 record had fewer than its 2 data bytes: there is no image
    TrailingText,        ///< text that is not a record followed the end-of-file record: there is no image
};

/// What the conversion of an Intel HEX text gives, for tools and for messages about a firmware file: the size
/// of the image and its packets, what the walk read and skipped, and why it ended.
///
/// `imageSize` is always the size of the image the converter produces from the same text (0 when it produces
/// none). Packets are the 20-byte pieces the image is sent in.
struct HexImageSummary {
    /// Bytes in the image (0 when there is none).
    std::size_t imageSize = 0;
    /// Packets of 20 bytes needed to send the image: imageSize / 20 rounded up.
    std::size_t packets = 0;
    /// Bytes in the last packet: 1 to 20, or 0 when the image is empty.
    std::size_t bytesInLastPacket = 0;
    /// Records read before the walk ended, including a jump record that ended it (a bad record is not counted).
    std::size_t records = 0;
    /// Data records left out of the image because they lie below address 0x1000 (the bootloader's area).
    std::size_t skippedDataRecords = 0;
    /// Why the walk ended.
    HexWalkEnd end = HexWalkEnd::EndOfFile;
    /// The value of the jump record that ended the walk: the segment of a type-2 record, the upper 16 address
    /// bits of a type-4 record; 0 otherwise.
    std::uint32_t jumpValue = 0;
    /// Byte offset of the record (or text) at which the walk ended; the text's size at its end.
    std::size_t offset = 0;
    /// Line of that offset, from 1 (one more than the line feeds before it).
    std::size_t line = 1;
    /// Why the walk ended, in one line ("end of file (12 records, 2 data records below 0x1000 skipped)",
    /// "record at byte 46 (line 3) does not start with ':'").
    std::string reason;
};

}  // namespace halvora
