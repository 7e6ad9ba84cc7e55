#include "halvora/Core/Version.hpp"

namespace halvora {

const double HalvoraSDKVersionNumber = 179.0;
const unsigned char HalvoraSDKVersionString[] = "@(#)PROGRAM:HalvoraSDK  PROJECT:HalvoraSDK-179\n";

}  // namespace halvora
