#pragma once

#include <string>

#include "halvora/Devices/PillReminder/HalvoraSDKPillReminderData.hpp"

namespace halvora {

/// A pill-box answer that is a text: a success message ("Timezone set successfully"), a value as text (the
/// battery level "90", the zone "+05:30 UTC") or, through `pillReminderOnError`, the request's error message.
struct HalvoraSDKPillReminderMessageData : HalvoraSDKPillReminderData {
    /// The message, exactly as the driver words it.
    std::string messageText;
};

}  // namespace halvora
