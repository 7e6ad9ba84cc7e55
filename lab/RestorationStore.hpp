#pragma once

#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace halvora::lab {

/// What the system remembers for state restoration: per restore identifier, the peripherals that centrals
/// made with it connected or asked to connect, in the order they were first asked for. Thread-safe.
class RestorationStore {
public:
    /// Adds a peripheral to an identifier's list; one already there keeps its place.
    void remember(const std::string& restoreIdentifier, const std::string& peripheralIdentifier);
    /// Removes a peripheral from an identifier's list; unknown names change nothing.
    void forget(const std::string& restoreIdentifier, const std::string& peripheralIdentifier);
    /// The identifier's peripherals, in the order they were first remembered; empty for an unknown identifier.
    std::vector<std::string> peripherals(const std::string& restoreIdentifier) const;

private:
    mutable std::mutex mutex_;
    std::map<std::string, std::vector<std::string>> peripherals_;
};

}  // namespace halvora::lab
