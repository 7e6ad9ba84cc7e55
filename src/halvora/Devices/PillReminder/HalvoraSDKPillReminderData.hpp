#pragma once

#include <cstdint>

#include "halvora/Core/Date.hpp"

namespace halvora {

/// What the pill box answered to one request: the request's number (PillReminderRequest) and, for the
/// clock and the last synchronisation, the date the box gave. The base of every pill-box record.
struct HalvoraSDKPillReminderData {
    /// The number of the request this record answers (PillReminderRequest); -1 for none.
    std::int32_t request = -1;
    /// The date the box gave (its clock, its last synchronisation, an alarm's time); the epoch when the
    /// record carries none.
    Date date{};
};

}  // namespace halvora
