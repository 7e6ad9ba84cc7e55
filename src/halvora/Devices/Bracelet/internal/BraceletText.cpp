#include "halvora/Devices/Bracelet/internal/BraceletText.hpp"

#include <limits>

namespace halvora {

namespace {

constexpr std::uint8_t kHighestAsciiByte = 127;

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}
bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

}  // namespace

std::optional<std::string> BraceletText::asciiText(std::span<const std::uint8_t> value) {
    std::string text;
    text.reserve(value.size());
    for (std::uint8_t byte : value) {
        if (byte > kHighestAsciiByte) return std::nullopt;
        text.push_back(static_cast<char>(byte));
    }
    return text;
}

bool BraceletText::startsWith(std::string_view text, std::string_view prefix) {
    return text.starts_with(prefix);
}

bool BraceletText::contains(std::string_view text, std::string_view fragment) {
    return text.find(fragment) != std::string_view::npos;
}

std::string_view BraceletText::fieldAfterColon(std::string_view text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos) return {};
    const std::size_t start = colon + 1;
    std::size_t end = text.find(kLineEnd);
    if (end == std::string_view::npos) end = text.size();
    if (end < start) return {};
    return text.substr(start, end - start);
}

std::int32_t BraceletText::integerValue(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size() && isBlank(text[i])) ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
        negative = text[i] == '-';
        ++i;
    }
    constexpr std::int64_t kLimit = std::int64_t{std::numeric_limits<std::int32_t>::max()} + 1;
    std::int64_t magnitude = 0;
    for (; i < text.size() && isDigit(text[i]); ++i) {
        magnitude = magnitude * 10 + (text[i] - '0');
        if (magnitude > kLimit) magnitude = kLimit;  // held: no overflow, however many digits follow
    }
    const std::int64_t value = negative ? -magnitude : magnitude;
    if (value > std::numeric_limits<std::int32_t>::max()) return std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(value);
}

std::string BraceletText::replaceAll(std::string_view text, std::string_view from, std::string_view to) {
    if (from.empty()) return std::string(text);
    std::string out;
    std::size_t position = 0;
    for (std::size_t found = text.find(from); found != std::string_view::npos; found = text.find(from, position)) {
        out.append(text.substr(position, found - position));
        out.append(to);
        position = found + from.size();
    }
    out.append(text.substr(position));
    return out;
}

std::vector<std::string_view> BraceletText::split(std::string_view text, char separator) {
    std::vector<std::string_view> pieces;
    std::size_t start = 0;
    for (std::size_t found = text.find(separator); found != std::string_view::npos;
         found = text.find(separator, start)) {
        pieces.push_back(text.substr(start, found - start));
        start = found + 1;
    }
    pieces.push_back(text.substr(start));
    return pieces;
}

}  // namespace halvora
