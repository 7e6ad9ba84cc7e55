#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "halvora/DFU/HexImageSummary.hpp"

namespace halvora {

/// Turns the Intel HEX text of a firmware file into the flat image that the RM830 bracelet's bootloader is
/// sent. Class operations only, no state; safe from any thread.
///
/// Records are read in order with a running base address: data records at or above 0x1000 (below it lies the
/// bootloader) are packed one after the other in file order, whatever their addresses (gaps vanish); a type-2
/// or type-4 record that moves to a segment not adjacent to the image's ends the image (so the image is the
/// first run of consecutive 64 KiB segments, and a jump to a settings area ends it); other record types
/// change nothing. Records may end in "\n", "\r\n" or nothing. Checksums are not verified. The text must end
/// exactly where a record (and its line end) ends.
///
/// Bad text: a record that does not start with ':' (trailing text after the last record included), a record
/// cut short by the end of the text, or a type-2/type-4 record with fewer than 2 data bytes leaves no image at
/// all: `calculateBinLength` gives 0 and `convert` nothing. Nothing outside the text is ever read.
class IntelHex2BinConverter {
public:
    IntelHex2BinConverter() = delete;

    /// The value of one upper-case hex digit: '0'..'9' give 0..9; any character from 'A' up gives its code
    /// minus 55 ('A'..'F' give 10..15; lower-case letters give meaningless values); ':' to '@' give their code
    /// minus '0' (10 to 16); a character below '0' gives 255.
    static std::uint8_t ascii2char(std::uint8_t character);
    /// Two digits as a byte: first digit x 16 + second digit, kept to 8 bits.
    static std::uint8_t readByte(std::span<const std::uint8_t, 2> characters);
    /// Four digits as a 16-bit number: readByte of the first two x 256 + readByte of the next two.
    static std::uint16_t readAddress(std::span<const std::uint8_t, 4> characters);
    /// The number of image bytes that `convert` produces from `file`, or 0 when it produces none.
    static std::size_t calculateBinLength(std::span<const std::uint8_t> file);
    /// The image, or nothing when the text is bad (see the class comment). An empty text gives an empty image.
    /// Sized once by `calculateBinLength`, filled in one pass.
    static std::optional<std::vector<std::uint8_t>> convert(std::span<const std::uint8_t> file);
    /// What `convert` makes of `file`, for tools and messages: image size and packets, records read and
    /// skipped, and why the walk ended (see HexImageSummary). Its `imageSize` equals the size of `convert`'s
    /// image (0 when there is none).
    static HexImageSummary inspect(std::span<const std::uint8_t> file);
};

}  // namespace halvora
