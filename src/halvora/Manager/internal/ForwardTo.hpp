#pragma once

// The facade files' shared step: find the registered driver of a kind and run the work on it on the
// driver's callback queue, where its state lives.
#include "halvora/Manager/HalvoraSDKManager.hpp"

namespace halvora {

template <typename Driver, typename Work>
bool HalvoraSDKManager::forwardTo(DeviceKind kind, Work work) {
    auto driver = std::dynamic_pointer_cast<Driver>(driverForKind(kind));
    if (!driver) return false;
    bleQueue_->async([driver, work] { work(*driver); });
    return true;
}

}  // namespace halvora
