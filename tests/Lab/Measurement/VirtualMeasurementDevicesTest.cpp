// The virtual thermometers, pulse oximeter and baby thermometer from the device's side: who they say they
// are, and whether what they play is what their scripts ask for.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "halvora/Devices/Measurement/HalvoraSDKBabyThermometer.hpp"
#include "halvora/Manager/RecognitionTable.hpp"
#include "lab/Devices/Measurement/BabyThermometerSensor.hpp"
#include "lab/Devices/Measurement/VirtualBabyThermometer.hpp"
#include "lab/Devices/Measurement/VirtualOximeter.hpp"
#include "lab/Devices/Measurement/VirtualThermometer.hpp"
#include "lab/Devices/Measurement/VirtualThermometerV2.hpp"
#include "lab/Devices/Measurement/VirtualThermometerV3.hpp"
#include "support/FakePeripheral.hpp"

namespace halvora {
namespace {

constexpr const char* kIdentifier = "7A2B3C4D-0000-4000-8000-0000000000C3";

TEST(VirtualMeasurementDevices, EachNameIsRecognisedAsTheClassItPlays) {
    const std::vector<std::pair<std::shared_ptr<lab::VirtualPeripheral>, std::string>> devices = {
        {lab::VirtualThermometer::make(kIdentifier), "HalvoraSDKThermometer"},
        {lab::VirtualThermometerV2::make(kIdentifier), "HalvoraSDKThermometerV2"},
        {lab::VirtualThermometerV3::make(kIdentifier), "HalvoraSDKThermometerV3"},
        {lab::VirtualOximeter::make(kIdentifier), "HalvoraSDKOximeter"},
        {lab::VirtualBabyThermometer::make(kIdentifier), "HalvoraSDKBabyThermometer"},
        {lab::VirtualBabyThermometer::make(kIdentifier, -60, "thermF 02"), "HalvoraSDKBabyThermometer"},
    };
    for (const auto& [device, className] : devices) {
        auto peripheral = std::make_shared<test::FakePeripheral>(device->identifier(), device->name());
        const auto* row = RecognitionTable::recognise(peripheral, nullptr);
        ASSERT_NE(row, nullptr) << className;
        EXPECT_EQ(row->className, className);
        // The device offers the service the class speaks.
        EXPECT_NE(device->gattTable().service(row->serviceUUID), nullptr) << className;
    }
}

TEST(VirtualMeasurementDevices, BabySensorReadingsConvertBackToTheirTemperature) {
    // The device's calibration and the kit's conversion are written independently; they must agree to
    // within half a count of the sensor (the device rounds to whole counts).
    auto expectWithinHalfACount = [](auto convert, int raw, double t, const char* what) {
        const double count =
            std::max(std::abs(convert(raw + 1) - convert(raw)), std::abs(convert(raw) - convert(raw - 1)));
        EXPECT_LE(std::abs(convert(raw) - t), count / 2 + 1e-4) << what << " " << t << " raw " << raw;
    };
    const auto body = [](int raw) { return static_cast<double>(HalvoraSDKBabyThermometer::getTemper(raw)); };
    const auto ambient = [](int raw) { return static_cast<double>(HalvoraSDKBabyThermometer::getEnvTemper(raw)); };
    // Above the first calibration point: at and below 20.0 the kit jumps to its 30.0-based extrapolation.
    for (double t = 20.01; t <= 46.0; t += 0.01) {
        expectWithinHalfACount(body, lab::BabyThermometerSensor::bodyReading(t), t, "body");
    }
    for (double t = -25.0; t <= 49.9; t += 0.05) {
        expectWithinHalfACount(ambient, lab::BabyThermometerSensor::ambientReading(t), t, "ambient");
    }
    // The quirks show through: the first body point reads 30.0, the last ambient point -100.0.
    EXPECT_EQ(HalvoraSDKBabyThermometer::getTemper(lab::BabyThermometerSensor::bodyReading(20.0)), 30.0F);
    EXPECT_EQ(HalvoraSDKBabyThermometer::getEnvTemper(lab::BabyThermometerSensor::ambientReading(50.0)), -100.0F);
    EXPECT_EQ(lab::BabyThermometerSensor::valueText(3650, 78), "36500078");
    EXPECT_EQ(lab::BabyThermometerSensor::valueText(-4, 12000), "00009999");
}

TEST(VirtualMeasurementDevices, BabyValuesFollowTheScriptThenItsRawTexts) {
    auto device = lab::VirtualBabyThermometer::make(kIdentifier);
    lab::BabyThermometerScript script;
    script.bodyTemperatures = {34.0, 42.0};
    script.ambientTemperatures = {-20.0};
    script.repeats = 2;
    script.rawValues = {"x"};
    device->setScript(script);
    EXPECT_EQ(script.valueCount(), 5U);
    const std::vector<std::string> expected = {"34870078", "53030078", "34870078", "53030078", "x", ""};
    for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(device->valueText(i), expected[i]) << i;
}

TEST(VirtualMeasurementDevices, OximeterCyclesCarryTheScriptedValuesAndASmoothWave) {
    auto device = lab::VirtualOximeter::make(kIdentifier);
    lab::OximeterScript script;
    script.sp2 = 96;
    script.pi = 3;
    script.lpm = 60;
    script.rpm = 14;
    device->setScript(script);
    const auto frames = device->cycleFrames(0);
    ASSERT_EQ(frames.size(), 4U);
    for (const auto& frame : frames) EXPECT_EQ(frame.size(), 20U);
    EXPECT_EQ(frames[0][0], 0xAA);
    EXPECT_EQ(frames[0][2], 0x41);
    EXPECT_EQ(frames[1][15], 3);
    EXPECT_EQ(frames[1][16], 96);
    EXPECT_EQ(frames[1][17], 60);
    EXPECT_EQ(frames[1][18], 14);
    // At 60 beats per minute and one cycle per second, each cycle holds one beat: one clear peak.
    const auto wave = script.waveSamples(0);
    ASSERT_EQ(wave.size(), 32U);
    for (auto sample : wave) {
        EXPECT_GE(sample, 1);
        EXPECT_LE(sample, 99);
    }
    EXPECT_EQ(script.waveSamples(1), wave);
    const auto peak = std::max_element(wave.begin(), wave.end());
    EXPECT_GE(*peak, 75);
    EXPECT_LT(peak - wave.begin(), 10);  // the systolic peak comes early in the beat
}

}  // namespace
}  // namespace halvora
