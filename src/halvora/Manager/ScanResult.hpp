#pragma once

#include <map>
#include <vector>

#include "halvora/Core/DeviceType.hpp"
#include "halvora/Core/HalvoraSDKDevice.hpp"

namespace halvora {

/// The scan for all devices: per kind, the devices heard, at most one per identifier, in order of first
/// appearance.
using ScanResult = std::map<DeviceKind, std::vector<HalvoraSDKDevice>>;

}  // namespace halvora
