#pragma once

#include <string>

namespace halvora {

/// Text helpers.
class Utils {
public:
    Utils() = delete;

    /// The text with its UTF-16 code units in reverse order, returned as UTF-8.
    ///
    /// Reversal works on code units, not characters, as the platform's text type does: a character outside
    /// the Basic Multilingual Plane (a surrogate pair) comes out as its low surrogate followed by its high
    /// surrogate. On the way back to UTF-8 such a unit that no longer forms a high-then-low pair becomes
    /// U+FFFD. Two neighbouring pairs can meet as a new pair: "\U0001F600\U0001F601" gives U+FFFD, then
    /// U+1F600 (the high half of the second pair followed by the low half of the first), then U+FFFD. Bytes
    /// of the input that are not valid UTF-8 are read as U+FFFD each. Combining marks end up before their
    /// base letter.
    static std::string reverseString(const std::string& text);
};

}  // namespace halvora
