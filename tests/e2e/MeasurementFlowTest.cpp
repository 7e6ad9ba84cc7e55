// Whole flows through the manager with the virtual thermometers, pulse oximeter and baby thermometer, in
// virtual time: connect a kind, reach ready, and see the device's scripted readings arrive at the kind's
// application delegate.
#include <gtest/gtest.h>

#include <cmath>

#include "halvora/Devices/Measurement/HalvoraSDKThermometer.hpp"
#include "lab/Devices/Measurement/VirtualBabyThermometer.hpp"
#include "lab/Devices/Measurement/VirtualHeartDevice.hpp"
#include "lab/Devices/Measurement/VirtualOximeter.hpp"
#include "lab/Devices/Measurement/VirtualThermometer.hpp"
#include "lab/Devices/Measurement/VirtualThermometerV2.hpp"
#include "lab/Devices/Measurement/VirtualThermometerV3.hpp"
#include "support/LabHarness.hpp"
#include "support/RecordingMeasurementDelegate.hpp"

namespace halvora {
namespace {

using test::LabHarness;
using test::RecordingMeasurementDelegate;
using Strings = std::vector<std::string>;

constexpr const char* kDeviceA = "7A2B3C4D-0000-4000-8000-0000000000A1";
constexpr const char* kDeviceB = "7A2B3C4D-0000-4000-8000-0000000000B2";

/// A lab world whose application also listens to the measurement kinds.
struct MeasurementLab {
    LabHarness lab;
    std::shared_ptr<RecordingMeasurementDelegate> app = std::make_shared<RecordingMeasurementDelegate>();

    MeasurementLab() {
        lab.manager->setThermometerDelegate(app);
        lab.manager->setOximeterDelegate(app);
        lab.manager->setBabyThermometerDelegate(app);
    }
    /// Lets writes and notifications still on the air land before the world goes.
    ~MeasurementLab() { lab.advance(seconds(1)); }
    MeasurementLab(const MeasurementLab&) = delete;
    MeasurementLab& operator=(const MeasurementLab&) = delete;

    /// Connects a kind and waits until it is ready.
    void connect(DeviceKind kind) {
        lab.manager->connectDevice(kind, 30);
        ASSERT_TRUE(lab.runUntilEvent("status " + std::to_string(kind) + " -> 2", seconds(10)));
    }

