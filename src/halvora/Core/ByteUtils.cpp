#include "halvora/Core/ByteUtils.hpp"

#include <algorithm>
#include <cmath>

#include "halvora/Core/FloatToBits.hpp"
#include "halvora/Core/Format.hpp"
#include "halvora/Core/Log.hpp"
#include "halvora/Core/internal/Utf8.hpp"

namespace halvora {

namespace {

constexpr std::size_t kWordSize = 4;
constexpr std::size_t kMacLength = 6;
constexpr std::size_t kChecksumHeaderLength = 2;
constexpr std::size_t kBinaryChunkDigits = 16;
constexpr std::size_t kDecToBinaryDigits = 8;

// IEEE 754 single precision.
constexpr std::uint32_t kIeeeSignBit = 0x80000000U;
constexpr int kIeeeFractionBits = 23;
constexpr std::uint32_t kIeeeFractionMask = 0x7FFFFFU;
constexpr std::uint32_t kIeeeExponentMask = 0xFFU;
constexpr std::uint32_t kIeeeImplicitBit = 0x800000U;
constexpr int kIeeeExponentBias = 127;
constexpr int kIeeeDenormalExponent = -126;

// IBM hexadecimal single precision.
constexpr std::uint8_t kIbmSignBit = 0x80;
constexpr int kIbmExponentBias = 64;

/// The byte at `index`, or 0 past the span's end.
std::uint8_t byteOrZero(std::span<const std::uint8_t> bytes, std::size_t index) {
    return index < bytes.size() ? bytes[index] : std::uint8_t{0};
}

/// Number of bytes before the first zero byte, never more than the span holds.
std::size_t zeroTerminatedLength(std::span<const std::uint8_t> bytes) {
    std::size_t length = 0;
    while (length < bytes.size() && bytes[length] != 0) ++length;
    return length;
}

int hexDigitValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool isHexDigit(char c) {
    return hexDigitValue(c) >= 0;
}

/// Upper-case hexadecimal of `value`, at least two digits.
std::string hexText(std::uint64_t value) {
    return format("%02llX", static_cast<unsigned long long>(value));
}

/// Binary digits of `value` without leading zeros (the empty text for 0), left-padded to `width`.
std::string paddedBinary(std::uint64_t value, std::int32_t width) {
    std::string digits;
    for (; value != 0; value >>= 1) digits.insert(digits.begin(), (value & 1U) != 0 ? '1' : '0');
    const auto wanted = static_cast<std::size_t>(width > 0 ? width : 0);
    if (digits.size() < wanted) digits.insert(0, wanted - digits.size(), '0');
    return digits;
}

std::uint64_t weightedBinaryValue(std::string_view binary) {
    std::uint64_t value = 0;
    std::uint64_t weight = 1;
    for (auto it = binary.rbegin(); it != binary.rend(); ++it) {
        const auto digit = static_cast<std::uint64_t>(static_cast<std::int64_t>(static_cast<unsigned char>(*it)) - '0');
        value += digit * weight;
        weight <<= 1;
    }
    return value;
}

std::uint8_t sumFrom(std::span<const std::uint8_t> bytes, std::size_t start) {
    unsigned sum = 0;
    for (std::size_t i = start; i < bytes.size(); ++i) sum += bytes[i];
    return static_cast<std::uint8_t>(sum & 0xFFU);
}

std::vector<std::uint8_t> wordBigEndian(std::uint32_t value) {
    return {static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
            static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

}  // namespace

std::vector<std::uint8_t> ByteUtils::prepareByteArray(std::int32_t n) {
    if (n < 1) return {};
    return std::vector<std::uint8_t>(static_cast<std::size_t>(n), 0);
}

std::uint32_t ByteUtils::bytesToInt(std::span<const std::uint8_t> bytes) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < kWordSize; ++i) value = (value << 8) | byteOrZero(bytes, i);
    return value;
}

std::uint32_t ByteUtils::bytesToIntLittleIndian(std::span<const std::uint8_t> bytes) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < kWordSize; ++i) value |= static_cast<std::uint32_t>(byteOrZero(bytes, i)) << (8 * i);
    return value;
}

std::vector<std::uint8_t> ByteUtils::intToBytes(std::int32_t value) {
    return wordBigEndian(static_cast<std::uint32_t>(value));
}

std::vector<std::uint8_t> ByteUtils::intToBytesLittleIndian(std::uint32_t value) {
    return {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
            static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 24)};
}

std::uint8_t ByteUtils::charToInt(std::int32_t value) {
    return static_cast<std::uint8_t>(value & 0xFF);
}

