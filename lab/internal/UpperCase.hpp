#pragma once

#include <algorithm>
#include <cctype>
#include <string>

namespace halvora::lab {

/// Identifiers are compared upper-case, as centrals report them.
inline std::string upperCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

}  // namespace halvora::lab
