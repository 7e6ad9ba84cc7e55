#pragma once

#include <optional>
#include <string>

#include "Session.hpp"

namespace halvora::cli {

/// The kit's firmware image for the RM830 bracelet, as it looks it up in its resource folder.
constexpr const char* kFirmwareResourceName = "J055_07_V638_20190122";
/// Its type (file extension).
constexpr const char* kFirmwareResourceType = "hex";

/// `halvora rm830 update [--hex FILE]`: checks the image (the kit's, or FILE in its place), connects the
/// RM830 bracelet, and, when its firmware is older than the kit's, follows the update the kit starts: the
/// bracelet in update mode is connected, the image sent with a progress bar, validated and activated; then
/// the bracelet is connected again and its new version shown. A bracelet whose firmware is current is left
/// as it is.
int runRM830Update(Session& session, const std::optional<std::string>& hexPath, double timeout);

}  // namespace halvora::cli
