#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "halvora/Core/HalvoraSDKDevice.hpp"
#include "halvora/Core/Version.hpp"

namespace halvora {
namespace {

TEST(HalvoraSDKDeviceDistance, TenToThePowerOfPowerMinusRssiOverTwenty) {
    struct Case {
        int rssi;
        double metres;
    };
    for (const Case& c : {Case{-69, 1.0}, Case{-89, 10.0}, Case{-49, 0.1}, Case{-75, std::pow(10.0, 0.3)}}) {
        EXPECT_DOUBLE_EQ(HalvoraSDKDevice::init("ID", c.rssi).getDistanceToDevice(), c.metres) << c.rssi;
    }
    EXPECT_EQ(HalvoraSDKDevice::init("ID", -69).getDistanceToDevice(), 1.0);
}

TEST(HalvoraSDKVersion, ConstantsCarryTheReleaseNumber) {
    EXPECT_EQ(HalvoraSDKVersionNumber, 179.0);
    const char* text = reinterpret_cast<const char*>(HalvoraSDKVersionString);
    EXPECT_EQ(std::string(text, std::strlen(text)), "@(#)PROGRAM:HalvoraSDK  PROJECT:HalvoraSDK-179\n");
}

}  // namespace
}  // namespace halvora
