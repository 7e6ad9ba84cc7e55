#pragma once

#include <cstdint>
#include <optional>

#include "halvora/Devices/Vital/HalvoraSDKVitalECGConstantsData.hpp"

namespace halvora {

/// A status the Vital bracelet reports about an ECG measurement: the answer to the start of an upload
/// (command 28: 0 or 1 the upload runs, above 1 it does not) and to a status poll (command 29: 3 means the
/// measurement is finished).
struct HalvoraSDKVitalECGStatus {
    /// The bracelet's status number.
    std::int32_t status = 0;
    /// The measurement's summary, present with a finished status (3) whose reply carries it; the same values
    /// arrive just before as command 30. Absent otherwise.
    std::optional<HalvoraSDKVitalECGConstantsData> data;
};

}  // namespace halvora
