#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "Devices/Vital/VitalFrameTest.hpp"
#include "Devices/Vital/VitalRig.hpp"
#include "halvora/Core/Calendar.hpp"

namespace halvora::test {
namespace {

using Request = std::function<void(HalvoraSDKBraceletVital&)>;

Date utc(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
    std::tm local{};
    local.tm_year = year - 1900;
    local.tm_mon = month - 1;
    local.tm_mday = day;
    local.tm_hour = hour;
    local.tm_min = minute;
    local.tm_sec = second;
    return Calendar::fromLocal(local);
}

class VitalHistory : public ::testing::Test {
protected:
    void SetUp() override {
        Calendar::setTimeZone("UTC");
        rig.open();
    }
    void TearDown() override { Calendar::setTimeZone(std::nullopt); }

    /// Sends `request`, plays the pages and gives the one result it delivered.
    template <class Record>
    std::vector<Record> download(const Request& request, const std::vector<std::string>& pages) {
        request(*rig.driver);
        rig.settle();
        rig.clear();
        for (const auto& page : pages) rig.play(page);
        EXPECT_EQ(rig.app->responses.size(), 1U);
        if (rig.app->responses.size() != 1U) return {};
        return std::get<std::vector<Record>>(rig.app->responses[0].data);
    }

    /// The driver's own log lines, without the received-bytes lines.
    std::vector<std::string> historyLog() const {
        std::vector<std::string> lines;
        for (const auto& line : rig.logLines) {
            if (line.rfind(HalvoraSDKBraceletVital::kReceivedDataPrefix, 0) != 0) lines.push_back(line);
        }
        return lines;
    }

