// Byte scripts for the three thermometer generations: notifications played into each driver through a
// peripheral double, readings, acknowledgements and errors read back at the application's delegate.
#include <gtest/gtest.h>

#include <random>

#include "Devices/Measurement/MeasurementRig.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKThermometer.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKThermometerV2.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKThermometerV3.hpp"
#include "halvora/Manager/RecognitionTable.hpp"

namespace halvora {
namespace {

using test::bytes;
using test::FakePeripheral;
using test::MeasurementRig;

using Strings = std::vector<std::string>;

struct FrameCase {
    const char* frame;
    Strings expected;
};

template <typename Driver>
void expectFrames(const std::vector<FrameCase>& cases) {
    for (const auto& c : cases) {
        MeasurementRig<Driver> rig;
        EXPECT_EQ(rig.play(c.frame), c.expected) << "frame " << c.frame;
    }
}

/// A third-generation frame around the two temperature bytes, with the right check byte unless told.
std::string v3Frame(std::uint8_t high, std::uint8_t low, std::optional<std::uint8_t> check = std::nullopt) {
    const std::uint8_t x = 0x01 ^ 0x02 ^ 0x03 ^ high ^ low;
    return test::hex({0xFA, 0xAA, 0xAA, 0xAF, 0x01, 0x02, 0x03, high, low, check.value_or(x), 0xF5, 0x5F});
}

// ------------------------------------------------------------------------------------ recognition

TEST(Thermometer, GenerationsRecogniseTheirNameFragments) {
    struct Case {
        std::optional<std::string> name;
        bool v1, v2, v3;
    };
    const std::vector<Case> cases = {
        {"Bluetooth BP", true, false, false},
        {"My Bluetooth BP 2", true, false, false},
        {"bluetooth bp 2", false, false, false},  // the first generation needs the exact letter case
        {"e-Thermometer", false, true, false},
        {"E-THERMOMETER 07", false, true, false},
        {"xbelter_tp", false, true, false},
        {"Belter_T", false, false, false},
        {"DMT-4760b", false, false, true},
        {"dmt-4760B-01", false, false, true},
        {"DMT-4760", false, false, false},
        {std::nullopt, false, false, false},
        {"", false, false, false},
    };
    for (const auto& c : cases) {
        auto peripheral = std::make_shared<FakePeripheral>("00000000-0000-0000-0000-000000000001", c.name);
        const std::string label = c.name.value_or("(no name)");
        EXPECT_EQ(HalvoraSDKThermometer::matchDevice(peripheral), c.v1) << label;
        EXPECT_EQ(HalvoraSDKThermometerV2::matchDevice(peripheral), c.v2) << label;
        EXPECT_EQ(HalvoraSDKThermometerV3::matchDevice(peripheral), c.v3) << label;
    }
}

TEST(Thermometer, RecognitionOrderLeavesTheExactBloodPressureNameToTheMonitor) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"Bluetooth BP", "HalvoraSDKHeartDevice"},
        {"Bluetooth BP 2", "HalvoraSDKThermometer"},
        {"Belter_TP", "HalvoraSDKThermometerV2"},
        {"DMT-4760b", "HalvoraSDKThermometerV3"},
        {"BLT_M70C", "HalvoraSDKOximeter"},
        {"BLT_M70C2", ""},
        {"blt_m70c", ""},
        {"iCcur-12", "HalvoraSDKBabyThermometer"},
        {"thermF", "HalvoraSDKBabyThermometer"},
    };
    for (const auto& [name, className] : cases) {
        auto peripheral = std::make_shared<FakePeripheral>("00000000-0000-0000-0000-000000000001", name);
        const auto* row = RecognitionTable::recognise(peripheral, nullptr);
        EXPECT_EQ(row ? row->className : std::string(), className) << name;
    }
}

// ------------------------------------------------------------------------------------ connection steps

