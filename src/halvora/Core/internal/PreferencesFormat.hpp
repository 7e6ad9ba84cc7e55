#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "halvora/Core/PreferenceUtils.hpp"

namespace halvora {

/// The text form of the preferences file: a header line, one "<tag> <key> <value>" line per entry and an
/// "end" line, each ending in a line feed. Parsing is strict: anything else (a missing end line, an unknown
/// tag or escape, a value that does not read completely, a repeated key) makes the whole file corrupt, so a
/// cut or mixed file is never taken for a good one.
class PreferencesFormat {
public:
    using Entries = std::map<std::string, PreferenceUtils::Value>;

    PreferencesFormat() = delete;

    static std::string serialize(const Entries& entries);
    /// The entries, or nothing when the text is not a complete, well-formed file.
    static std::optional<Entries> parse(std::string_view text);
    /// Keys are non-empty and made of letters, digits, '_', '-' and '.'.
    static bool isValidKey(std::string_view key);
};

}  // namespace halvora
