// The baby thermometer: its calibration (table ends, lookups at entries, extrapolation on both sides, the
// quirks at the low end of the body range and the top of the ambient range), its text values and its
// connection steps.
#include <gtest/gtest.h>

#include <random>

#include "Devices/Measurement/MeasurementRig.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKBabyThermometer.hpp"

namespace halvora {
namespace {

using test::FakePeripheral;
using test::MeasurementRig;

using Strings = std::vector<std::string>;
using Baby = HalvoraSDKBabyThermometer;

std::vector<std::uint8_t> text(const std::string& value) {
    return {value.begin(), value.end()};
}

// ------------------------------------------------------------------------------------ calibration

TEST(HalvoraSDKBabyThermometer, BodyConversionAtTableEntriesEndsAndBeyond) {
    const std::vector<std::pair<std::int32_t, double>> cases = {
        {666, 30.0},                  // L[0]: extrapolated from 30.0, not 20.0
        {665, 30.0 - 0.5 * 1 / 120},  // below L[0]
        {0, 30.0 - 0.5 * 666 / 120},
        {667, 20.0 + 0.5 * 1 / 120},   // just above L[0]: the jump down to 20
        {786, 20.5},                   // equal to L[1]
        {3388, 33.5},                  // equal to L[27]
        {3486, 33.5 + 0.5 * 98 / 99},  // just below M[0]
        {3487, 34.0},                  // L[28] = M[0]
        {3489, 34.0 + 0.02 * 2 / 4},
        {3898, 36.0},                  // M[100]
        {5302, 41.98 + 0.02 * 4 / 5},  // just below M[400]
        {5303, 42.0},                  // M[400] = H[0]
        {5441, 42.5},                  // H[1]
        {6135, 44.5 + 0.5 * 139 / 140},
        {6136, 45.0},                    // H[6]
        {6236, 45.0 + 0.5 * 100 / 140},  // above the high table
    };
    for (const auto& [raw, expected] : cases) {
        EXPECT_NEAR(Baby::getTemper(raw), expected, 1e-4) << "raw " << raw;
    }
    // The result is the double-precision value rounded to single precision.
    EXPECT_EQ(Baby::getTemper(3486), static_cast<float>(33.5 + 0.5 * 98.0 / 99.0));
}

TEST(HalvoraSDKBabyThermometer, AmbientConversionAtTableEntriesEndsAndBeyond) {
    const std::vector<std::pair<std::int32_t, double>> cases = {
        {78, -20.0},            // E[0]
        {77, -20.0 - 0.5 / 3},  // below the table
        {0, -20.0 - 78 * 0.5 / 3},
        {81, -19.5},  // E[1]
        {394, 10.0},  // E[60]
        {395, 10.0 + 0.5 / 9},
        {1784, 49.5},  // E[139]
        {1810, 49.5 + 0.5 * 26 / 27},
        {1811, -100.0},           // equal to the last entry: no greater entry
        {1812, 50.0 + 0.5 / 27},  // above the table
        {2000, 50.0 + 0.5 * 189 / 27},
    };
    for (const auto& [raw, expected] : cases) {
        EXPECT_NEAR(Baby::getEnvTemper(raw), expected, 1e-4) << "raw " << raw;
    }
}

TEST(HalvoraSDKBabyThermometer, CalibrationTablesAreAscendingAndJoinUp) {
    const auto low = Baby::temperLowDataArray();
    const auto main = Baby::temperDataArray();
    const auto high = Baby::temperHighDataArray();
    const auto ambient = Baby::envTemperArray();
    EXPECT_EQ(low.size(), 29U);
    EXPECT_EQ(main.size(), 401U);
    EXPECT_EQ(high.size(), 7U);
    EXPECT_EQ(ambient.size(), 141U);
    for (auto table : {low, main, high, ambient}) {
        for (std::size_t i = 1; i < table.size(); ++i) EXPECT_LT(table[i - 1], table[i]) << "entry " << i;
    }
    EXPECT_EQ(low.back(), main.front());
    EXPECT_EQ(main.back(), high.front());
    // Row starts of the device's calibration sheet.
    EXPECT_EQ(main[100], 3898);
    EXPECT_EQ(main[200], 4337);
    EXPECT_EQ(main[300], 4802);
    EXPECT_EQ(main[380], 5201);
    EXPECT_EQ(ambient[60], 394);
    EXPECT_EQ(ambient[120], 1320);
    EXPECT_EQ(high[3], 5712);
}

TEST(HalvoraSDKBabyThermometer, ConversionsRiseSteadilyAcrossTheTables) {
    // Above the low table's first entry the body curve never falls; the ambient curve never falls except
    // at its last entry.
    float previous = Baby::getTemper(667);
    for (std::int32_t raw = 668; raw <= 7000; ++raw) {
        const float t = Baby::getTemper(raw);
        EXPECT_GE(t, previous) << "raw " << raw;
        previous = t;
    }
    previous = Baby::getEnvTemper(0);
    for (std::int32_t raw = 1; raw <= 2500; ++raw) {
        if (raw == 1811) continue;
        const float t = Baby::getEnvTemper(raw);
        EXPECT_GE(t, previous) << "raw " << raw;
        previous = t;
    }
}

// ------------------------------------------------------------------------------------ values

TEST(HalvoraSDKBabyThermometer, TextValuesGiveTwoRawReadings) {
    using Raw = std::optional<std::pair<std::int32_t, std::int32_t>>;
    const std::vector<std::pair<std::string, Raw>> cases = {
        {"36501234", Raw({3650, 1234})},
        {"36501234\r\n", Raw({3650, 1234})},
        {"06660078", Raw({666, 78})},
        {"abcd1234", Raw({0, 1234})},  // not a number: 0
        {"12ab 34x", Raw({12, 34})},   // the leading number of each field
        {"+36 --12", Raw({36, 0})},    // a sign without digits: 0
        {" -12-120", Raw({-12, -120})},
        {"3650\xC3\xA9"
         "234",
         Raw({3650, 0})},           // eight characters from nine bytes
        {"3650123", std::nullopt},  // fewer than eight characters
        {"36501", std::nullopt},
        {"3650", std::nullopt},  // shorter than five bytes
        {"", std::nullopt},
        {"3650\xFF"
         "234",
         std::nullopt},  // not UTF-8
    };
    for (const auto& [value, expected] : cases) {
        EXPECT_EQ(Baby::rawReadings(text(value)), expected) << value;
    }
}

TEST(HalvoraSDKBabyThermometer, NotificationsReachTheApplicationAsConvertedTemperatures) {
    MeasurementRig<Baby> rig;
    EXPECT_EQ(rig.playBytes(text("38980395")), Strings{"baby 36.00 10.06"});
    const auto readings = rig.app->babyReadings();
    ASSERT_EQ(readings.size(), 1U);
    EXPECT_EQ(readings[0].temperature, Baby::getTemper(3898));
    EXPECT_EQ(readings[0].environmentTemperature, Baby::getEnvTemper(395));
    EXPECT_EQ(rig.playBytes(text("06661811")), Strings{"baby 30.00 -100.00"});
    EXPECT_TRUE(rig.playBytes(text("389803")).empty());

    rig.setApplicationDelegate(nullptr);
    EXPECT_TRUE(rig.playBytes(text("38980394")).empty());
}

// ------------------------------------------------------------------------------------ connection and names

TEST(HalvoraSDKBabyThermometer, ConnectsReportsReadyAndStartsMeasuring) {
    MeasurementRig<Baby> rig;
    EXPECT_EQ(rig.reports->events(), (Strings{"connected", "ready", "ready"}));
    ASSERT_EQ(rig.peripheral->writes.size(), 1U);
    EXPECT_EQ(rig.writes(), Strings{"01"});
    EXPECT_EQ(rig.peripheral->writes[0].characteristic, BLEUUID("ccccaa01-93d4-4c06-bcba-e719578f1408"));
    EXPECT_EQ(rig.peripheral->notified, std::vector<BLEUUID>{BLEUUID("ccccaa02-93d4-4c06-bcba-e719578f1408")});
    EXPECT_EQ(rig.peripheral->characteristicDiscoveries[0].first, BLEUUID("cccc1e08-93d4-4c06-bcba-e719578f1408"));
}

TEST(HalvoraSDKBabyThermometer, RecognisesNamesContainingItsFragmentsInExactCase) {
    const std::vector<std::pair<std::optional<std::string>, bool>> cases = {
        {"iCcur", true},  {"my iCcur 3", true}, {"thermF", true},  {"thermF-02", true},
        {"iccur", false}, {"ICCUR", false},     {"thermf", false}, {std::nullopt, false},
    };
    for (const auto& [name, expected] : cases) {
        auto peripheral = std::make_shared<FakePeripheral>("00000000-0000-0000-0000-000000000001", name);
        EXPECT_EQ(Baby::matchDevice(peripheral), expected) << name.value_or("(no name)");
    }
}

TEST(HalvoraSDKBabyThermometer, RandomValuesNeverCrash) {
    MeasurementRig<Baby> rig;
    std::mt19937 random(20261124);
    std::uniform_int_distribution<int> length(0, 16);
    std::uniform_int_distribution<int> byte(0, 255);
    const char digits[] = "0123456789 +-";
    for (int i = 0; i < 30000; ++i) {
        std::vector<std::uint8_t> value(static_cast<std::size_t>(length(random)));
        for (auto& b : value) {
            b = byte(random) < 200 ? static_cast<std::uint8_t>(digits[byte(random) % 13])
                                   : static_cast<std::uint8_t>(byte(random));
        }
        rig.peripheral->playNotification(Baby::readCharacteristicUUID(), value);
    }
    const auto readings = rig.app->babyReadings();
    EXPECT_GT(readings.size(), 0U);
    for (const auto& reading : readings) {
        EXPECT_TRUE(reading.temperature.has_value());
        EXPECT_TRUE(reading.environmentTemperature.has_value());
    }
}

}  // namespace
}  // namespace halvora