TEST(Thermometer, ConnectionStepsOfEachGeneration) {
    MeasurementRig<HalvoraSDKThermometer> v1;
    MeasurementRig<HalvoraSDKThermometerV2> v2;
    MeasurementRig<HalvoraSDKThermometerV3> v3;
    for (const auto* reports : {v1.reports.get(), v2.reports.get(), v3.reports.get()}) {
        EXPECT_EQ(reports->events(), (Strings{"connected", "ready", "ready"}));
    }
    // Only the first generation starts measuring, right after its first ready report.
    EXPECT_EQ(v1.writes(), Strings{"FE FD AA A0 0D 0A"});
    EXPECT_TRUE(v2.writes().empty());
    EXPECT_TRUE(v3.writes().empty());
    // The first two ask for their two characteristics; the third for every characteristic of the service.
    ASSERT_EQ(v2.peripheral->characteristicDiscoveries.size(), 1U);
    EXPECT_EQ(v2.peripheral->characteristicDiscoveries[0].second,
              (std::vector<BLEUUID>{BLEUUID("FFF3"), BLEUUID("FFF4")}));
    ASSERT_EQ(v3.peripheral->characteristicDiscoveries.size(), 1U);
    EXPECT_TRUE(v3.peripheral->characteristicDiscoveries[0].second.empty());
    EXPECT_EQ(v3.peripheral->notified, std::vector<BLEUUID>{BLEUUID("FFF1")});
}

TEST(Thermometer, FirstGenerationStartsMeasuringEvenWithoutAReportReceiver) {
    MeasurementRig<HalvoraSDKThermometer> rig(HalvoraSDKThermometer::getName(), false);
    rig.driver->setDelegate({});
    rig.connectAll();
    EXPECT_EQ(rig.writes(), Strings{"FE FD AA A0 0D 0A"});
    EXPECT_TRUE(rig.reports->events().empty());
}

TEST(Thermometer, DiscoveryErrorsLeaveTheDriverUnreadyAndSilent) {
    MeasurementRig<HalvoraSDKThermometer> rig(HalvoraSDKThermometer::getName(), false);
    rig.driver->didConnect();
    rig.peripheral->playServicesDiscovered();
    rig.peripheral->playCharacteristicsDiscovered(HalvoraSDKThermometer::rsServiceUUID(), BLEError{4, "gatt"});
    EXPECT_EQ(rig.reports->events(), Strings{"connected"});
    EXPECT_TRUE(rig.writes().empty());
    EXPECT_TRUE(rig.play("FE FD 00 01 01 71 0D 0A").empty());  // no read characteristic yet
}

// ------------------------------------------------------------------------------------ first generation

TEST(HalvoraSDKThermometer, FramesBecomeReadingsInTheDevicesUnit) {
    expectFrames<HalvoraSDKThermometer>({
        {"FE FD 15 01 01 7C 0D 0A", {"reading 38.00 farenheit mode 0"}},  // not converted
        {"FE FD 00 01 01 71 0D 0A", {"reading 36.90 celsius mode 0"}},
        {"FE FD 14 00 01 71 0D 0A", {"reading 36.90 celsius mode 0"}},
        {"FE FD 00 02 01 71 0D 0A", {}},  // not a reading
        {"FE FB 00 01 01 71 0D 0A", {}},  // only FD passes the check
        {"FE 1A 00 01 01 71 0D 0A", {}},
        {"FE 15 00 01 01 71 0D 0A", {}},
        {"FF FD 00 01 01 71 0D 0A", {}},
        {"FE FD 00 01 01 71 0D 0B", {}},
        {"FE FD 00 01 01 71 0D 0A 00", {}},  // exactly 8 bytes
        {"FE FD 00 01 01 71 0D", {}},
        {"", {}},
    });
}

TEST(HalvoraSDKThermometer, ReadingsAreDatedWithTheExecutorsClock) {
    MeasurementRig<HalvoraSDKThermometer> rig;
    rig.executor->advance(std::chrono::seconds(90));
    rig.play("FE FD 00 01 01 71 0D 0A");
    ASSERT_EQ(rig.app->readings().size(), 1U);
    EXPECT_EQ(rig.app->readings()[0].date, VirtualExecutor::defaultStartDate() + std::chrono::seconds(90));
}

