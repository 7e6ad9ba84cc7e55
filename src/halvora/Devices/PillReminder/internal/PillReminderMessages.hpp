#pragma once

#include <cstdint>

namespace halvora {

/// The texts the pill box driver reports, exactly as the application receives them.
class PillReminderMessages {
public:
    PillReminderMessages() = delete;

    /// The success message of a setting request (0, 2, 6, 7, 12, 13, 14); empty for the others.
    static const char* success(std::int32_t request);
    /// The error message of a request (every request but 8, whose messages are below); empty for an unknown one.
    static const char* error(std::int32_t request);

    /// A schedule frame was accepted.
    static constexpr const char* kAlarmsSet = "Alarms set successfully";
    /// A schedule frame was refused by the box.
    static constexpr const char* kAlarmsRefused = "Error in alarms schedule";
    /// A schedule frame's reply was neither an acknowledgement nor a refusal.
    static constexpr const char* kHardwareFailure = "Hardware failure";
    /// A day of the schedule has more alarms than its frames carry.
    static constexpr const char* kTooManyAlarms = "Too many alarms for the same day";
    /// An alarm's colour is not one of the box's five compartments.
    static constexpr const char* kWrongColor = "Wrong color number (available only 1-5)";
};

}  // namespace halvora
