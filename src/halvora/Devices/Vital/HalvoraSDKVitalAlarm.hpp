#pragma once

#include <cstdint>
#include <string>

#include "halvora/Records/HalvoraSDKBraceletAlarm.hpp"

namespace halvora {

/// One alarm of the Vital bracelet (up to 10 at a time): the days and the time of the bracelet alarm, plus
/// whether it is on, its kind and its label. The label is not sent: the bracelet always receives the fixed
/// label "12345" in its place. `secondaryAlarm` plays no part.
struct HalvoraSDKVitalAlarm : HalvoraSDKBraceletAlarm {
    /// The alarm rings.
    bool enabled = true;
    /// The alarm's kind, one byte as the bracelet knows it.
    std::int32_t type = 0;
    /// The alarm's label (kept on the phone only).
    std::string text;
};

}  // namespace halvora