// ------------------------------------------------------------------------------------ second generation

TEST(HalvoraSDKThermometerV2, ReadingsWithAndWithoutTheirHeader) {
    expectFrames<HalvoraSDKThermometerV2>({
        {"AA 00 0E 6A 00 00 00 00 00 00", {"reading 36.90 celsius mode 2"}},  // header left off
        {"02 20 DD 0A AA 00 0E 6A 00 00 00 00 00 00", {"reading 36.90 celsius mode 2"}},
        {"02 20 DD 0A FF 00 0E 6A", {"reading 36.90 celsius mode 2"}},
        {"02 20 DD 0A AA 02 0E 6A", {"reading 36.90 celsius mode 3"}},
        {"02 20 DD 0A AA 03 0E 6A", {"reading 98.42 farenheit mode 3"}},
        {"99 99 99 99 AA 00 0E 6A", {"reading 36.90 celsius mode 2"}},  // the header is not checked
        {"02 20 DD 0A AA 00 0E", {}},                                   // too short for the value
        {"02 20 DD 0A BB 00 0E 6A", {}},
        {"AA 00 0E 6A 00 00 00 00 00", {}},  // 9 bytes: byte 4 is 00
        {"02 20 DD 0A", {}},
        {"", {}},
    });
}

TEST(HalvoraSDKThermometerV2, FahrenheitIsConvertedFromCelsiusInSinglePrecision) {
    MeasurementRig<HalvoraSDKThermometerV2> rig;
    rig.play("02 20 DD 0A AA 01 0E 6A");
    ASSERT_EQ(rig.app->readings().size(), 1U);
    const auto reading = rig.app->readings()[0];
    EXPECT_EQ(reading.unit, "farenheit");
    EXPECT_EQ(reading.mode, 2);
    const float celsius = 3690 / 100.0F;
    EXPECT_EQ(reading.temperature, static_cast<double>(celsius * 9.0F / 5.0F + 32.0F));
    EXPECT_NE(reading.temperature, 36.9 * 9.0 / 5.0 + 32.0);  // not a double-precision conversion
}

TEST(HalvoraSDKThermometerV2, EveryDeliveredReadingIsAcknowledgedWithCommand29) {
    MeasurementRig<HalvoraSDKThermometerV2> rig;
    rig.play("AA 00 0E 6A 00 00 00 00 00 00");
    rig.play("02 20 DD 0A FF 01 0E 6A");
    EXPECT_EQ(rig.writes(), (Strings{"02 20 DD 02 FD 29 2B", "02 20 DD 02 FD 29 2B"}));

    // Without a thermometer delegate the reading is dropped and not acknowledged.
    rig.setApplicationDelegate(nullptr);
    EXPECT_TRUE(rig.play("AA 00 0E 6A 00 00 00 00 00 00").empty());
    EXPECT_EQ(rig.writes().size(), 2U);
    EXPECT_TRUE(rig.app->events().empty());
}

TEST(HalvoraSDKThermometerV2, AcknowledgementsReachTheApplication) {
    expectFrames<HalvoraSDKThermometerV2>({
        {"02 20 DD 0A DD 29 07", {"ack 41 7"}},
        {"DD 10 FF 00 00 00 00 00 00 00", {"ack 16 255"}},
        {"02 20 DD 0A DD 29", {}},
    });
}

