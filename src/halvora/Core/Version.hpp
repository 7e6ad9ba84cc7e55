#pragma once

namespace halvora {

/// The kit's version number, 179.0.
extern const double HalvoraSDKVersionNumber;
/// The kit's version text, ending in a line feed.
extern const unsigned char HalvoraSDKVersionString[];

}  // namespace halvora
