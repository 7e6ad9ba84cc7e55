#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace halvora {

/// UTF-8 <-> UTF-16 conversions for the text helpers.
class Utf8 {
public:
    Utf8() = delete;

    /// The UTF-16 code units of valid UTF-8 text, or nothing when the bytes are not valid UTF-8 (overlong
    /// forms, encoded surrogates, values above U+10FFFF and cut sequences are all invalid).
    static std::optional<std::u16string> toUtf16Strict(std::string_view utf8);

    /// As `toUtf16Strict`, but each byte that does not start a valid sequence becomes U+FFFD.
    static std::u16string toUtf16(std::string_view utf8);

    /// UTF-8 of UTF-16 code units; a surrogate that is not part of a high-then-low pair becomes U+FFFD.
    static std::string fromUtf16(std::u16string_view utf16);

    /// Appends the UTF-8 form of one code point (which must be a Unicode scalar value).
    static void appendCodePoint(std::string& out, char32_t codePoint);
};

}  // namespace halvora
