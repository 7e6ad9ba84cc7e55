#include "lab/RestorationStore.hpp"

#include <algorithm>

namespace halvora::lab {

void RestorationStore::remember(const std::string& restoreIdentifier, const std::string& peripheralIdentifier) {
    std::lock_guard lock(mutex_);
    auto& list = peripherals_[restoreIdentifier];
    if (std::find(list.begin(), list.end(), peripheralIdentifier) == list.end()) list.push_back(peripheralIdentifier);
}

void RestorationStore::forget(const std::string& restoreIdentifier, const std::string& peripheralIdentifier) {
    std::lock_guard lock(mutex_);
    auto it = peripherals_.find(restoreIdentifier);
    if (it == peripherals_.end()) return;
    auto& list = it->second;
    list.erase(std::remove(list.begin(), list.end(), peripheralIdentifier), list.end());
}

std::vector<std::string> RestorationStore::peripherals(const std::string& restoreIdentifier) const {
    std::lock_guard lock(mutex_);
    auto it = peripherals_.find(restoreIdentifier);
    return it == peripherals_.end() ? std::vector<std::string>{} : it->second;
}

}  // namespace halvora::lab
