#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace halvora {

/// Byte, BCD, hexadecimal and binary-text helpers shared by the drivers to build and read frames.
///
/// Several operations keep quirks that the drivers rely on (zero-terminated reads, the two skipped header
/// bytes of `checksum`, the cut to 8 digits of `decToBinary`); they are documented per function.
///
/// Reads never go past the span they are given. Where an operation reads a fixed number of bytes and the
/// span is shorter, the missing bytes count as zero, exactly as if the span were padded with zero bytes at
/// its end. Zero-terminated reads stop at the first zero byte or at the span's end, whichever comes first.
///
/// All functions are stateless and reentrant. Hexadecimal texts produced here use upper-case digits unless
/// stated otherwise.
class ByteUtils {
public:
    ByteUtils() = delete;

    // ---------------------------------------------------------------- integers and byte order

    /// A new zero-filled block of `n` bytes; an empty block when `n` is below 1.
    static std::vector<std::uint8_t> prepareByteArray(std::int32_t n);

    /// The first 4 bytes as an unsigned big-endian number (byte 0 is the most significant).
    /// A shorter span reads as if padded with zeros at its end: {0x12, 0x34} gives 0x12340000.
    static std::uint32_t bytesToInt(std::span<const std::uint8_t> bytes);

    /// The first 4 bytes as an unsigned little-endian number (byte 0 is the least significant).
    /// A shorter span reads as if padded with zeros at its end: {0x12, 0x34} gives 0x3412.
    static std::uint32_t bytesToIntLittleIndian(std::span<const std::uint8_t> bytes);

    /// A new 4-byte block holding `value` big-endian.
    static std::vector<std::uint8_t> intToBytes(std::int32_t value);

    /// A new 4-byte block holding `value` little-endian.
    static std::vector<std::uint8_t> intToBytesLittleIndian(std::uint32_t value);

    /// The low 8 bits of `value` as an unsigned number (0 to 255).
    static std::uint8_t charToInt(std::int32_t value);

    /// Zero-terminated little-endian read: the bytes before the first zero byte (at most 4, and never past
    /// the span's end) are the number, byte 0 the least significant. {0x05, 0x01, 0x00} gives 261;
    /// {0x00, 0x10} gives 0, since a zero byte ends the number.
    static std::uint32_t byteArrayToInt(std::span<const std::uint8_t> bytes);

    /// The same bits as `byteArrayToInt`, seen as a signed number: no sign extension is done, so {0xFF}
    /// gives 255 and only four non-zero bytes can give a negative number.
    static std::int32_t byteArrayToIntSigned(std::span<const std::uint8_t> bytes);

    /// With L the zero-terminated length of the span (bytes before the first zero byte, or the span's size):
    /// L >= 2 gives the signed big-endian value of the first two bytes; L = 1 the first byte, unsigned;
    /// L = 0 gives 0, even when the second byte is not zero.
    static std::int16_t bytesToInt16(std::span<const std::uint8_t> bytes);

    /// Packed BCD, one decimal digit per nibble, least significant digit in the low nibble (1234 gives
    /// 0x1234). Zero or negative values give 0. Digits beyond the eighth do not fit and are lost.
    static std::int32_t decToBCD(std::int32_t value);

    /// (value AND 15) + (value >> 4) * 10: meant for two-digit BCD bytes (0x59 gives 59).
    static std::int32_t bcdToDec(std::int32_t value);

    // ---------------------------------------------------------------- texts

    /// Upper-case hexadecimal without prefix; a one-digit result gets a leading "0" (10 gives "0A", 255 "FF",
    /// 4096 "1000").
    static std::string decimalToHex(std::uint32_t value);

    /// One two-character lower-case hexadecimal text per byte, in order; nothing for an empty span.
    static std::vector<std::string> nsdataToHex(std::span<const std::uint8_t> bytes);

    /// The first 6 bytes as "AA:BB:CC:DD:EE:FF" (upper-case, in the order given). A shorter span reads as if
    /// padded with zero bytes: {0x12} gives "12:00:00:00:00:00".
    static std::string byteArrayToMAC(std::span<const std::uint8_t> bytes);

    /// The first `length` bytes (never more than the span holds; a negative length counts as 0) decoded as
    /// UTF-8. The text is also written to the log. Bytes that are not valid UTF-8 give nothing (and nothing
    /// is logged).
    static std::optional<std::string> byteArrayToString(std::span<const std::uint8_t> bytes, std::int32_t length);

