#pragma once

#include <cstdint>
#include <optional>

namespace halvora {

/// A second-generation thermometer's acknowledgement of a command.
struct HalvoraSDKThermometerSuccessData {
    /// The command the device acknowledges.
    std::optional<std::int32_t> command;
    /// The byte the device returns with it.
    std::optional<std::int32_t> data;
};

}  // namespace halvora
