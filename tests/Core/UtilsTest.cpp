#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "halvora/Core/Utils.hpp"

namespace halvora {
namespace {

TEST(UtilsReverseString, ReversesUtf16CodeUnits) {
    const std::string notUtf8 = "\xFF";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"abc", "cba"},
        {"", ""},
        {"a\u00F1b", "b\u00F1a"},            // two UTF-8 bytes, one code unit
        {"x\u20AC", "\u20ACx"},              // three UTF-8 bytes, one code unit
        {"a\U0001F600b", "b\uFFFD\uFFFDa"},  // a split pair becomes two U+FFFD
        // The high half of the second pair and the low half of the first meet as U+1F600.
        {"\U0001F600\U0001F601", "\uFFFD\U0001F600\uFFFD"},
        {notUtf8 + "a", "a\uFFFD"},  // a byte that is not UTF-8 reads as U+FFFD
    };
    for (const auto& [text, reversed] : cases) EXPECT_EQ(Utils::reverseString(text), reversed) << text;
}

}  // namespace
}  // namespace halvora
