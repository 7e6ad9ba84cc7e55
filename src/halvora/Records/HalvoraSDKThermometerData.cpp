#include "halvora/Records/HalvoraSDKThermometerData.hpp"

#include <cctype>
#include <vector>

#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora {

namespace {

/// A dictionary value as the text form of a dictionary writes it: bare when it is a plain word or number,
/// else in double quotes with quotes and backslashes escaped.
std::string dictionaryValue(const std::string& text) {
    bool bare = !text.empty();
    for (unsigned char c : text) {
        if (!std::isalnum(c) && c != '_') bare = false;
    }
    if (bare) return text;
    std::string quoted = "\"";
    for (char c : text) {
        if (c == '"' || c == '\\') quoted += '\\';
        quoted += c;
    }
    return quoted + "\"";
}

}  // namespace

std::string HalvoraSDKThermometerData::description() const {
    std::vector<std::pair<const char*, std::string>> entries;
    if (date) entries.emplace_back("date", Calendar::formatDateTime(*date));
    if (mode) entries.emplace_back("mode", std::to_string(*mode));
    if (temperature) entries.emplace_back("temperature", format("%.7g", *temperature));
    if (unit) entries.emplace_back("unit", *unit);
    std::string text = "{\n";
    for (const auto& [key, value] : entries) text += format("    %s = %s;\n", key, dictionaryValue(value).c_str());
    return text + "}";
}

}  // namespace halvora
