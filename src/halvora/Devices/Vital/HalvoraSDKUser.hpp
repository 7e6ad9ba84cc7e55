#pragma once

#include <cstdint>
#include <optional>

#include "halvora/Core/Date.hpp"

namespace halvora {

/// The wearer of the Vital bracelet, as `setUserInformation` sends it and `getUserInformation` reads it.
struct HalvoraSDKUser {
    /// Sex: 1 is sent as the bracelet's 0, any other value as its 1 (read back as 1 and 0).
    std::int32_t sex = 0;
    /// The birth date; when present, the age sent is the completed years up to the executor's date.
    std::optional<Date> birthDate;
    /// Age in years, sent when there is no birth date (and read back from the bracelet).
    std::int32_t age = 0;
    /// Height in centimetres; 255 and more are sent as 255.
    std::int32_t height = 0;
    /// Weight in kilograms; 255 and more are sent as 255.
    std::int32_t weight = 0;
    /// A further one-byte setting of the bracelet's user record (byte 5), sent and read back as it is.
    std::int32_t extra = 0;

    /// Field-wise equality.
    bool operator==(const HalvoraSDKUser&) const = default;
};

}  // namespace halvora
