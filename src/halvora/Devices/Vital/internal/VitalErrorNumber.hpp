#pragma once

#include <cstdint>

namespace halvora {

/// The error numbers of Vital commands: 0 for a refusal by the bracelet (and a parameter record without
/// notifications), the others for arguments the kit refuses before sending.
class VitalErrorNumber {
public:
    VitalErrorNumber() = delete;

    static constexpr std::int32_t kRefused = 0;         ///< refused by the bracelet; no notifications
    static constexpr std::int32_t kTooManyAlarms = 1;   ///< more than 10 alarms (the manager's check)
    static constexpr std::int32_t kOutOfRange = 2;      ///< interval or sport time period too large
    static constexpr std::int32_t kHeartRateBase = 3;   ///< heart-rate base outside 40 to 255
    static constexpr std::int32_t kBrightness = 4;      ///< brightness outside 0 to 15
    static constexpr std::int32_t kDial = 5;            ///< dial outside 0 to 9
    static constexpr std::int32_t kInvalidWindow = 6;   ///< a window that is not valid
    static constexpr std::int32_t kReminderPeriod = 7;  ///< exercise reminder period of 256 or more
    static constexpr std::int32_t kMinimumSteps = 8;    ///< minimum steps of 256 or more
};

}  // namespace halvora
