#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "Devices/RM830/RM830Rig.hpp"
#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/Format.hpp"
#include "halvora/Devices/RM830/internal/RM830HeartRatePacket.hpp"

namespace halvora::test {
namespace {

using std::chrono::seconds;

Date utc(std::int64_t epochSeconds) {
    return Date{seconds{epochSeconds}};
}

/// A quarter-hour frame of 2018-07-15: "43 F0 18 07 15 <quarter> <kind and 8 data bytes>".
std::string dayFrame(int quarter, const std::string& kindAndData) {
    return format("43 F0 18 07 15 %02X ", quarter) + kindAndData;
}

constexpr const char* kNothing = "12 00 00 00 00 00 00 00 00";     // a kind the kit skips
constexpr const char* kActivity = "00 D2 04 E8 03 F4 01 00 00";    // 12.34 kcal, 1000 steps, 5.00 km
constexpr const char* kNoSteps = "00 D2 04 00 00 F4 01 00 00";     // activity without steps: not kept
constexpr const char* kLightSleep = "FF 01 02 03 04 05 06 07 03";  // data bytes add up to 31
constexpr const char* kDeepSleep = "FF 01 02 03 04 05 06 07 04";   // ... to 32

/// A heart-rate history packet starting 2018-07-15 at 10:<minute> UTC with readings first, first + 1, ...
std::string heartPacket(const char* marker, int minute, int first) {
    std::string text = format("2F %s 18 07 15 10 %02d", marker, minute);
    for (int i = 0; i < 12; ++i) text += format(" %02X", (first + i) & 0xFF);
    return text;
}

class RM830HistoryTest : public ::testing::Test {
protected:
    void SetUp() override { Calendar::setTimeZone("UTC"); }
    void TearDown() override { Calendar::setTimeZone(std::nullopt); }
};

// A day is decoded when its 96th quarter-hour frame arrives, with dates of the phone's time zone; answers of
// another kind in between neither count nor change anything, and a 97th frame is dropped.
TEST_F(RM830HistoryTest, DayIsDecodedAtItsNinetySixthFrame) {
    Calendar::setTimeZone("JST-9");
    RM830Rig rig;
    rig.open();
    rig.driver->synchronizeDataDaysAgo(1);
    rig.driver->readDate();  // shows when the slot comes back
    rig.settle();
    EXPECT_EQ(rig.frames(), std::vector<std::string>{"43 01 00 00 00 00 00 00 00 00 00 00 00 00 00 44"});
    for (int quarter = 0; quarter < 96; ++quarter) {
        rig.play(format("43 %02X 18 07 15 00 00 00 00 00 00 00 00 00 00", quarter % 2 ? 0x00 : 0x64));
        const char* data = quarter == 0    ? kActivity
                           : quarter == 1  ? kNoSteps
                           : quarter == 94 ? kLightSleep
                           : quarter == 95 ? kDeepSleep
                                           : kNothing;
        if (quarter == 95) {
            EXPECT_TRUE(rig.app->events.empty());
            EXPECT_EQ(rig.codes(), std::vector<std::string>{"43"});
        }
        rig.play(dayFrame(quarter, data));
    }
    EXPECT_EQ(rig.app->events, std::vector<std::string>{"sync 1/2"});
    EXPECT_EQ(rig.codes(), (std::vector<std::string>{"43", "41"}));
    const HalvoraSDKBraceletData& day = rig.app->syncs.at(0);
    EXPECT_EQ(day.stepsData[0].date, utc(1531580400));  // quarter 0: 2018-07-15 00:00 in Tokyo
    EXPECT_EQ(day.stepsData[0].steps, 1000);
    EXPECT_DOUBLE_EQ(day.stepsData[0].calories, 12.34);
    EXPECT_DOUBLE_EQ(day.stepsData[0].distance, 5.0);
    EXPECT_EQ(day.sleepData[0].date, utc(1531580400 + 23 * 3600 + 30 * 60));  // quarter 94: 23:30
    EXPECT_EQ(day.sleepData[0].sleepDeepness, 0);
    EXPECT_EQ(day.sleepData[1].date, utc(1531580400 + 23 * 3600 + 45 * 60));  // quarter 95: 23:45
    EXPECT_EQ(day.sleepData[1].sleepDeepness, 1);
    EXPECT_EQ(day.sleepData[1].sleepDuration, 15);
    EXPECT_TRUE(day.heartData.empty());

    rig.play(dayFrame(0, kActivity));
    EXPECT_EQ(rig.app->events.size(), 1u);
    EXPECT_EQ(rig.permits(), 0);  // the read took the slot; the dropped frame gave nothing back
}

// Each day request starts from an empty buffer: frames of a day whose answer was cut short do not count
// toward the next day.
TEST_F(RM830HistoryTest, EachDayRequestStartsAfresh) {
    RM830Rig rig;
    rig.open();
    rig.driver->synchronizeDataDaysAgo(1);
    rig.driver->synchronizeDataDaysAgo(2);
    rig.settle();
    for (int quarter = 0; quarter < 50; ++quarter) rig.play(dayFrame(quarter, kActivity));
    rig.executor->advance(seconds(60));  // the rest of day 1 is lost
    EXPECT_EQ(rig.codes(), (std::vector<std::string>{"43", "43"}));
    for (int quarter = 0; quarter < 95; ++quarter) rig.play(dayFrame(quarter, kNothing));
    EXPECT_TRUE(rig.app->events.empty());
    rig.play(dayFrame(95, kDeepSleep));
    EXPECT_EQ(rig.app->events, std::vector<std::string>{"sync 0/1"});
}

TEST_F(RM830HistoryTest, DayWithoutRecordsDeliversNothingAndGivesTheSlotBack) {
    RM830Rig rig;
    rig.open();
    rig.driver->synchronizeDataDaysAgo(4);
    rig.settle();
    for (int quarter = 0; quarter < 96; ++quarter) rig.play(dayFrame(quarter, quarter % 2 ? kNothing : kNoSteps));
    EXPECT_TRUE(rig.app->events.empty());
    EXPECT_EQ(rig.permits(), 1);
}

// Today: the day first, then the real-time totals, then the stop whose answer gives the slot back.
TEST_F(RM830HistoryTest, TodayAsksForTheRealTimeTotalsAfterTheDay) {
    RM830Rig rig;
    rig.open();
    rig.executor->advance(seconds(90));
    rig.driver->synchronizeDataDaysAgo(0);
    rig.settle();
    EXPECT_EQ(rig.codes(), std::vector<std::string>{"43"});
    rig.play("43 FF");
    EXPECT_EQ(rig.codes(), (std::vector<std::string>{"43", "09"}));
    rig.play("09 01 00 00 00 00 00 00 04 D2 00 01 F4 00 00 00");
    EXPECT_EQ(rig.app->events, std::vector<std::string>{"steps 65536"});
    EXPECT_EQ(rig.app->steps.at(0).date, rig.executor->date());
    EXPECT_DOUBLE_EQ(rig.app->steps.at(0).calories, 12.34);
    EXPECT_DOUBLE_EQ(rig.app->steps.at(0).distance, 5.0);
    EXPECT_EQ(rig.codes(), (std::vector<std::string>{"43", "09", "0A"}));
    EXPECT_EQ(rig.permits(), 0);
    rig.play("0A");
    EXPECT_EQ(rig.permits(), 1);
    EXPECT_EQ(rig.pendingCommands(), 0u);
}

TEST_F(RM830HistoryTest, DayRequestWithoutPeripheralGivesTheSlotBack) {
    RM830Rig rig;
    rig.open();
    rig.driver->didDisconnect();
    rig.driver->synchronizeDataDaysAgo(1);
    rig.settle();
    EXPECT_TRUE(rig.frames().empty());
    EXPECT_EQ(rig.permits(), 1);
}

// Packets are chained without the slot; the list goes to the application at the last packet, and that
// packet's readings are added after it was handed over, so they come with the next hand-over.
TEST_F(RM830HistoryTest, HeartRatePacketsAreChainedAndTheLastOneComesLate) {
    RM830Rig rig;
    rig.open();
    rig.driver->getHeartRateValue(0);
    rig.settle();
    rig.play(heartPacket("64", 30, 60));
    rig.play(heartPacket("64", 32, 72));
    EXPECT_EQ(rig.frames(), (std::vector<std::string>{"2F 00 00 00 00 00 00 00 00 00 00 00 00 00 00 2F",
                                                      "2F 01 00 00 00 00 00 00 00 00 00 00 00 00 00 30",
                                                      "2F 02 00 00 00 00 00 00 00 00 00 00 00 00 00 31"}));
    EXPECT_EQ(rig.permits(), 0);
    rig.play(heartPacket("FF", 34, 0xC8));
    EXPECT_EQ(rig.app->events, std::vector<std::string>{"hrsync 24"});
    EXPECT_EQ(rig.permits(), 1);
    const auto& list = rig.app->heartSyncs.at(0);
    EXPECT_EQ(list[0].heartRate, 60);
    EXPECT_EQ(list[0].date, utc(1531650600));
    EXPECT_EQ(list[11].heartRate, 71);
    EXPECT_EQ(list[11].date, utc(1531650600 + 110));
    EXPECT_EQ(list[12].date, utc(1531650720));

    rig.play(heartPacket("FF", 36, 0));  // a later hand-over brings the last packet's readings
    ASSERT_EQ(rig.app->heartSyncs.size(), 2u);
    const auto& later = rig.app->heartSyncs[1];
    ASSERT_EQ(later.size(), 36u);
    EXPECT_EQ(later[24].heartRate, 200);  // read unsigned
    EXPECT_EQ(later[24].date, utc(1531650840));

    rig.driver->getHeartRateValue(0);  // packet 0 empties the list
    rig.settle();
    rig.play(heartPacket("FF", 38, 0));
    EXPECT_EQ(rig.app->events.back(), "hrsync 0");
}

// A follow-up without the slot still waits its turn behind a command that waits for the slot.
TEST_F(RM830HistoryTest, FollowUpsWaitBehindACommandWaitingForTheSlot) {
    RM830Rig rig;
    rig.open();
    rig.driver->getHeartRateValue(0);
    rig.driver->synchronizeTargets(10000);
    rig.settle();
    rig.play(heartPacket("64", 30, 60));
    EXPECT_EQ(rig.codes(), std::vector<std::string>{"2F"});
    rig.executor->advance(seconds(60));
    EXPECT_EQ(rig.codes(), (std::vector<std::string>{"2F", "0B", "2F"}));
}

// Packet numbers are one byte: the 256th packet ends the download, and a full list takes nothing more.
TEST_F(RM830HistoryTest, HeartRateDownloadStopsAtTwoHundredFiftySixPackets) {
    RM830Rig rig;
    rig.open();
    rig.driver->getHeartRateValue(0);
    rig.settle();
    for (int packet = 0; packet < 256; ++packet) rig.play(heartPacket("64", 30, packet));
    EXPECT_EQ(rig.codes().size(), 256u);
    EXPECT_EQ(rig.frames().back().substr(0, 5), "2F FF");
    EXPECT_EQ(rig.app->events, std::vector<std::string>{"hrsync 3060"});
    EXPECT_EQ(rig.permits(), 1);
    EXPECT_EQ(rig.logLines.size(), 1u);
    rig.play(heartPacket("64", 30, 0));
    EXPECT_EQ(rig.codes().size(), 256u);
    rig.play(heartPacket("FF", 30, 0));
    EXPECT_EQ(rig.app->events, (std::vector<std::string>{"hrsync 3060", "hrsync 3072"}));
}

TEST_F(RM830HistoryTest, HeartRatePacketStartIsReadAsDayMonthYearHourMinute) {
    struct Case {
        std::string bytes;  // yy MM dd HH mm
        std::optional<std::int64_t> start;
    };
    const Case cases[] = {
        {"18 07 15 10 30", 1531650600},   {"20 02 29 23 59", 1583020740},   {"99 12 31 23 59", 946684740},
        {"49 01 01 00 00", 2493072000},   {"50 01 01 00 00", -631152000},   {"19 02 29 00 00", std::nullopt},
        {"18 13 01 00 00", std::nullopt}, {"18 00 01 00 00", std::nullopt}, {"18 07 00 00 00", std::nullopt},
        {"18 04 31 00 00", std::nullopt}, {"18 07 15 24 00", std::nullopt}, {"18 07 15 10 60", std::nullopt},
        {"1A 07 15 10 30", std::nullopt},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bytes);
        const auto packet = bytes("2F FF " + c.bytes + " 01 02 03 04 05 06 07 08 09 0A 0B 0C");
        const auto readings = RM830HeartRatePacket::readings(packet);
        ASSERT_EQ(readings.size(), 12u);
        EXPECT_EQ(readings[3].heartRate, 4);
        if (c.start) {
            EXPECT_EQ(readings[0].date, utc(*c.start));
            EXPECT_EQ(readings[11].date, utc(*c.start + 110));
        } else {
            EXPECT_FALSE(readings[0].date);
            EXPECT_FALSE(readings[11].date);
        }
    }
}

}  // namespace
}  // namespace halvora::test
