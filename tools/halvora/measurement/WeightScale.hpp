#pragma once

#include <optional>
#include <string>

#include "Session.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKWeightScaleData.hpp"

namespace halvora::cli {

/// The user's body data for the scale, as given on the command line (absent: keep what is stored).
struct ScaleUser {
    std::optional<int> height;
    std::optional<int> age;
    std::optional<std::string> gender;  ///< "male" or "female"
    std::optional<std::string> unit;    ///< "kg" or "lb"
};

/// Stores the user's body data the way an application does (setWeightScaleParams), filling what was not
/// given from the stored values.
void storeScaleUser(Session& session, const ScaleUser& user);
/// Waits for the connected scale's result; with `live`, the weights shown while weighing are printed.
HalvoraSDKWeightScaleData measureWeight(Session& session, double timeout, bool live);
/// "70.00 kg, fat 18.0 %" and the like, for one line.
std::string weightText(const HalvoraSDKWeightScaleData& data);
/// The result's figures as a table (name, value), or as one JSON object.
void printWeightResult(Session& session, const HalvoraSDKWeightScaleData& data);

}  // namespace halvora::cli
