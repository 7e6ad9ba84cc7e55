#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "halvora/Core/Calendar.hpp"
#include "halvora/Devices/Bracelet/HalvoraSDKBracelet.hpp"
#include "halvora/Records/HalvoraSDKBraceletAlarm.hpp"
#include "halvora/Records/HalvoraSDKHeartBeatData.hpp"
#include "halvora/Records/HalvoraSDKSleepData.hpp"
#include "halvora/Records/HalvoraSDKStepData.hpp"

namespace halvora {
namespace {

using std::chrono::seconds;

class BraceletRecordsTest : public ::testing::Test {
protected:
    void SetUp() override { Calendar::setTimeZone("UTC"); }
    void TearDown() override { Calendar::setTimeZone(std::nullopt); }

    const Date may17 = Date{seconds{1779013230}};  // 2026-05-17 10:20:30 UTC
};

TEST_F(BraceletRecordsTest, RecordsPrintTheirFields) {
    HalvoraSDKStepData steps;
    EXPECT_EQ(steps.print(), "Date: (null)\nSteps: 0\nCalories: 0\nDistance: 0.00");
    steps.date = may17;
    steps.steps = 1000;
    steps.calories = 54.763797760009766;
    steps.distance = 0.5833333134651184;
    EXPECT_EQ(steps.print(), "Date: 2026-05-17 10:20:30\nSteps: 1000\nCalories: 54\nDistance: 0.58");

    HalvoraSDKSleepData sleep;
    EXPECT_EQ(sleep.description(), "Date: (null)\nSleep duration: 0\nSleep deepness: 1\n");
    sleep.date = may17;
    sleep.sleepDuration = 10;
    sleep.sleepDeepness = 0;
    EXPECT_EQ(sleep.description(), "Date: 2026-05-17 10:20:30\nSleep duration: 10\nSleep deepness: 0\n");

    HalvoraSDKHeartBeatData heart;
    EXPECT_EQ(heart.description(), "Date: (null)\nHeart Rate: 0\n");
    heart.date = may17;
    heart.heartRate = 61;
    Calendar::setTimeZone("JST-9");
    EXPECT_EQ(heart.description(), "Date: 2026-05-17 19:20:30\nHeart Rate: 61\n");
}

TEST_F(BraceletRecordsTest, AlarmDescribesItselfAsADictionaryInKeyOrder) {
    HalvoraSDKBraceletAlarm alarm;
    alarm.secondaryAlarm = true;
    alarm.monday = true;
    alarm.saturday = true;
    alarm.hour = 7;
    alarm.minute = 30;
    EXPECT_EQ(alarm.description(),
              "{\n    friday = 0;\n    hour = 7;\n    minute = 30;\n    monday = 1;\n    saturday = 1;\n"
              "    sunday = 0;\n    thursday = 0;\n    tuesday = 0;\n    wednesday = 0;\n}");
}

TEST_F(BraceletRecordsTest, EstimatesAreComputedInSinglePrecision) {
    struct DistanceCase {
        std::int32_t steps;
        std::optional<std::int64_t> height;
        float metres;
    };
    const DistanceCase distances[] = {
        {1000, std::nullopt, 533.3333129882812F},  // 160 cm when no height is given
        {1000, 175, 583.3333129882812F},          {1000, 180, 600.0F}, {0, 180, 0.0F}, {-30, 150, -15.0F},
    };
    for (const auto& c : distances) {
        SCOPED_TRACE(c.steps);
        EXPECT_EQ(HalvoraSDKBracelet::getDistanceBySteps(c.steps, c.height), c.metres);
    }

    struct CaloriesCase {
        double metres;
        std::optional<double> weight;
        float kcal;
    };
    const CaloriesCase calories[] = {
        {533.3333129882812, std::nullopt, 50.069759368896484F},  // the factor of 60 kg
        {533.3333129882812, 80.0, 66.75968170166016F},
        {600.0, 70.0, 65.71656036376953F},
    };
    for (const auto& c : calories) {
        SCOPED_TRACE(c.metres);
        EXPECT_EQ(HalvoraSDKBracelet::getCaloriesByDistance(c.metres, c.weight), c.kcal);
    }

    EXPECT_DOUBLE_EQ(HalvoraSDKBracelet::geDistanceByCalories(36, std::nullopt), 1.0);
    EXPECT_DOUBLE_EQ(HalvoraSDKBracelet::geDistanceByCalories(60, 100.0), 1.0);
}

TEST_F(BraceletRecordsTest, CrcIsTheSignExtendedLowByteOfTheSum) {
    struct Case {
        std::vector<std::int32_t> values;
        std::int32_t crc;
    };
    const Case cases[] = {
        {{200}, -56},
        {{100, 28}, -128},
        {{127}, 127},
        {{255, 1}, 0},
        {{}, 0},
        {{-1}, -1},
        {{0x7FFFFFFF, 0x7FFFFFFF}, -2},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(HalvoraSDKBracelet::crcCalculation(c.values), c.crc);
    }
}

}  // namespace
}  // namespace halvora
