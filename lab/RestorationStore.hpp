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
    void remember(const std::string& restoreIdentifier, const std::string& peripheralIdentifier);
    void forget(const std::string& restoreIdentifier, const std::string& peripheralIdentifier);
    std::vector<std::string> peripherals(const std::string& restoreIdentifier) const;

private:
    mutable std::mutex mutex_;
    std::map<std::string, std::vector<std::string>> peripherals_;
};

}  // namespace halvora::lab