std::uint32_t ByteUtils::byteArrayToInt(std::span<const std::uint8_t> bytes) {
    const std::size_t length = std::min(zeroTerminatedLength(bytes), kWordSize);
    return bytesToIntLittleIndian(bytes.first(length));
}

std::int32_t ByteUtils::byteArrayToIntSigned(std::span<const std::uint8_t> bytes) {
    return static_cast<std::int32_t>(byteArrayToInt(bytes));
}

std::int16_t ByteUtils::bytesToInt16(std::span<const std::uint8_t> bytes) {
    const std::size_t length = zeroTerminatedLength(bytes);
    if (length == 0) return 0;
    if (length == 1) return static_cast<std::int16_t>(bytes[0]);
    return static_cast<std::int16_t>(static_cast<std::uint16_t>((bytes[0] << 8) | bytes[1]));
}

std::int32_t ByteUtils::decToBCD(std::int32_t value) {
    std::uint32_t bcd = 0;
    for (unsigned shift = 0; value > 0 && shift < 32; shift += 4, value /= 10) {
        bcd |= static_cast<std::uint32_t>(value % 10) << shift;
    }
    return static_cast<std::int32_t>(bcd);
}

std::int32_t ByteUtils::bcdToDec(std::int32_t value) {
    return (value & 15) + (value >> 4) * 10;
}

std::string ByteUtils::decimalToHex(std::uint32_t value) {
    return hexText(value);
}

std::vector<std::string> ByteUtils::nsdataToHex(std::span<const std::uint8_t> bytes) {
    std::vector<std::string> texts;
    texts.reserve(bytes.size());
    for (const std::uint8_t byte : bytes) texts.push_back(format("%02lx", static_cast<unsigned long>(byte)));
    return texts;
}

std::string ByteUtils::byteArrayToMAC(std::span<const std::uint8_t> bytes) {
    std::string mac;
    for (std::size_t i = 0; i < kMacLength; ++i) {
        if (i > 0) mac += ':';
        mac += format("%02X", byteOrZero(bytes, i));
    }
    return mac;
}

std::optional<std::string> ByteUtils::byteArrayToString(std::span<const std::uint8_t> bytes, std::int32_t length) {
    const std::size_t count = std::min(static_cast<std::size_t>(length > 0 ? length : 0), bytes.size());
    const std::string_view raw(reinterpret_cast<const char*>(bytes.data()), count);
    if (!Utf8::toUtf16Strict(raw)) return std::nullopt;
    std::string text(raw);
    Log::shared().write(text);
    return text;
}

std::optional<std::string> ByteUtils::stringFromHexString(const std::string& hex) {
    if (hex.size() % 2 != 0) return std::nullopt;
    std::string text;
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        const int high = hexDigitValue(hex[i]);
        const int low = hexDigitValue(hex[i + 1]);
        if (high < 0 || low < 0) return std::nullopt;
        Utf8::appendCodePoint(text, static_cast<char32_t>(high * 16 + low));
    }
    return text;
}

std::optional<std::vector<std::uint8_t>> ByteUtils::dataFromArrayHex(const std::vector<std::string>& hexTexts) {
    std::string joined;
    for (const std::string& text : hexTexts) joined += text;
    return scanHexString(joined);
}

std::optional<std::vector<std::uint8_t>> ByteUtils::scanHexString(const std::string& hex) {
    std::size_t begin = 0;
    std::size_t end = hex.size();
    while (begin < end && !isHexDigit(hex[begin])) ++begin;
    while (end > begin && !isHexDigit(hex[end - 1])) --end;
    if ((end - begin) % 2 != 0) return std::nullopt;
    std::vector<std::uint8_t> bytes;
    bytes.reserve((end - begin) / 2);
    for (std::size_t i = begin; i < end; i += 2) {
        const int high = hexDigitValue(hex[i]);
        const int low = hexDigitValue(hex[i + 1]);
        if (high < 0 || low < 0) return std::nullopt;
        bytes.push_back(static_cast<std::uint8_t>(high * 16 + low));
    }
    return bytes;
}

std::string ByteUtils::decimalToBinary(std::int32_t value, std::int32_t width) {
    return paddedBinary(static_cast<std::uint32_t>(value), width);
}

std::string ByteUtils::decToBinary(std::uint64_t value, std::int32_t width) {
    std::string digits = paddedBinary(value, width);
    if (digits.size() > kDecToBinaryDigits) digits.erase(0, digits.size() - kDecToBinaryDigits);
    return digits;
}

