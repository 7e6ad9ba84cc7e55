#pragma once

#include <cstdint>
#include <string>
#include <variant>

#include "halvora/Records/HalvoraSDKHeartData.hpp"
#include "halvora/Records/HalvoraSDKTensioBraceletData.hpp"

namespace halvora {

/// What a driver reports with deviceOnDataReceived: an in-progress value (a cuff pressure), a result record
/// of a blood-pressure monitor or of the wrist blood-pressure bracelet, or a text (the wrist bracelet's
/// information: its clock, its schedule, its basic information).
using DeviceData = std::variant<std::int32_t, HalvoraSDKHeartData, HalvoraSDKTensioBraceletData, std::string>;

/// What a driver reports with deviceOnErrorReceived: by convention a number (the error code); absent for a
/// device error the tables do not know; a text for an error that is not a number.
using DeviceError = std::variant<std::monostate, std::int32_t, std::string>;

}  // namespace halvora
