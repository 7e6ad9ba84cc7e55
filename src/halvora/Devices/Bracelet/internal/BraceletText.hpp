#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace halvora {

/// Text helpers for the bracelet's line protocol ("AT+...:<value>\r\n").
class BraceletText {
public:
    BraceletText() = delete;

    /// The line end of every command and answer.
    static constexpr std::string_view kLineEnd = "\r\n";

    /// The bytes as ASCII text; nothing when any byte is above 127 (the value is binary). An empty value is
    /// the empty text.
    static std::optional<std::string> asciiText(std::span<const std::uint8_t> value);
    static bool startsWith(std::string_view text, std::string_view prefix);
    static bool contains(std::string_view text, std::string_view fragment);
    /// The text between the first ":" and the first "\r\n" (the end of the text when there is no "\r\n");
    /// empty without a ":" or when the first "\r\n" comes before the ":".
    static std::string_view fieldAfterColon(std::string_view text);
    /// The leading integer of a text, read the way the bracelet's numbers have always been read: leading
    /// blanks skipped, an optional sign, then decimal digits up to the first other character; 0 when there
    /// are no digits; values beyond 32 bits are held at the nearest 32-bit limit.
    static std::int32_t integerValue(std::string_view text);
    /// `text` with every occurrence of `from` replaced by `to`.
    static std::string replaceAll(std::string_view text, std::string_view from, std::string_view to);
    /// `text` cut at every `separator` (n separators give n + 1 pieces).
    static std::vector<std::string_view> split(std::string_view text, char separator);
};

}  // namespace halvora