    /// Each pair of hexadecimal digits becomes one character of that code (codes 0x80 to 0xFF are the
    /// Latin-1 characters, written as UTF-8; 00 gives a NUL character). An odd length, or a pair that is not
    /// two hexadecimal digits, gives nothing; the empty text gives the empty text.
    static std::optional<std::string> stringFromHexString(const std::string& hex);

    /// The texts concatenated and passed to `scanHexString`.
    static std::optional<std::vector<std::uint8_t>> dataFromArrayHex(const std::vector<std::string>& hexTexts);

    /// Bytes from a hexadecimal text: characters that are not hexadecimal digits are trimmed from both ends;
    /// an odd remaining length gives nothing; otherwise every pair of digits becomes one byte, in order.
    /// A non-digit left inside the text gives nothing; a text with no digits gives an empty block.
    static std::optional<std::vector<std::uint8_t>> scanHexString(const std::string& hex);

    /// Binary text of `value`, most significant bit first, left-padded with "0" to `width` characters
    /// (longer results are not cut). 0 gives `width` zeros (the empty text for width 0). A negative value is
    /// written as its 32-bit two's-complement pattern (32 digits). A negative width counts as 0.
    static std::string decimalToBinary(std::int32_t value, std::int32_t width);

    /// As `decimalToBinary`, then cut to its last 8 characters (300 with width 8 gives "00101100").
    /// Callers pass a width of at least 8; a text that is still shorter than 8 is returned whole.
    static std::string decToBinary(std::uint64_t value, std::int32_t width);

    /// The value of a text of "0"/"1" digits, each character weighted from the right by powers of two; any
    /// other character counts as its code minus 48. Arithmetic wraps modulo 2^64 (digits past the 64th
    /// position from the right add nothing).
    static std::int64_t binaryToDecimal(const std::string& binary);

    /// `binaryToDecimal` of the sub-text of `length` characters from `from`; the part of the range that
    /// lies outside the text is ignored (a range wholly outside gives 0).
    static std::int64_t binaryToDecimal(const std::string& binary, std::int32_t from, std::int32_t length);

    /// The sub-text of `length` characters from `location`, or the empty text when the range runs past the
    /// end (or is negative).
    static std::string substringBinary(const std::string& text, std::int32_t location, std::int32_t length);

    /// Every hexadecimal digit (either case) replaced by its 4-digit binary text ("0000" to "1111"); other
    /// characters are dropped.
    static std::string hexTtoBinary(const std::string& hex);

    /// A text of at most 16 binary digits becomes its value in upper-case hexadecimal without leading zeros,
    /// except that a one-digit result gets a leading "0" (the empty text gives "00"). A longer text is cut
    /// into chunks of 16 digits from the left (the last may be shorter); each chunk is converted on its own
    /// and the results are joined. Digits are weighted as `binaryToDecimal` does.
    static std::string binaryToHex(const std::string& binary);

    // ---------------------------------------------------------------- checksums

    /// Sum of the bytes from index 2 to the end, modulo 256, as two upper-case hexadecimal digits. The two
    /// header bytes of a frame are skipped by design; spans shorter than 3 bytes give "00".
    static std::string checksum(std::span<const std::uint8_t> bytes);

    /// Sum of the bytes from `start` to the end, modulo 256; 0 when `start` is not inside the span.
    static std::uint8_t checksum(std::span<const std::uint8_t> bytes, std::int32_t start);

    // ---------------------------------------------------------------- floating point

    /// The first 4 bytes as a big-endian IEEE 754 single-precision value (byte 0 holds the sign and the high
    /// exponent bits), as a double. Denormals are decoded; exponent 255 is decoded like any other exponent
    /// (no infinities or NaN come out). A shorter span reads as if padded with zeros at its end.
    static double convertIEEE754ToFloat(std::span<const std::uint8_t> bytes);

    /// A new 4-byte block holding `value` in the IBM hexadecimal single-precision format: byte 0 is the sign
    /// bit (0x80) OR (64 + the base-16 exponent), bytes 1 to 3 the 24-bit mantissa, big-endian. The binary
    /// exponent is raised to a multiple of 4 by shifting the mantissa right (the bits shifted out are lost).
    /// Zero gives four zero bytes; denormals are normalised first; an IEEE exponent of 255 is converted like
    /// any other exponent.
    static std::vector<std::uint8_t> convertIEEE754FloatToBytes(float value);
};

}  // namespace halvora
