#include "halvora/Core/Utils.hpp"

#include <algorithm>

#include "halvora/Core/internal/Utf8.hpp"

namespace halvora {

std::string Utils::reverseString(const std::string& text) {
    std::u16string units = Utf8::toUtf16(text);
    std::reverse(units.begin(), units.end());
    return Utf8::fromUtf16(units);
}

}  // namespace halvora
