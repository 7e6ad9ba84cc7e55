// A small application that links the installed kit and uses a little of it.
#include <cstdio>
#include <string>

#include "halvora/Core/ByteUtils.hpp"
#include "halvora/Core/HalvoraSDKDevice.hpp"
#include "halvora/Core/Version.hpp"

int main() {
    halvora::HalvoraSDKDevice device = halvora::HalvoraSDKDevice::init("00000000-0000-0000-0000-000000000001", -69);
    const double distance = device.getDistanceToDevice();
    const std::string hex = halvora::ByteUtils::decimalToHex(255);
    std::printf("HalvoraSDK %.1f: distance %.1f m, 255 is %s\n", halvora::HalvoraSDKVersionNumber, distance, hex.c_str());
    return (distance == 1.0 && hex == "FF") ? 0 : 1;
}