std::int64_t ByteUtils::binaryToDecimal(const std::string& binary) {
    return static_cast<std::int64_t>(weightedBinaryValue(binary));
}

std::int64_t ByteUtils::binaryToDecimal(const std::string& binary, std::int32_t from, std::int32_t length) {
    const std::int64_t size = static_cast<std::int64_t>(binary.size());
    const std::int64_t begin = std::clamp<std::int64_t>(from, 0, size);
    const std::int64_t end = std::clamp<std::int64_t>(static_cast<std::int64_t>(from) + length, begin, size);
    const std::string_view part(binary.data() + begin, static_cast<std::size_t>(end - begin));
    return static_cast<std::int64_t>(weightedBinaryValue(part));
}

std::string ByteUtils::substringBinary(const std::string& text, std::int32_t location, std::int32_t length) {
    if (location < 0 || length < 0) return {};
    const auto begin = static_cast<std::size_t>(location);
    const auto count = static_cast<std::size_t>(length);
    if (begin > text.size() || count > text.size() - begin) return {};
    return text.substr(begin, count);
}

std::string ByteUtils::hexTtoBinary(const std::string& hex) {
    std::string binary;
    binary.reserve(hex.size() * 4);
    for (const char c : hex) {
        const int value = hexDigitValue(c);
        if (value >= 0) binary += paddedBinary(static_cast<std::uint64_t>(value), 4);
    }
    return binary;
}

std::string ByteUtils::binaryToHex(const std::string& binary) {
    if (binary.size() <= kBinaryChunkDigits) return hexText(weightedBinaryValue(binary));
    std::string hex;
    for (std::size_t pos = 0; pos < binary.size(); pos += kBinaryChunkDigits) {
        hex += hexText(weightedBinaryValue(std::string_view(binary).substr(pos, kBinaryChunkDigits)));
    }
    return hex;
}

std::string ByteUtils::checksum(std::span<const std::uint8_t> bytes) {
    return decimalToHex(sumFrom(bytes, kChecksumHeaderLength));
}

std::uint8_t ByteUtils::checksum(std::span<const std::uint8_t> bytes, std::int32_t start) {
    if (start < 0 || static_cast<std::size_t>(start) >= bytes.size()) return 0;
    return sumFrom(bytes, static_cast<std::size_t>(start));
}

double ByteUtils::convertIEEE754ToFloat(std::span<const std::uint8_t> bytes) {
    const std::uint32_t bits = bytesToInt(bytes);
    const std::uint32_t exponent = (bits >> kIeeeFractionBits) & kIeeeExponentMask;
    const std::uint32_t fraction = bits & kIeeeFractionMask;
    const double magnitude = exponent == 0
                                 ? std::ldexp(static_cast<double>(fraction), kIeeeDenormalExponent - kIeeeFractionBits)
                                 : std::ldexp(static_cast<double>(kIeeeImplicitBit | fraction),
                                              static_cast<int>(exponent) - kIeeeExponentBias - kIeeeFractionBits);
    return (bits & kIeeeSignBit) != 0 ? -magnitude : magnitude;
}

std::vector<std::uint8_t> ByteUtils::convertIEEE754FloatToBytes(float value) {
    const std::uint32_t bits = floatToBits(value);
    const std::uint32_t exponent = (bits >> kIeeeFractionBits) & kIeeeExponentMask;
    const std::uint32_t fraction = bits & kIeeeFractionMask;
    if (exponent == 0 && fraction == 0) return {0, 0, 0, 0};

    // value = mantissa / 2^24 * 2^binaryExponent, with bit 23 of the mantissa set.
    std::uint32_t mantissa = exponent == 0 ? fraction : (kIeeeImplicitBit | fraction);
    int binaryExponent = exponent == 0 ? kIeeeDenormalExponent + 1 : static_cast<int>(exponent) - kIeeeExponentBias + 1;
    while ((mantissa & kIeeeImplicitBit) == 0) {
        mantissa <<= 1;
        --binaryExponent;
    }
    const int shift = ((-binaryExponent) % 4 + 4) % 4;
    mantissa >>= shift;
    binaryExponent += shift;
    const int hexExponent = binaryExponent / 4 + kIbmExponentBias;

    std::vector<std::uint8_t> out = wordBigEndian(mantissa);
    out[0] = static_cast<std::uint8_t>(hexExponent) | ((bits & kIeeeSignBit) != 0 ? kIbmSignBit : std::uint8_t{0});
    return out;
}

}  // namespace halvora