TEST(HalvoraSDKThermometerV2, ErrorsAreReportedOnlyWhenTheApplicationHasADeviceDelegate) {
    const std::vector<std::pair<std::string, Strings>> cases = {
        {"02 20 DD 0A EE 01", {"thermometer error 1"}},
        {"02 20 DD 0A EE 02", {}},  // masked out
        {"02 20 DD 0A EE 03", {"thermometer error 3"}},
        {"02 20 DD 0A EE 04", {"thermometer error 2"}},
        {"02 20 DD 0A EE 05", {"thermometer error 5"}},
        {"02 20 DD 0A EE 06", {"thermometer error 4"}},
        {"02 20 DD 0A EE 00", {}},
        {"02 20 DD 0A EE 07", {}},
        {"02 20 DD 0A EE FF", {}},
        {"EE 04 00 00 00 00 00 00 00 00", {"thermometer error 2"}},
        {"02 20 DD 0A EE", {}},
    };
    auto deviceDelegate = std::make_shared<HalvoraDeviceDelegate>();
    for (const auto& [frame, expected] : cases) {
        MeasurementRig<HalvoraSDKThermometerV2> rig;
        EXPECT_TRUE(rig.play(frame).empty()) << "without a device delegate: " << frame;
        rig.manager->setDeviceDelegate(deviceDelegate);
        EXPECT_EQ(rig.play(frame), expected) << frame;
    }
}

TEST(HalvoraSDKThermometerV2, CommandFramesEndWithTheXorOfBytesOneToFive) {
    const std::vector<std::pair<std::int32_t, std::string>> cases = {
        {0x29, "02 20 DD 02 FD 29 2B"},
        {0x00, "02 20 DD 02 FD 00 02"},
        {0x129, "02 20 DD 02 FD 29 2B"},  // only the low byte goes out
        {-1, "02 20 DD 02 FD FF FD"},
    };
    for (const auto& [command, frame] : cases) {
        MeasurementRig<HalvoraSDKThermometerV2> rig;
        rig.driver->sendCommand(command);
        EXPECT_EQ(rig.writes(), Strings{frame}) << command;
    }
    EXPECT_EQ(Thermometer::calculateCRC(bytes("F0")), -16);
    EXPECT_EQ(Thermometer::calculateCRC(bytes("20 DD 02 FD 29")), 0x2B);
}

TEST(HalvoraSDKThermometerV2, TheManagerForwardsCommandsOnlyToTheSecondGeneration) {
    MeasurementRig<HalvoraSDKThermometerV2> v2;
    EXPECT_FALSE(v2.manager->sendThermometerCommand(0x31));  // no driver registered yet
    v2.manager->deviceConnected(v2.driver);
    EXPECT_TRUE(v2.manager->sendThermometerCommand(0x31));
    v2.executor->runUntilIdle();
    ASSERT_EQ(v2.writes().size(), 1U);
    EXPECT_EQ(v2.writes()[0].substr(0, 17), "02 20 DD 02 FD 31");

    MeasurementRig<HalvoraSDKThermometer> v1;
    v1.manager->deviceConnected(v1.driver);
    v1.peripheral->writes.clear();
    EXPECT_FALSE(v1.manager->sendThermometerCommand(0x31));
    v1.executor->runUntilIdle();
    EXPECT_TRUE(v1.writes().empty());
}

// ------------------------------------------------------------------------------------ third generation

TEST(HalvoraSDKThermometerV3, TemperatureBytesGiveTenthsOrHundredths) {
    expectFrames<HalvoraSDKThermometerV3>({
        {v3Frame(0x81, 0x70).c_str(), {"reading 3.68 celsius mode 4 undated"}},
        {v3Frame(0x01, 0x70).c_str(), {"reading 36.80 celsius mode 4 undated"}},
        {v3Frame(0x0E, 0x6A).c_str(), {"reading 369.00 celsius mode 4 undated"}},
        {v3Frame(0xCE, 0x6A).c_str(), {"reading 36.90 celsius mode 4 undated"}},  // bit 6 is not part of it
        {v3Frame(0x00, 0x00).c_str(), {"reading 0.00 celsius mode 4 undated"}},
    });
}

TEST(HalvoraSDKThermometerV3, AWrongCheckByteIsLoggedAsDiscardedButTheReadingIsDelivered) {
    MeasurementRig<HalvoraSDKThermometerV3> rig;
    EXPECT_EQ(rig.play(v3Frame(0x01, 0x70, 0x00)), Strings{"reading 36.80 celsius mode 4 undated"});
    EXPECT_EQ(rig.logLines(), Strings{"Discarding packet: The crc packet is not correct."});
}

