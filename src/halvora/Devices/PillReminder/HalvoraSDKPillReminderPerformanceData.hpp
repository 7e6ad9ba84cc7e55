#pragma once

#include <cstdint>

#include "halvora/Core/Date.hpp"
#include "halvora/Devices/PillReminder/HalvoraSDKPillReminderAlarmData.hpp"

namespace halvora {

/// One entry of the pill box's taken/missed history: `date` is the planned dose (day, planned hour and
/// minute), `dateTaken` the same day at the hour and minute the box recorded, `statusTaken` the box's
/// status of the dose (0 to 3, the box's own code). The history carries no colour: `color` stays 0.
struct HalvoraSDKPillReminderPerformanceData : HalvoraSDKPillReminderAlarmData {
    /// When the dose was recorded (the planned day at the recorded hour and minute).
    Date dateTaken{};
    /// The box's status of the dose, 0 to 3, passed on as the box gives it.
    std::int32_t statusTaken = 0;
};

}  // namespace halvora
