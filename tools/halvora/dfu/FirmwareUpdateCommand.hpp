#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Session.hpp"

namespace halvora::cli {

/// The kit's firmware image for the RM830 bracelet, as it looks it up in its resource folder.
constexpr const char* kFirmwareResourceName = "J055_07_V638_20190122";
/// Its type (file extension).
constexpr const char* kFirmwareResourceType = "hex";

/// What an update of the RM830 bracelet came to.
struct RM830UpdateResult {
    /// A version the bracelet reported, and whether the kit found it current.
    struct Version {
        std::string text;
        bool current = false;
    };
    /// True when an image was sent, validated and activated and the bracelet came back.
    bool updated = false;
    Version before;
    /// The version it reported when it came back (empty when not updated).
    std::string after;
    /// Image bytes sent, and the seconds from the first packets to the bootloader's acceptance.
    std::uint64_t bytes = 0;
    double seconds = 0;
    double bytesPerSecond() const { return seconds > 0 ? static_cast<double>(bytes) / seconds : 0.0; }
};

/// Connects the RM830 bracelet and, when its firmware is older than the kit's, follows the update the kit
/// starts to its end (progress bar, then the bracelet connected again); throws CliError with the reason
/// when the update fails.
RM830UpdateResult updateRM830Firmware(Session& session, double timeout);
/// "1.7 kB/s", "850 B/s", or "-" without a duration.
std::string rateText(double bytes, double seconds);

/// `halvora rm830 update [--hex FILE]`: checks the image (the kit's, or FILE in its place), connects the
/// RM830 bracelet, and, when its firmware is older than the kit's, follows the update the kit starts: the
/// bracelet in update mode is connected, the image sent with a progress bar, validated and activated; then
/// the bracelet is connected again and its new version shown. A bracelet whose firmware is current is left
/// as it is.
int runRM830Update(Session& session, const std::optional<std::string>& hexPath, double timeout);

}  // namespace halvora::cli
