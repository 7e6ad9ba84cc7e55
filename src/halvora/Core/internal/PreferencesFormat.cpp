#include "halvora/Core/internal/PreferencesFormat.hpp"

#include <charconv>
#include <system_error>

namespace halvora {

namespace {

constexpr std::string_view kHeaderLine = "HalvoraSDK preferences 1";
constexpr std::string_view kEndLine = "end";
constexpr char kTextTag = 's';
constexpr char kIntegerTag = 'i';
constexpr char kDoubleTag = 'd';
constexpr char kEscape = '\\';

std::string escape(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        switch (c) {
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\0':
                out += "\\0";
                break;
            default:
                out += c;
                break;
        }
    }
    return out;
}

std::optional<std::string> unescape(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != kEscape) {
            out += text[i];
            continue;
        }
        if (++i == text.size()) return std::nullopt;
        switch (text[i]) {
            case '\\':
                out += '\\';
                break;
            case 'n':
                out += '\n';
                break;
            case 'r':
                out += '\r';
                break;
            case '0':
                out += '\0';
                break;
            default:
                return std::nullopt;
        }
    }
    return out;
}

template <typename Number>
std::string numberText(Number value) {
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

template <typename Number>
std::optional<Number> parseNumber(std::string_view text) {
    Number value{};
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (result.ec != std::errc{} || result.ptr != end || text.empty()) return std::nullopt;
    return value;
}

std::string valueLine(const std::string& key, const PreferenceUtils::Value& value) {
    if (const auto* text = std::get_if<std::string>(&value))
        return std::string{kTextTag} + ' ' + key + ' ' + escape(*text);
    if (const auto* integer = std::get_if<std::int64_t>(&value)) {
        return std::string{kIntegerTag} + ' ' + key + ' ' + numberText(*integer);
    }
    return std::string{kDoubleTag} + ' ' + key + ' ' + numberText(std::get<double>(value));
}

std::optional<PreferenceUtils::Value> parseValue(char tag, std::string_view text) {
    switch (tag) {
        case kTextTag:
            if (auto unescaped = unescape(text)) return PreferenceUtils::Value{std::move(*unescaped)};
            return std::nullopt;
        case kIntegerTag:
            if (auto integer = parseNumber<std::int64_t>(text)) return PreferenceUtils::Value{*integer};
            return std::nullopt;
        case kDoubleTag:
            if (auto number = parseNumber<double>(text)) return PreferenceUtils::Value{*number};
            return std::nullopt;
        default:
            return std::nullopt;
    }
}

/// Parses "<tag> <key> <value>" into `entries`; false when the line is malformed or repeats a key.
bool parseEntryLine(std::string_view line, PreferencesFormat::Entries& entries) {
    if (line.size() < 4 || line[1] != ' ') return false;
    const std::size_t keyEnd = line.find(' ', 2);
    if (keyEnd == std::string_view::npos) return false;
    const std::string_view key = line.substr(2, keyEnd - 2);
    if (!PreferencesFormat::isValidKey(key)) return false;
    auto value = parseValue(line[0], line.substr(keyEnd + 1));
    if (!value) return false;
    return entries.emplace(std::string(key), std::move(*value)).second;
}

}  // namespace

std::string PreferencesFormat::serialize(const Entries& entries) {
    std::string text(kHeaderLine);
    text += '\n';
    for (const auto& [key, value] : entries) {
        text += valueLine(key, value);
        text += '\n';
    }
    text += kEndLine;
    text += '\n';
    return text;
}

std::optional<PreferencesFormat::Entries> PreferencesFormat::parse(std::string_view text) {
    Entries entries;
    bool sawHeader = false;
    bool sawEnd = false;
    std::size_t pos = 0;
    while (pos < text.size()) {
        const std::size_t newline = text.find('\n', pos);
        if (newline == std::string_view::npos || sawEnd) return std::nullopt;  // cut line or text after the end
        const std::string_view line = text.substr(pos, newline - pos);
        pos = newline + 1;
        if (!sawHeader) {
            if (line != kHeaderLine) return std::nullopt;
            sawHeader = true;
        } else if (line == kEndLine) {
            sawEnd = true;
        } else if (!parseEntryLine(line, entries)) {
            return std::nullopt;
        }
    }
    if (!sawEnd) return std::nullopt;
    return entries;
}

bool PreferencesFormat::isValidKey(std::string_view key) {
    if (key.empty()) return false;
    for (const char c : key) {
        const bool allowed = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
                             c == '-' || c == '.';
        if (!allowed) return false;
    }
    return true;
}

}  // namespace halvora
