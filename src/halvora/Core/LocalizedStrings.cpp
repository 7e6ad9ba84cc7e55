#include "halvora/Core/LocalizedStrings.hpp"

#include <mutex>

namespace halvora {

namespace {

struct StringTable {
    std::mutex mutex;
    std::map<std::string, std::string> entries;
};

StringTable& table() {
    static StringTable strings;
    return strings;
}

}  // namespace

void LocalizedStrings::setTable(std::map<std::string, std::string> entries) {
    StringTable& strings = table();
    std::lock_guard lock(strings.mutex);
    strings.entries = std::move(entries);
}

std::string LocalizedStrings::lookup(const std::string& key) {
    StringTable& strings = table();
    std::lock_guard lock(strings.mutex);
    const auto found = strings.entries.find(key);
    return found != strings.entries.end() ? found->second : key;
}

}  // namespace halvora
