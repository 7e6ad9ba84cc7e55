#pragma once

#include <cstdint>

namespace halvora {

/// The wrist blood-pressure bracelet's configuration as `setConfig` sends it.
struct HalvoraSDKTensioBraceletConfig {
    /// The hand the bracelet is worn on, as the bracelet numbers it (sent as one byte).
    std::int32_t hand = 0;
    /// Whether the bracelet measures on its ambulatory schedule.
    bool ambulatoryEnabled = false;
};

}  // namespace halvora