TEST(HalvoraSDKThermometerV3, BadFramingIsLoggedAndDropped) {
    const std::vector<std::string> badlyFramed = {
        "FA AA AA AE 01 02 03 01 70 73 F5 5F",
        "FA AA AA AF 01 02 03 01 70 73 F5 5E",
        "FA AA AA AF 01 02 03 01 70 73 5F F5",
        "FA AA AF F5 5F",
        "",
    };
    for (const auto& frame : badlyFramed) {
        MeasurementRig<HalvoraSDKThermometerV3> rig;
        EXPECT_TRUE(rig.play(frame).empty()) << frame;
        EXPECT_EQ(rig.logLines(), Strings{"Discarding packet: The end packet is not correct."}) << frame;
    }
    // Framed, yet too short to hold a temperature: ignored without a word.
    MeasurementRig<HalvoraSDKThermometerV3> rig;
    EXPECT_TRUE(rig.play("FA AA AA AF 01 02 03 F5 5F").empty());
    EXPECT_TRUE(rig.logLines().empty());
}

// ------------------------------------------------------------------------------------ the record

TEST(HalvoraSDKThermometerData, DescriptionIsTheDictionaryOfThePresentFields) {
    HalvoraSDKThermometerData reading;
    reading.mode = 4;
    reading.temperature = 36.8;
    reading.unit = "celsius";
    EXPECT_EQ(reading.description(), "{\n    mode = 4;\n    temperature = \"36.8\";\n    unit = celsius;\n}");
    reading.mode = -1;
    reading.temperature = 38.0;
    reading.date = VirtualExecutor::defaultStartDate();
    const std::string text = reading.description();
    EXPECT_EQ(text.rfind("{\n    date = \"", 0), 0U) << text;
    EXPECT_NE(text.find("    mode = \"-1\";\n    temperature = 38;\n"), std::string::npos) << text;
    EXPECT_EQ(HalvoraSDKThermometerData{}.description(), "{\n}");
}

// ------------------------------------------------------------------------------------ malformed input

TEST(Thermometer, RandomNotificationsNeverCrashOrReadPastTheEnd) {
    MeasurementRig<HalvoraSDKThermometer> v1;
    MeasurementRig<HalvoraSDKThermometerV2> v2;
    MeasurementRig<HalvoraSDKThermometerV3> v3;
    v2.manager->setDeviceDelegate(std::make_shared<HalvoraDeviceDelegate>());
    std::mt19937 random(20261122);
    std::uniform_int_distribution<int> length(0, 24);
    std::uniform_int_distribution<int> byte(0, 255);
    const std::uint8_t markers[] = {0xFE, 0xFD, 0x0D, 0x0A, 0xAA, 0xFF, 0xDD, 0xEE, 0xFA, 0xAF, 0xF5, 0x5F};
    for (int i = 0; i < 50000; ++i) {
        std::vector<std::uint8_t> frame(static_cast<std::size_t>(length(random)));
        for (auto& b : frame) {
            b = byte(random) < 128 ? markers[byte(random) % 12] : static_cast<std::uint8_t>(byte(random));
        }
        v1.peripheral->playNotification(HalvoraSDKThermometer::readCharacteristicUUID(), frame);
        v2.peripheral->playNotification(HalvoraSDKThermometerV2::readCharacteristicUUID(), frame);
        v3.peripheral->playNotification(HalvoraSDKThermometerV3::readCharacteristicUUID(), frame);
    }
    for (const auto* app : {v1.app.get(), v2.app.get(), v3.app.get()}) {
        for (const auto& event : app->events()) {
            EXPECT_TRUE(event.rfind("reading ", 0) == 0 || event.rfind("ack ", 0) == 0 ||
                        event.rfind("thermometer error ", 0) == 0)
                << event;
        }
    }
    EXPECT_GT(v2.app->events().size(), 0U);
    // Every acknowledgement the second generation wrote answers one of its readings.
    EXPECT_EQ(v2.peripheral->writes.size(), v2.app->readings().size());
}

}  // namespace
}  // namespace halvora
