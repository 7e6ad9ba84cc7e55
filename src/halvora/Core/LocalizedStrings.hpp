#pragma once

#include <map>
#include <string>

namespace halvora {

/// The host application's string table for the few texts the kit shows ("sleep_h", "sleep_min").
/// The kit ships no texts: a key without an entry is shown as the key itself. Safe from any thread.
class LocalizedStrings {
public:
    LocalizedStrings() = delete;

    /// Replaces the whole table.
    static void setTable(std::map<std::string, std::string> table);
    /// The text for `key`, or `key` itself when the table has no entry for it.
    static std::string lookup(const std::string& key);
};

}  // namespace halvora