    bool runUntilEvents(std::size_t count, Duration limit = seconds(30)) {
        return lab.runUntil([&] { return app->events().size() >= count; }, limit);
    }
};

TEST(MeasurementFlow, FirstGenerationThermometerIsStartedAndReportsInItsUnit) {
    MeasurementLab world;
    // A blood-pressure monitor with the bare name is around too: it is never taken for the thermometer.
    world.lab.add(lab::VirtualHeartDevice::make(kDeviceB, -40));
    auto thermometer = world.lab.add(lab::VirtualThermometer::make(kDeviceA, -70));
    lab::ThermometerScript script;
    script.temperatures = {36.6, 37.2};
    script.fahrenheit = true;
    thermometer->setScript(script);

    world.connect(DeviceTypeThermometer);
    EXPECT_NE(std::dynamic_pointer_cast<HalvoraSDKThermometer>(world.lab.manager->driverForKind(DeviceTypeThermometer)),
              nullptr);
    ASSERT_TRUE(world.runUntilEvents(2));
    EXPECT_EQ(world.app->events(), (Strings{"reading 97.90 farenheit mode 0", "reading 99.00 farenheit mode 0"}));
    EXPECT_EQ(thermometer->playbacksStarted(), 1);  // started by the kit's start command
    EXPECT_EQ(world.lab.manager->getDeviceStatus(DeviceTypeHeart), ConnectionStatusDisconnected);
}

TEST(MeasurementFlow, SecondGenerationReadingsAcknowledgementsAndErrors) {
    MeasurementLab world;
    auto thermometer = world.lab.add(lab::VirtualThermometerV2::make(kDeviceA));
    lab::ThermometerScript script;
    script.temperatures = {36.9, 38.25};
    script.fahrenheit = true;  // flagged; the value stays Celsius and the kit converts it
    script.modeThree = true;
    script.headerless = true;
    script.errors = {0x02, 0x04};
    script.commandData = {{0x31, 7}};
    script.commandErrors = {{0x32, 5}};
    thermometer->setScript(script);

    world.connect(DeviceTypeThermometer);
    ASSERT_TRUE(world.runUntilEvents(3));
    world.lab.advance(seconds(2));
    // Error 02 is not one the kit reports; 04 is reported as 2 (the harness has a device delegate).
    EXPECT_EQ(world.app->events(),
              (Strings{"reading 98.42 farenheit mode 3", "reading 100.85 farenheit mode 3", "thermometer error 2"}));
    EXPECT_EQ(thermometer->acknowledgedReadings(), 2);

    world.app->clear();
    EXPECT_TRUE(world.lab.manager->sendThermometerCommand(0x31));
    EXPECT_TRUE(world.lab.manager->sendThermometerCommand(0x32));
    ASSERT_TRUE(world.runUntilEvents(2, seconds(1)));
    EXPECT_EQ(world.app->events(), (Strings{"ack 49 7", "thermometer error 5"}));
    EXPECT_EQ(thermometer->commandsReceived(), 2);
}

TEST(MeasurementFlow, ThirdGenerationReadingsEvenWithABadCheckByte) {
    MeasurementLab world;
    auto thermometer = world.lab.add(lab::VirtualThermometerV3::make(kDeviceA));
    lab::ThermometerScript script;
    script.temperatures = {36.82, 37.1};
    script.corruptCheck = true;
    thermometer->setScript(script);
    world.connect(DeviceTypeThermometer);
    ASSERT_TRUE(world.runUntilEvents(2));
    EXPECT_EQ(world.app->events(),
              (Strings{"reading 36.82 celsius mode 4 undated", "reading 37.10 celsius mode 4 undated"}));
    EXPECT_TRUE(world.lab.logged("Discarding packet: The crc packet is not correct."));
    // Nothing is ever written to the third generation.
    EXPECT_FALSE(world.lab.manager->sendThermometerCommand(0x31));
}

TEST(MeasurementFlow, OximeterCyclesGiveValuesAndAPlethWave) {
    MeasurementLab world;
    auto oximeter = world.lab.add(lab::VirtualOximeter::make(kDeviceA));
    lab::OximeterScript script;
    script.sp2 = 97;
    script.lpm = 75;
    script.cycles = 3;
    oximeter->setScript(script);
    world.connect(DeviceTypeOximeter);
    ASSERT_TRUE(world.lab.runUntil([&] { return oximeter->stepsPlayed() == 3; }, seconds(10)));
    world.lab.advance(seconds(1));
    EXPECT_EQ(world.app->count("oximeter sp2 97 pi 5 lpm 75 rpm 16"), 3U);
    int samples = 0;
    int lowest = 100;
    int highest = 0;
    for (const auto& record : world.app->oximeterRecords()) {
        if (record.pleth == 0) continue;
        ++samples;
        lowest = std::min(lowest, record.pleth);
        highest = std::max(highest, record.pleth);
    }
    EXPECT_EQ(samples, 3 * lab::OximeterScript::kSamplesPerCycle);
    EXPECT_GT(highest - lowest, 40);  // a wave, not a flat line
}

TEST(MeasurementFlow, BabyThermometerReadingsMatchTheScriptedTemperatures) {
    MeasurementLab world;
    auto thermometer = world.lab.add(lab::VirtualBabyThermometer::make(kDeviceA, -60, "thermF-2"));
    lab::BabyThermometerScript script;
    script.bodyTemperatures = {36.8, 38.5, 33.2};
    script.ambientTemperatures = {24.0, -5.5};
    script.suffix = "\r\n";
    script.rawValues = {"3650", "abcd1234"};
    thermometer->setScript(script);
    world.connect(DeviceTypeBabyThermometer);
    ASSERT_TRUE(world.runUntilEvents(4));
    world.lab.advance(seconds(3));
    const auto readings = world.app->babyReadings();
    ASSERT_EQ(readings.size(), 4U);  // the four-character value is ignored
    const double bodies[] = {36.8, 38.5, 33.2};
    const double ambients[] = {24.0, -5.5, 24.0};
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(*readings[i].temperature, bodies[i], 0.01) << i;
        EXPECT_NEAR(*readings[i].environmentTemperature, ambients[i], 0.1) << i;
    }
    // "abcd" is no number: raw 0, far below the table, on the far side of the jump at its first entry.
    EXPECT_NEAR(*readings[3].temperature, 30.0 - 0.5 * 666 / 120, 1e-4);
}

}  // namespace
}  // namespace halvora
