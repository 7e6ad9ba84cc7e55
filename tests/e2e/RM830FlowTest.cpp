// Whole flows through the manager with the virtual RM830 bracelet, in virtual time: a stored day with its
// quarter-hour dates, the firmware check on connection in both its outcomes, and the heart-rate history.
#include <gtest/gtest.h>

#include "Devices/RM830/RecordingRM830Delegate.hpp"
#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/PreferenceUtils.hpp"
#include "lab/Devices/RM830/VirtualRM830.hpp"
#include "support/LabHarness.hpp"

namespace halvora {
namespace {

using test::LabHarness;
using test::RecordingRM830Delegate;

constexpr const char* kBraceletId = "7A2B3C4D-0000-4000-8000-0000000008E0";

std::string text(const std::optional<Date>& date) {
    return date ? Calendar::formatDateTime(*date) : "-";
}

lab::RM830Quarter sleepQuarter(int index, std::uint8_t movement) {
    lab::RM830Quarter quarter;
    quarter.index = index;
    quarter.kind = lab::RM830Quarter::Kind::Sleep;
    quarter.movement.fill(movement);
    return quarter;
}

lab::RM830Quarter activityQuarter(int index, int steps, int calories, int distance) {
    lab::RM830Quarter quarter;
    quarter.index = index;
    quarter.steps = steps;
    quarter.calories = calories;
    quarter.distance = distance;
    return quarter;
}

/// A lab world with an RM830 bracelet in range (its clock at 2026-03-10 12:00, zone pinned to UTC).
struct RM830Lab {
    LabHarness lab;
    std::shared_ptr<RecordingRM830Delegate> app = std::make_shared<RecordingRM830Delegate>();
    std::shared_ptr<lab::VirtualRM830> bracelet;

    explicit RM830Lab(lab::RM830Script script = {}) {
        Calendar::setTimeZone("UTC");
        script.clock = *lab::BraceletTime::parse("2026-03-10 12:00");
        bracelet = lab.add(lab::VirtualRM830::make(kBraceletId));
        bracelet->setScript(script);
        lab.manager->setBraceletRM830Delegate(app);
    }
    ~RM830Lab() {
        lab.advance(seconds(1));
        Calendar::setTimeZone(std::nullopt);
    }
    RM830Lab(const RM830Lab&) = delete;
    RM830Lab& operator=(const RM830Lab&) = delete;