    VitalRig rig;
};

// Each request's frame, and the command number its empty transfer (the end mark at once) is delivered under.
TEST_F(VitalHistory, RequestFramesAndEmptyTransfers) {
    struct Row {
        Request request;
        std::string frame;
        std::string endPage;
        std::string event;
    };
    using D = HalvoraSDKBraceletVital;
    const std::vector<Row> rows = {
        {[](D& d) { d.getDaySteps(); }, "51", "51 FF", "info 17 -1"},
        {[](D& d) { d.getTotalStepCount(3); }, "51 03", "51 FF", "info 17 -1"},
        {[](D& d) { d.getDetailedStepData(); }, "52", "52 FF", "info 18 -1"},
        {[](D& d) { d.getDetailedStepData(2, 9); }, "52 02", "52 FF", "info 18 -1"},
        {[](D& d) { d.getDetailedSleepData(); }, "53", "53 FF", "info 19 -1"},
        {[](D& d) { d.getAutomaticHeartRateData(); }, "54", "54 FF", "info 21 -1"},
        {[](D& d) { d.getAutomaticHeartRateData(1, 0x1234); }, "54 01 34 12", "54 FF", "info 21 -1"},
        {[](D& d) { d.getHeartRateData(); }, "55", "55 FF", "info 20 -1"},
        {[](D& d) { d.getHRVData(); }, "56", "56 FF", "info 24 -1"},
        {[](D& d) { d.getSportData(); }, "5C", "5C FF", "info 25 -1"},
        {[](D& d) { d.getBloodOxygenData(); }, "60", "60 FF", "info 22 -1"},
        {[](D& d) { d.getTemperatureData(); }, "62", "62 FF", "info 26 -1"},
        {[](D& d) { d.getAutomaticTemperatureData(); }, "65", "65 FF", "info 27 -1"},
        {[](D& d) { d.getAutomaticBloodOxygenData(); }, "66", "66 FF", "info 23 -1"},
    };
    for (const auto& row : rows) {
        row.request(*rig.driver);
        rig.settle();
        EXPECT_EQ(rig.frames(), std::vector<std::string>{frame16(row.frame)}) << row.frame;
        EXPECT_EQ(rig.permits(), 0) << row.frame;
        rig.play(row.endPage);
        EXPECT_EQ(rig.app->events, std::vector<std::string>{row.event}) << row.frame;
        EXPECT_EQ(rig.permits(), 1) << row.frame;
        rig.clear();
    }
}

TEST_F(VitalHistory, DailyTotalsConvertAndReadFieldsUpToTheirFirstZeroByte) {
    // Steps 10000, active 45 min, distance 1234 and calories 12345 hundredths, 30 exercise minutes; the second
    // day's steps are 00 01 00 00, which the bracelet's records mean as 0.
    const std::string day1 = "00 24 06 15 10 27 00 00 2D 00 00 00 D2 04 00 00 39 30 00 00 AA BB 1E 00 00 00 00";
    const std::string day2 = "01 24 06 16 00 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00";
    const auto days =
        download<HalvoraSDKStepSummaryData>([](auto& d) { d.getDaySteps(); }, {"51 " + day1 + " " + day2 + " FF"});
    ASSERT_EQ(days.size(), 2U);
    EXPECT_EQ(days[0].date, utc(2024, 6, 15));
    EXPECT_EQ(days[0].totalSteps, 10000);
    EXPECT_EQ(days[0].totalActiveTime, 45);
    EXPECT_DOUBLE_EQ(days[0].totalDistance, 12.34);
    EXPECT_DOUBLE_EQ(days[0].totalCalories, 123.45);
    EXPECT_EQ(days[0].totalExerciseTime, 1800);
    EXPECT_EQ(days[1].date, utc(2024, 6, 16));
    EXPECT_EQ(days[1].totalSteps, 0);
}

TEST_F(VitalHistory, DetailedStepsWithPerMinuteCounts) {
    // Distance 00 02 reads as 0.
    const auto steps = download<HalvoraSDKDetailedStepData>(
        [](auto& d) { d.getDetailedStepData(); },
        {"52 00 01 24 06 15 08 30 00 E8 03 2C 01 00 02 01 02 03 04 05 06 07 08 09 0A 00 FF"});
    ASSERT_EQ(steps.size(), 1U);
    EXPECT_EQ(steps[0].date, utc(2024, 6, 15, 8, 30));
    EXPECT_EQ(steps[0].steps, 1000);
    EXPECT_DOUBLE_EQ(steps[0].calories, 3.0);
    EXPECT_DOUBLE_EQ(steps[0].distance, 0.0);
    EXPECT_EQ(steps[0].stepsPerMinute, (std::vector<std::int32_t>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
}

TEST_F(VitalHistory, HRVAndSportRecords) {
    const auto hrv = download<HalvoraSDKVitalHRVData>([](auto& d) { d.getHRVData(); },
                                                      {"56 00 01 24 06 15 09 00 00 32 28 48 14 78 50 00 FF"});
    ASSERT_EQ(hrv.size(), 1U);
    EXPECT_EQ(hrv[0].date, utc(2024, 6, 15, 9));
    EXPECT_EQ((std::vector<int>{hrv[0].hrv, hrv[0].vascularAging, hrv[0].heartRate, hrv[0].fatigue, hrv[0].systolic,
                                hrv[0].diastolic}),
              (std::vector<int>{50, 40, 72, 20, 120, 80}));
    rig.clear();
    const auto sport = download<HalvoraSDKSportData>(
        [](auto& d) { d.getSportData(); },
        {"5C 00 01 24 06 15 07 00 00 5A D0 07 64 00 C8 00 3C 00 00 00 78 00 00 00 03 00 FF"});
    ASSERT_EQ(sport.size(), 1U);
    EXPECT_EQ(sport[0].date, utc(2024, 6, 15, 7));
    EXPECT_EQ((std::vector<int>{sport[0].hr, sport[0].steps, sport[0].calories, sport[0].distance, sport[0].activeTime,
                                sport[0].exerciseTime, sport[0].sportType}),
              (std::vector<int>{90, 2000, 100, 200, 60, 120, 3}));
}

TEST_F(VitalHistory, BloodOxygenFromBothRequests) {
    for (const Request& request : {Request([](auto& d) { d.getBloodOxygenData(); }),
                                   Request([](auto& d) { d.getAutomaticBloodOxygenData(); })}) {
        request(*rig.driver);
        rig.settle();
        const std::string code = rig.frames().back().substr(0, 2);
        rig.clear();
        rig.play(code + " 00 01 24 06 15 11 00 00 62 00 FF");
        ASSERT_EQ(rig.app->responses.size(), 1U) << code;
        const auto& records = std::get<std::vector<HalvoraSDKOximeterData>>(rig.app->responses[0].data);
        ASSERT_EQ(records.size(), 1U) << code;
        EXPECT_EQ(records[0].date, utc(2024, 6, 15, 11)) << code;
        EXPECT_EQ(records[0].sp2, 98) << code;
        rig.clear();
    }
}

TEST_F(VitalHistory, TemperaturesInTenthsWithTheirLogLines) {
    const auto spot = download<HalvoraSDKThermometerData>([](auto& d) { d.getTemperatureData(); },
                                                          {"62 00 01 24 06 15 12 00 00 6D 01 00", "62 FF"});
    ASSERT_EQ(spot.size(), 1U);
    EXPECT_EQ(spot[0].date, utc(2024, 6, 15, 12));
    EXPECT_DOUBLE_EQ(spot[0].temperature.value_or(0), 36.5);
    EXPECT_EQ(spot[0].mode, 1);
    EXPECT_EQ(spot[0].unit, "celsius");
    const std::string record = spot[0].description();
    EXPECT_EQ(historyLog(),
              (std::vector<std::string>{"getTemperatureData accepted", "getTemperatureData response - " + record,
                                        "getTemperatureData accepted", "getTemperatureData response - FINISHED"}));
    rig.clear();
    const auto automatic = download<HalvoraSDKThermometerData>([](auto& d) { d.getAutomaticTemperatureData(); },
                                                               {"65 00 01 24 06 15 12 00 00 6D 01 00 FF"});
    ASSERT_EQ(automatic.size(), 1U);
    EXPECT_EQ(rig.app->events, std::vector<std::string>{"info 27 -1"});
    EXPECT_EQ(historyLog(), (std::vector<std::string>{"getAutomaticTemperatureData accepted",
                                                      "getAutomaticTemperatureData response - " + record,
                                                      "getAutomaticTemperatureData response - FINISHED"}));
}

TEST_F(VitalHistory, HeartRatesSpotAndAutomatic) {
    const auto spot = download<HalvoraSDKHeartBeatData>([](auto& d) { d.getHeartRateData(); },
                                                        {"55 00 01 24 06 15 10 00 00 4B 00 FF"});
    ASSERT_EQ(spot.size(), 1U);
    EXPECT_EQ(spot[0].date, utc(2024, 6, 15, 10));
    EXPECT_EQ(spot[0].heartRate, 75);
    EXPECT_EQ(historyLog(), (std::vector<std::string>{"getHeartRateData accepted",
                                                      "getSingleHeartRateData response - " + spot[0].description(),
                                                      "getHeartRateData response - FINISHED"}));
    rig.clear();
    // Samples 70, 0, 72 and twelve empty ones: the zero sample makes no record but takes its 900 s.
    const auto automatic = download<HalvoraSDKHeartBeatData>(
        [](auto& d) { d.getAutomaticHeartRateData(); },
        {"54 00 01 24 06 15 00 00 00 46 00 48 00 00 00 00 00 00 00 00 00 00 00 00 00 FF"});
    ASSERT_EQ(automatic.size(), 2U);
    EXPECT_EQ(automatic[0].date, utc(2024, 6, 15, 0, 0));
    EXPECT_EQ(automatic[0].heartRate, 70);
    EXPECT_EQ(automatic[1].date, utc(2024, 6, 15, 0, 30));
    EXPECT_EQ(automatic[1].heartRate, 72);
    EXPECT_EQ(historyLog().front(), "getAutomaticHeartRateData accepted");
    EXPECT_EQ(historyLog().back(), "getAutomaticHeartRateData response - FINISHED");
}

// The segment after a closed one starts at the record's start plus that segment's own length.
TEST_F(VitalHistory, SleepSegments) {
    struct Row {
        std::string minutes;
        std::vector<std::tuple<int, int, int>> segments;  // start minute after 23:00, length, deepness
    };
    const std::vector<Row> rows = {
        {"02 02 01 01 01 00 02", {{0, 2, 0}, {2, 3, 1}, {3, 1, 0}}},
        {"01 01 03 03 03 03", {{0, 2, 1}, {2, 4, 0}}},  // a first deep minute closes an empty light segment
        {"00 00 00", {}},
        {"", {}},
        {"02 01 02 01 01 00 00 02 02 02", {{0, 1, 0}, {1, 1, 1}, {1, 1, 0}, {1, 2, 1}, {2, 3, 0}}},
    };
    for (const auto& row : rows) {
        rig.clear();
        const auto sleep = download<HalvoraSDKDetailedSleepData>(
            [](auto& d) { d.getDetailedSleepData(); }, {"53 00 01 24 06 15 23 00 00 07 00 " + row.minutes, "53 FF"});
        ASSERT_EQ(sleep.size(), row.segments.size()) << row.minutes;
        for (std::size_t i = 0; i < sleep.size(); ++i) {
            const auto [start, length, deepness] = row.segments[i];
            EXPECT_EQ(sleep[i].date, utc(2024, 6, 15, 23, start)) << row.minutes << " #" << i;
            EXPECT_EQ(sleep[i].sleepDuration, length) << row.minutes << " #" << i;
            EXPECT_EQ(sleep[i].sleepDeepness, deepness) << row.minutes << " #" << i;
            EXPECT_TRUE(sleep[i].sleepPer5Minutes.empty());
        }
    }
}

TEST_F(VitalHistory, RecordsGatherAcrossNotificationsUntilTheEndMark) {
    rig.driver->getDaySteps();
    rig.settle();
    const std::string rest = " 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00";
    rig.play("51 00 24 06 15 01" + rest);
    rig.play("51 01 24 06 16 02" + rest + " 02 24 06 17 03" + rest);
    EXPECT_TRUE(rig.app->events.empty());
    EXPECT_EQ(rig.permits(), 0);  // the transfer still holds the permit
    rig.play("51 FF 00 00");
    ASSERT_EQ(rig.app->responses.size(), 1U);
    EXPECT_EQ(rig.permits(), 1);
    const auto& days = std::get<std::vector<HalvoraSDKStepSummaryData>>(rig.app->responses[0].data);
    ASSERT_EQ(days.size(), 3U);
    EXPECT_EQ((std::vector<int>{days[0].totalSteps, days[1].totalSteps, days[2].totalSteps}),
              (std::vector<int>{1, 2, 3}));
    // A new request starts from an empty list.
    rig.clear();
    EXPECT_TRUE(download<HalvoraSDKStepSummaryData>([](auto& d) { d.getDaySteps(); }, {"51 FF"}).empty());
}

// Short pages, cut records and invalid dates give no record and never end the transfer.
TEST_F(VitalHistory, MalformedPages) {
    struct Row {
        std::vector<std::string> pages;
        std::size_t records;
    };
    const std::vector<Row> rows = {
        {{"55"}, 0},                                               // no slot: ignored
        {{"55 00 01 24 06 15 10"}, 0},                             // cut short
        {{"55 00 01 24 06 15 10 00 00 4B 00 00 01 24"}, 1},        // a whole record, then a cut one
        {{"55 00 01 24 13 15 10 00 00 4B 00"}, 0},                 // month 13
        {{"55 00 01 24 06 15 10 00 00 4B 00 FF 00 01 24 06"}, 1},  // bytes after the mark are not read
    };
    for (const auto& row : rows) {
        rig.driver->getHeartRateData();
        rig.settle();
        rig.clear();
        for (const auto& page : row.pages) rig.play(page);
        const bool ended = row.pages.back().find("FF") != std::string::npos;
        if (!ended) {
            EXPECT_TRUE(rig.app->events.empty()) << row.pages.back();
            EXPECT_EQ(rig.permits(), 0) << row.pages.back();
            rig.play("55 FF");
        }
        ASSERT_EQ(rig.app->responses.size(), 1U) << row.pages.back();
        EXPECT_EQ(std::get<std::vector<HalvoraSDKHeartBeatData>>(rig.app->responses[0].data).size(), row.records)
            << row.pages.back();
        rig.clear();
    }
    // A sleep page too short for its date, and one of the code alone.
    rig.driver->getDetailedSleepData();
    rig.settle();
    rig.play("53");
    rig.play("53 00 01 24 06");
    EXPECT_EQ(rig.permits(), 0);
    rig.play("53 FF");
    ASSERT_EQ(rig.app->responses.size(), 1U);
    EXPECT_TRUE(std::get<std::vector<HalvoraSDKDetailedSleepData>>(rig.app->responses[0].data).empty());
}

TEST_F(VitalHistory, ListsStopAtTheirCap) {
    const std::vector<std::uint8_t> slot = {0x00, 0x01, 0x24, 0x06, 0x15, 0x11, 0x00, 0x00, 0x62, 0x00};
    constexpr std::size_t kPerPage = 10001;
    constexpr std::size_t kPages = 10;  // 100,010 records sent
    std::vector<std::uint8_t> page = {0x60};
    for (std::size_t i = 0; i < kPerPage; ++i) page.insert(page.end(), slot.begin(), slot.end());
    rig.driver->getBloodOxygenData();
    rig.settle();
    for (std::size_t i = 0; i < kPages; ++i) rig.playBytes(page);
    rig.play("60 FF");
    ASSERT_EQ(rig.app->responses.size(), 1U);
    EXPECT_EQ(std::get<std::vector<HalvoraSDKOximeterData>>(rig.app->responses[0].data).size(), 100000U);
    EXPECT_EQ(rig.permits(), 1);
}

}  // namespace
}  // namespace halvora::test
