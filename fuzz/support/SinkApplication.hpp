#pragma once

#include <memory>

#include "halvora/Manager/HalvoraSDKManager.hpp"

namespace halvora::fuzz {

/// Sets every application delegate of `manager` to a receiver that looks at what it is given (so that a
/// record built from garbage is read end to end under the sanitizers) and keeps nothing. The receivers
/// live as long as the returned handle.
std::shared_ptr<void> installSinkDelegates(HalvoraSDKManager& manager);

}  // namespace halvora::fuzz
