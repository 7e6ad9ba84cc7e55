#include "halvora/Transport/BlueZ/internal/SharedHolds.hpp"

namespace halvora::bluez {

void SharedHolds::hold(const std::string& path, std::uint64_t holder) {
    holders_[path].insert(holder);
}

bool SharedHolds::release(const std::string& path, std::uint64_t holder) {
    const auto it = holders_.find(path);
    if (it == holders_.end()) return true;
    it->second.erase(holder);
    if (!it->second.empty()) return false;
    holders_.erase(it);
    return true;
}

bool SharedHolds::held(const std::string& path) const {
    return holders_.count(path) != 0;
}

std::vector<std::string> SharedHolds::releaseAll(std::uint64_t holder) {
    std::vector<std::string> ended;
    for (auto it = holders_.begin(); it != holders_.end();) {
        if (it->second.erase(holder) != 0 && it->second.empty()) {
            ended.push_back(it->first);
            it = holders_.erase(it);
        } else {
            ++it;
        }
    }
    return ended;
}

std::vector<std::string> SharedHolds::paths() const {
    std::vector<std::string> all;
    for (const auto& [path, holders] : holders_) all.push_back(path);
    return all;
}

}  // namespace halvora::bluez
