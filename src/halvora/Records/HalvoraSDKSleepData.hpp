#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "halvora/Core/Date.hpp"

namespace halvora {

/// One slot of sleep recorded by a bracelet. Shared by the bracelet families.
struct HalvoraSDKSleepData {
    /// Start of the slot; absent in a new record.
    std::optional<Date> date;
    /// Length of the slot, minutes.
    std::int32_t sleepDuration = 0;
    /// 1 deep sleep, 0 light sleep.
    std::int32_t sleepDeepness = 1;

    /// "Date: yyyy-MM-dd HH:mm:ss\nSleep duration: %d\nSleep deepness: %d\n", the date in local time ("(null)"
    /// when absent).
    std::string description() const;
};

}  // namespace halvora
