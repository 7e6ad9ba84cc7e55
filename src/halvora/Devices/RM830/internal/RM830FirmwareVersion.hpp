#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace halvora {

/// The RM830 bracelet's firmware version (answer 0x27) and the check against the firmware the kit carries.
class RM830FirmwareVersion {
public:
    RM830FirmwareVersion() = delete;

    /// The version of the firmware image the kit carries.
    static constexpr std::string_view kKitVersion = "54.51.56.1";
    /// Bytes a version answer needs (through byte 4).
    static constexpr std::size_t kMinLength = 5;

    /// "%d.%d.%d.%d" of bytes 1 to 4, each a signed 8-bit number ("54.51.56.1", "-12.3.4.5"); nothing for an
    /// answer shorter than kMinLength.
    static std::optional<std::string> fromAnswer(std::span<const std::uint8_t> answer);
    /// Compares two version texts: runs of digits as whole numbers, any other character by its code, left to
    /// right; a text that is a prefix of the other is the smaller. Negative, zero or positive as `a` is
    /// smaller than, equal to or greater than `b` ("54.51.56.10" > "54.51.56.9"; "-12.3.4.5" < "1.0.0.0").
    static int compareNumerically(std::string_view a, std::string_view b);
    /// True when the kit's version is greater than `version` (an empty version is older than any).
    static bool isOlderThanKit(std::string_view version);
};

}  // namespace halvora
