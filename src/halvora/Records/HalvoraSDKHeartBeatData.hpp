#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "halvora/Core/Date.hpp"

namespace halvora {

/// One heart rate measured by a bracelet, on demand or from its stored history. Shared by the bracelet
/// families.
struct HalvoraSDKHeartBeatData {
    /// When the rate was measured (the reception time for an on-demand measurement); absent in a new record.
    std::optional<Date> date;
    /// Beats per minute.
    std::int32_t heartRate = 0;

    /// "Date: yyyy-MM-dd HH:mm:ss\nHeart Rate: %d\n", the date in local time ("(null)" when absent).
    std::string description() const;
};

}  // namespace halvora