    /// Connects and lets the opening exchange (version, firmware check, time format) finish.
    void connect() {
        lab.manager->connectDevice(DeviceTypeBraceletRM830, 30);
        ASSERT_TRUE(lab.runUntilEvent("status 6 -> 2", seconds(10)));
        ASSERT_TRUE(lab.runUntil([&] { return !app->events.empty(); }, seconds(5)));
    }
};

TEST(RM830Flow, StoredDayArrivesWithItsQuarterHourDates) {
    lab::RM830Script script;
    lab::RM830Day yesterday;
    yesterday.daysAgo = 1;
    yesterday.quarters = {sleepQuarter(0, 5), sleepQuarter(1, 3), activityQuarter(40, 0, 120, 0),
                          activityQuarter(95, 640, 2560, 44)};
    script.days = {yesterday};
    RM830Lab w(script);
    w.connect();
    w.app->clear();

    w.lab.manager->getBraceletRM830HistoryData(1);
    ASSERT_TRUE(w.lab.runUntil([&] { return !w.app->syncs.empty(); }, seconds(10)));
    const auto& day = w.app->syncs.front();
    ASSERT_EQ(day.sleepData.size(), 2U);
    EXPECT_EQ(text(day.sleepData[0].date), "2026-03-09 00:00:00");
    EXPECT_EQ(day.sleepData[0].sleepDeepness, 1);  // movement 8 x 5 = 40, above 31
    EXPECT_EQ(text(day.sleepData[1].date), "2026-03-09 00:15:00");
    EXPECT_EQ(day.sleepData[1].sleepDeepness, 0);  // 24
    // The quarter without steps is no record; the last quarter of the day is 23:45.
    ASSERT_EQ(day.stepsData.size(), 1U);
    EXPECT_EQ(text(day.stepsData[0].date), "2026-03-09 23:45:00");
    EXPECT_EQ(day.stepsData[0].steps, 640);
    EXPECT_DOUBLE_EQ(day.stepsData[0].calories, 25.6);
    EXPECT_DOUBLE_EQ(day.stepsData[0].distance, 0.44);
    EXPECT_TRUE(day.heartData.empty());

    // A day without data delivers nothing; the next request is answered all the same.
    w.app->clear();
    w.lab.manager->getBraceletRM830HistoryData(5);
    w.lab.manager->configureBraceletRM830StepsGoal(10000);
    ASSERT_TRUE(w.lab.runUntil([&] { return !w.app->events.empty(); }, seconds(10)));
    EXPECT_EQ(w.app->events, std::vector<std::string>{"finished true"});
}

TEST(RM830Flow, CurrentFirmwareIsReportedAndLeftAlone) {
    RM830Lab w;
    w.connect();
    w.lab.advance(seconds(10));
    EXPECT_TRUE(w.lab.app->has("info 6 Version :54.51.56.1"));
    EXPECT_TRUE(w.lab.app->has("info 6 Firmware is already updated"));
    EXPECT_EQ(w.bracelet->updateModeRequests(), 0);
    EXPECT_FALSE(w.lab.manager->isPending(DeviceTypeBraceletRM830DFU));
}

TEST(RM830Flow, OlderFirmwareIsSwitchedToUpdateModeAndTheUpdaterIsAskedFor) {
    lab::RM830Script script;
    script.version = "54.51.55.9";
    // The bracelet stays in its application: nothing plays its updater.
    script.updater.switchDelay = std::chrono::hours(1);
    RM830Lab w(script);
    w.lab.manager->connectDevice(DeviceTypeBraceletRM830, 30);
    ASSERT_TRUE(w.lab.runUntil([&] { return w.bracelet->updateModeRequests() == 1; }, seconds(10)));
    EXPECT_TRUE(w.lab.app->has("info 6 Version :54.51.55.9"));
    EXPECT_FALSE(w.lab.app->has("info 6 Firmware is already updated"));

    // Three seconds after the switch the manager is asked for the bracelet in update mode.
    const long long switched = w.lab.nowMs();
    ASSERT_TRUE(w.lab.runUntilEvent("status 8 -> 0", seconds(4)));
    const long long asked = w.lab.app->timeOf("status 8 -> 0");
    EXPECT_GE(asked - switched, 2900);
    EXPECT_LE(asked - switched, 3100);

    // With no updater on the air the request runs out after its 30 s.
    w.lab.advance(seconds(29));
    EXPECT_TRUE(w.lab.manager->isPending(DeviceTypeBraceletRM830DFU));
    ASSERT_TRUE(w.lab.runUntilEvent("status 8 -> -1", seconds(10)));
    EXPECT_FALSE(w.lab.manager->isPending(DeviceTypeBraceletRM830DFU));
}

TEST(RM830Flow, ABraceletTheSystemStillHoldsIsTakenOverWithoutAScan) {
    LabHarness lab(1, false);
    auto bracelet = lab.add(lab::VirtualRM830::make(kBraceletId));
    // A first run of the application, with a restorable central, connects the bracelet; when it goes the
    // system keeps the link.
    {
        auto first =
            HalvoraSDKManager::create(ManagerEnvironment{lab.executor, lab.transport, lab.preferences, lab.log, "179"});
        first->setCentralManagerIdentifiers({"halvora.first-run"});
        lab.executor->runUntilIdle();
        first->connectDevice(DeviceTypeBraceletRM830, 30);
        ASSERT_TRUE(lab.runUntil(
            [&] { return first->getDeviceStatus(DeviceTypeBraceletRM830) == ConnectionStatusReady; }, seconds(10)));
        lab.advance(seconds(1));
    }
    lab.executor->runUntilIdle();
    ASSERT_TRUE(bracelet->isConnected());

    // The next run asks for the kind and is given the held bracelet at once: no search, no 4-second check.
    lab.manager->initCentralManagerWithoutBackgroundMode();
    lab.executor->runUntilIdle();
    const long long asked = lab.nowMs();
    lab.manager->connectDevice(DeviceTypeBraceletRM830, 30);
    ASSERT_TRUE(lab.runUntilEvent("status 6 -> 2", seconds(5)));
    EXPECT_FALSE(lab.app->has("status 6 -> 0"));
    EXPECT_LT(lab.app->timeOf("status 6 -> 2") - asked, 1000);
}

TEST(RM830Flow, HeartRateHistoryIsDeliveredWithTheLastPacketAppendedAfterwards) {
    lab::RM830Script script;
    script.seededHeartPackets = 3;
    RM830Lab w(script);
    w.connect();
    w.lab.manager->getBraceletRM830HeartRateSync();
    ASSERT_TRUE(w.lab.runUntil([&] { return !w.app->heartSyncs.empty(); }, seconds(10)));
    // Packets 0 and 1 reached the application; the last packet's readings come after the hand-over.
    ASSERT_EQ(w.app->heartSyncs.front().size(), 24U);
    const auto& first = w.app->heartSyncs.front();
    ASSERT_TRUE(first[0].date && first[1].date);
    EXPECT_EQ(*first[1].date - *first[0].date, std::chrono::seconds(10));
}

}  // namespace
}  // namespace halvora
