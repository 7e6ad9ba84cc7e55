#include "halvora/Core/internal/Utf8.hpp"

#include <cstdint>

namespace halvora {

namespace {

constexpr char32_t kReplacementCharacter = 0xFFFD;
constexpr char32_t kHighSurrogateFirst = 0xD800;
constexpr char32_t kLowSurrogateFirst = 0xDC00;
constexpr char32_t kSurrogateEnd = 0xE000;
constexpr char32_t kLargestCodePoint = 0x10FFFF;
constexpr char32_t kFirstSupplementary = 0x10000;

bool isContinuation(std::uint8_t byte) {
    return (byte & 0xC0U) == 0x80U;
}
bool isHighSurrogate(char16_t unit) {
    return unit >= kHighSurrogateFirst && unit < kLowSurrogateFirst;
}
bool isLowSurrogate(char16_t unit) {
    return unit >= kLowSurrogateFirst && unit < kSurrogateEnd;
}

/// Decodes one sequence at `pos`; returns its length and sets `codePoint`, or returns 0 when the bytes at
/// `pos` do not start a valid sequence.
std::size_t decodeOne(std::string_view text, std::size_t pos, char32_t& codePoint) {
    const auto lead = static_cast<std::uint8_t>(text[pos]);
    std::size_t length = 0;
    char32_t value = 0;
    char32_t smallest = 0;
    if (lead < 0x80U) {
        codePoint = lead;
        return 1;
    } else if ((lead & 0xE0U) == 0xC0U) {
        length = 2, value = lead & 0x1FU, smallest = 0x80;
    } else if ((lead & 0xF0U) == 0xE0U) {
        length = 3, value = lead & 0x0FU, smallest = 0x800;
    } else if ((lead & 0xF8U) == 0xF0U) {
        length = 4, value = lead & 0x07U, smallest = kFirstSupplementary;
    } else {
        return 0;
    }
    if (text.size() - pos < length) return 0;
    for (std::size_t i = 1; i < length; ++i) {
        const auto byte = static_cast<std::uint8_t>(text[pos + i]);
        if (!isContinuation(byte)) return 0;
        value = (value << 6) | (byte & 0x3FU);
    }
    if (value < smallest || value > kLargestCodePoint) return 0;
    if (value >= kHighSurrogateFirst && value < kSurrogateEnd) return 0;
    codePoint = value;
    return length;
}

void appendUtf16(std::u16string& out, char32_t codePoint) {
    if (codePoint < kFirstSupplementary) {
        out.push_back(static_cast<char16_t>(codePoint));
        return;
    }
    const char32_t offset = codePoint - kFirstSupplementary;
    out.push_back(static_cast<char16_t>(kHighSurrogateFirst + (offset >> 10)));
    out.push_back(static_cast<char16_t>(kLowSurrogateFirst + (offset & 0x3FFU)));
}

std::optional<std::u16string> convert(std::string_view utf8, bool strict) {
    std::u16string out;
    out.reserve(utf8.size());
    std::size_t pos = 0;
    while (pos < utf8.size()) {
        char32_t codePoint = 0;
        const std::size_t length = decodeOne(utf8, pos, codePoint);
        if (length == 0) {
            if (strict) return std::nullopt;
            appendUtf16(out, kReplacementCharacter);
            ++pos;
            continue;
        }
        appendUtf16(out, codePoint);
        pos += length;
    }
    return out;
}

}  // namespace

std::optional<std::u16string> Utf8::toUtf16Strict(std::string_view utf8) {
    return convert(utf8, true);
}

std::u16string Utf8::toUtf16(std::string_view utf8) {
    return *convert(utf8, false);
}

std::string Utf8::fromUtf16(std::u16string_view utf16) {
    std::string out;
    out.reserve(utf16.size());
    for (std::size_t i = 0; i < utf16.size(); ++i) {
        const char16_t unit = utf16[i];
        if (isHighSurrogate(unit) && i + 1 < utf16.size() && isLowSurrogate(utf16[i + 1])) {
            const char32_t high = unit - kHighSurrogateFirst;
            const char32_t low = utf16[i + 1] - kLowSurrogateFirst;
            appendCodePoint(out, kFirstSupplementary + ((high << 10) | low));
            ++i;
        } else if (isHighSurrogate(unit) || isLowSurrogate(unit)) {
            appendCodePoint(out, kReplacementCharacter);
        } else {
            appendCodePoint(out, unit);
        }
    }
    return out;
}

void Utf8::appendCodePoint(std::string& out, char32_t codePoint) {
    if (codePoint < 0x80) {
        out.push_back(static_cast<char>(codePoint));
    } else if (codePoint < 0x800) {
        out.push_back(static_cast<char>(0xC0U | (codePoint >> 6)));
        out.push_back(static_cast<char>(0x80U | (codePoint & 0x3FU)));
    } else if (codePoint < kFirstSupplementary) {
        out.push_back(static_cast<char>(0xE0U | (codePoint >> 12)));
        out.push_back(static_cast<char>(0x80U | ((codePoint >> 6) & 0x3FU)));
        out.push_back(static_cast<char>(0x80U | (codePoint & 0x3FU)));
    } else {
        out.push_back(static_cast<char>(0xF0U | (codePoint >> 18)));
        out.push_back(static_cast<char>(0x80U | ((codePoint >> 12) & 0x3FU)));
        out.push_back(static_cast<char>(0x80U | ((codePoint >> 6) & 0x3FU)));
        out.push_back(static_cast<char>(0x80U | (codePoint & 0x3FU)));
    }
}

}  // namespace halvora
