#pragma once

#include <cstdint>
#include <string>
#include <variant>

#include "halvora/Records/HalvoraSDKHeartData.hpp"

namespace halvora {

/// What a driver reports with deviceOnDataReceived: an in-progress value (a cuff pressure), or a result
/// record.
using DeviceData = std::variant<std::int32_t, HalvoraSDKHeartData>;

/// What a driver reports with deviceOnErrorReceived: by convention a number (the error code); absent for a
/// device error the tables do not know; a text for an error that is not a number.
using DeviceError = std::variant<std::monostate, std::int32_t, std::string>;

}  // namespace halvora
