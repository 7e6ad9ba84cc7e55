#include "lab/Devices/Bracelet/internal/BraceletText.hpp"

#include <algorithm>

namespace halvora::lab {

std::optional<long long> braceletDecimal(const std::string& text, std::size_t maxDigits) {
    if (text.empty() || text.size() > maxDigits || text.size() > 18) return std::nullopt;
    long long value = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return std::nullopt;
        value = value * 10 + (c - '0');
    }
    return value;
}

std::optional<std::uint32_t> braceletHexadecimal(const std::string& text) {
    if (text.empty() || text.size() > 8) return std::nullopt;
    std::uint32_t value = 0;
    for (char c : text) {
        std::uint32_t digit = 0;
        if (c >= '0' && c <= '9') {
            digit = static_cast<std::uint32_t>(c - '0');
        } else if (c >= 'A' && c <= 'F') {
            digit = static_cast<std::uint32_t>(c - 'A' + 10);
        } else if (c >= 'a' && c <= 'f') {
            digit = static_cast<std::uint32_t>(c - 'a' + 10);
        } else {
            return std::nullopt;
        }
        value = value << 4 | digit;
    }
    return value;
}

std::vector<std::string> braceletFields(const std::string& text, char separator) {
    std::vector<std::string> fields;
    std::size_t start = 0;
    for (auto at = text.find(separator); at != std::string::npos; at = text.find(separator, start)) {
        fields.push_back(text.substr(start, at - start));
        start = at + 1;
    }
    fields.push_back(text.substr(start));
    return fields;
}

std::vector<std::uint8_t> braceletLine(const std::string& text) {
    std::vector<std::uint8_t> bytes(text.begin(), text.end());
    bytes.push_back('\r');
    bytes.push_back('\n');
    return bytes;
}

std::vector<std::vector<std::uint8_t>> braceletNotifications(const std::vector<std::uint8_t>& bytes) {
    std::vector<std::vector<std::uint8_t>> parts;
    parts.reserve(bytes.size() / kBraceletNotificationLength + 1);
    for (std::size_t at = 0; at < bytes.size(); at += kBraceletNotificationLength) {
        const std::size_t end = std::min(bytes.size(), at + kBraceletNotificationLength);
        parts.emplace_back(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                           bytes.begin() + static_cast<std::ptrdiff_t>(end));
    }
    return parts;
}

}  // namespace halvora::lab
