#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace halvora::lab {

/// The most bytes one notification of the bracelet carries.
constexpr std::size_t kBraceletNotificationLength = 20;

/// A whole decimal number of 1 to `maxDigits` digits and nothing else ("005" is 5); nothing otherwise.
std::optional<long long> braceletDecimal(const std::string& text, std::size_t maxDigits = 9);
/// A whole hexadecimal number of 1 to 8 digits, either case, and nothing else; nothing otherwise.
std::optional<std::uint32_t> braceletHexadecimal(const std::string& text);
/// The text cut at every `separator` ("a,,b" gives "a", "", "b").
std::vector<std::string> braceletFields(const std::string& text, char separator);
/// The bytes of an answer line: the text followed by "\r\n".
std::vector<std::uint8_t> braceletLine(const std::string& text);
/// `bytes` cut into notifications of at most kBraceletNotificationLength bytes, in order (none for no bytes).
std::vector<std::vector<std::uint8_t>> braceletNotifications(const std::vector<std::uint8_t>& bytes);

}  // namespace halvora::lab
