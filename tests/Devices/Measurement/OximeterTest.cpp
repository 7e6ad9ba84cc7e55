// Byte scripts for the pulse oximeter: the four-notification cycle (marker, values, two wave
// notifications) played into the driver, records read back at the application's delegate.
#include <gtest/gtest.h>

#include <random>

#include "Devices/Measurement/MeasurementRig.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKOximeter.hpp"

namespace halvora {
namespace {

using test::MeasurementRig;

using Strings = std::vector<std::string>;
using Frame = std::vector<std::uint8_t>;

Frame marker() {
    Frame frame(20, 0x00);
    frame[0] = 0xAA;
    frame[2] = 0x41;
    return frame;
}

Frame values(std::uint8_t pi, std::uint8_t sp2, std::uint8_t lpm, std::uint8_t rpm) {
    Frame frame(20, 0x00);
    frame[15] = pi;
    frame[16] = sp2;
    frame[17] = lpm;
    frame[18] = rpm;
    return frame;
}

/// A wave notification whose byte i is `first + i`.
Frame ramp(std::uint8_t first) {
    Frame frame(20);
    for (std::size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<std::uint8_t>(first + i);
    return frame;
}

Strings plethSequence(int from, int to) {
    Strings out;
    for (int v = from; v <= to; ++v) out.push_back("pleth " + std::to_string(v));
    return out;
}

TEST(HalvoraSDKOximeter, OneCycleGivesTheValuesAndTheWaveSamples) {
    MeasurementRig<HalvoraSDKOximeter> rig;
    EXPECT_TRUE(rig.playBytes(marker()).empty());
    EXPECT_EQ(rig.playBytes(values(5, 0x62, 72, 16)), Strings{"oximeter sp2 98 pi 5 lpm 72 rpm 16"});
    EXPECT_EQ(rig.playBytes(ramp(1)), plethSequence(8, 19));    // bytes 7 to 18
    EXPECT_EQ(rig.playBytes(ramp(30)), plethSequence(30, 49));  // bytes 0 to 19
    EXPECT_TRUE(rig.playBytes(ramp(1)).empty());                // past the cycle
    EXPECT_TRUE(rig.playBytes(values(5, 0x62, 72, 16)).empty());
    // The next marker starts a new cycle.
    rig.playBytes(marker());
    EXPECT_EQ(rig.playBytes(values(6, 0x61, 70, 15)), Strings{"oximeter sp2 97 pi 6 lpm 70 rpm 15"});
}

TEST(HalvoraSDKOximeter, RecordsAreDatedAndCarryOnlyTheirOwnValues) {
    MeasurementRig<HalvoraSDKOximeter> rig;
    rig.executor->advance(std::chrono::seconds(5));
    const Date expected = VirtualExecutor::defaultStartDate() + std::chrono::seconds(5);
    rig.playBytes(values(5, 0x62, 72, 16));
    const auto result = rig.app->oximeterRecords();
    ASSERT_EQ(result.size(), 1U);
    EXPECT_EQ(result[0].date, expected);
    EXPECT_EQ(result[0].pleth, 0);
    rig.playBytes(ramp(1));
    const auto samples = rig.app->oximeterRecords();
    ASSERT_EQ(samples.size(), 12U);
    EXPECT_EQ(samples[0].date, expected);
    EXPECT_EQ(samples[0].pleth, 8);
    EXPECT_EQ(samples[0].sp2, 0);
    EXPECT_EQ(samples[0].pi, 0);
}

TEST(HalvoraSDKOximeter, SignedBytesAreMaskedTo24Bits) {
    const std::vector<std::pair<std::uint8_t, std::string>> cases = {
        {0x62, "oximeter sp2 98 pi 200 lpm 200 rpm 200"},
        {0x7F, "oximeter sp2 127 pi 200 lpm 200 rpm 200"},
        {0x80, "oximeter sp2 16777088 pi 200 lpm 200 rpm 200"},
        {0xFF, "oximeter sp2 16777215 pi 200 lpm 200 rpm 200"},
    };
    for (const auto& [sp2, expected] : cases) {
        MeasurementRig<HalvoraSDKOximeter> rig;
        // Pi, lpm and rpm are read unsigned.
        EXPECT_EQ(rig.playBytes(values(200, sp2, 200, 200)), Strings{expected});
    }
}

TEST(HalvoraSDKOximeter, OnlyWaveSamplesFromOneTo99AreDelivered) {
    MeasurementRig<HalvoraSDKOximeter> rig;
    rig.playBytes(values(5, 0x62, 72, 16));
    Frame wave(20, 0x00);
    const std::uint8_t samples[] = {0x00, 0x01, 0x63, 0x64, 0x80, 0xFF, 0x32};
    for (std::size_t i = 0; i < std::size(samples); ++i) wave[7 + i] = samples[i];
    EXPECT_EQ(rig.playBytes(wave), (Strings{"pleth 1", "pleth 99", "pleth 50"}));
}

TEST(HalvoraSDKOximeter, AMarkerNeedsAAAtByteZeroAnd41AtByteTwo) {
    MeasurementRig<HalvoraSDKOximeter> rig;
    rig.playBytes(marker());
    rig.playBytes(values(5, 0x62, 72, 16));
    Frame notMarker(20, 0x00);
    notMarker[0] = 0xAA;
    notMarker[1] = 0x41;
    EXPECT_TRUE(rig.playBytes(notMarker).empty());  // taken as the first wave notification: all zero there
    EXPECT_EQ(rig.driver->counter(), 2);
    Frame shortMarker = {0xAA, 0x00, 0x41};
    rig.playBytes(shortMarker);
    EXPECT_EQ(rig.driver->counter(), 0);
}

TEST(HalvoraSDKOximeter, TheFirstNotificationAfterConnectingIsTakenAsTheValues) {
    MeasurementRig<HalvoraSDKOximeter> rig;
    EXPECT_EQ(rig.playBytes(values(4, 0x60, 65, 12)), Strings{"oximeter sp2 96 pi 4 lpm 65 rpm 12"});
}

TEST(HalvoraSDKOximeter, ShortNotificationsAreIgnoredAndDoNotAdvanceTheCycle) {
    MeasurementRig<HalvoraSDKOximeter> rig;
    EXPECT_TRUE(rig.playBytes(Frame(18, 0x10)).empty());
    EXPECT_EQ(rig.driver->counter(), 0);
    rig.playBytes(values(5, 0x62, 72, 16));
    EXPECT_TRUE(rig.playBytes(Frame(18, 0x10)).empty());  // the first wave notification reads byte 18
    EXPECT_EQ(rig.playBytes(Frame(19, 0x10)).size(), 12U);
    EXPECT_TRUE(rig.playBytes(Frame(19, 0x10)).empty());  // the second reads byte 19
    EXPECT_EQ(rig.playBytes(Frame(20, 0x10)).size(), 20U);
    EXPECT_TRUE(rig.playBytes({}).empty());
}

TEST(HalvoraSDKOximeter, ConnectsOnItsOneCharacteristicAndNeverWrites) {
    MeasurementRig<HalvoraSDKOximeter> rig(HalvoraSDKOximeter::getName(), false);
    auto service = rig.peripheral->services().front();
    service->addCharacteristic(std::make_shared<Characteristic>(BLEUUID("2A27"), CharacteristicPropertyRead, service));
    rig.connectAll();
    EXPECT_EQ(rig.reports->events(), (Strings{"connected", "ready", "ready"}));
    EXPECT_EQ(rig.peripheral->notified, std::vector<BLEUUID>{BLEUUID("FFE1")});
    EXPECT_EQ(rig.driver->sendCharacteristic(), nullptr);
    EXPECT_EQ(rig.peripheral->reads, std::vector<BLEUUID>{BLEUUID("2A27")});
    rig.driver->writeRawData({0x01});
    EXPECT_TRUE(rig.writes().empty());
    // The hardware revision's value is not a frame.
    rig.peripheral->playNotification(BLEUUID("2A27"), values(5, 0x62, 72, 16));
    EXPECT_TRUE(rig.app->events().empty());
}

TEST(HalvoraSDKOximeterData, DescriptionListsEveryValue) {
    auto record = HalvoraSDKOximeterData::init(VirtualExecutor::defaultStartDate());
    record.sp2 = 98;
    record.pleth = 45;
    const std::string text = record.description();
    EXPECT_EQ(text.rfind("Date: ", 0), 0U);
    EXPECT_NE(text.find("\nSP2: 98\nPi: 0\nrpm: 0\nlpm: 0\nPleth: 45\n"), std::string::npos) << text;
}

TEST(HalvoraSDKOximeter, RandomNotificationsNeverCrashOrReadPastTheEnd) {
    MeasurementRig<HalvoraSDKOximeter> rig;
    std::mt19937 random(20261123);
    std::uniform_int_distribution<int> length(0, 24);
    std::uniform_int_distribution<int> byte(0, 255);
    std::size_t samples = 0;
    for (int i = 0; i < 50000; ++i) {
        Frame frame(static_cast<std::size_t>(length(random)));
        for (auto& b : frame) b = static_cast<std::uint8_t>(byte(random));
        if (i % 5 == 0 && frame.size() >= 3) {
            frame[0] = 0xAA;
            frame[2] = 0x41;
        }
        rig.peripheral->playNotification(HalvoraSDKOximeter::readCharacteristicUUID(), frame);
    }
    for (const auto& record : rig.app->oximeterRecords()) {
        if (record.pleth == 0) continue;
        ++samples;
        EXPECT_GE(record.pleth, 1);
        EXPECT_LE(record.pleth, 99);
    }
    EXPECT_GT(samples, 0U);
    EXPECT_LE(rig.driver->counter(), 3);
}

}  // namespace
}  // namespace halvora
