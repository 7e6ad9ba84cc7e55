#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "Devices/Vital/VitalFrameTest.hpp"
#include "Devices/Vital/VitalRig.hpp"
#include "halvora/Core/Calendar.hpp"

namespace halvora::test {
namespace {

using Driver = HalvoraSDKBraceletVital;
using std::chrono::seconds;

class VitalSettingsTest : public ::testing::Test {
protected:
    void SetUp() override { Calendar::setTimeZone("UTC"); }
    void TearDown() override { Calendar::setTimeZone(std::nullopt); }
};

HalvoraSDKVitalParams validParams() {
    HalvoraSDKVitalParams p;
    p.notifications = HalvoraSDKVitalNotification{};
    p.basicHeartRateSetting = 60;
    p.screenBrightness = 10;
    p.dialInterface = 3;
    return p;
}

template <typename Period>
Period window(int sh, int sm, int eh, int em) {
    Period p;
    p.startHour = sh;
    p.startMinute = sm;
    p.endHour = eh;
    p.endMinute = em;
    return p;
}

// Each request on an open bracelet: the frame it writes (the reply then frees the permit).
TEST_F(VitalSettingsTest, EveryRequestWritesItsFrame) {
    HalvoraSDKUser user;
    user.sex = 1;
    user.age = 30;
    user.height = 300;
    user.weight = 70;
    user.extra = 5;
    HalvoraSDKVitalParams allTrue = validParams();
    allTrue.distanceUnitKm = allTrue.hourDisplay24h = allTrue.wristSenseEnabled = true;
    allTrue.temperatureUnitCelsius = allTrue.nightMode = allTrue.ANCSEnabled = true;
    allTrue.notifications->call = true;      // first byte 0x01
    allTrue.notifications->telegram = true;  // second byte 0x40
    allTrue.screenBrightness = 15;
    allTrue.language = 2;
    auto activity = window<HalvoraSDKVitalActivityPeriod>(8, 30, 22, 5);
    activity.monday = activity.sunday = true;
    activity.exerciseReminderPeriod = 60;
    activity.minimumNumberSteps = 255;
    activity.motionEnabled = true;
    auto detectionOff = window<HalvoraSDKVitalPeriod>(8, 0, 9, 0);
    detectionOff.type = 1;
    auto detectionWindow = detectionOff;
    detectionWindow.workingMode = 1;
    detectionWindow.intervalTime = 300;
    detectionWindow.friday = true;
    auto detectionInterval = detectionWindow;
    detectionInterval.workingMode = 2;
    detectionInterval.intervalTime = 65535;
    detectionInterval.type = 2;

    struct Case {
        const char* name;
        std::function<void(Driver&)> call;
        std::string frame;
    };
    const std::vector<Case> cases = {
        {"clock", [](auto& d) { d.setTime(Date{seconds{1718454645}}); }, frame16("01 24 06 15 12 30 45")},
        {"read clock", [](auto& d) { d.getTime(); }, frame16("41")},
        {"goal", [](auto& d) { d.setStepGoal(0x01020304); }, frame16("0B 04 03 02 01")},
        {"read goal", [](auto& d) { d.getStepGoal(); }, frame16("4B")},
        {"MAC", [](auto& d) { d.getMACAddress(); }, frame16("22")},
        {"user: sex 1 is 0, height 300 is 255", [=](auto& d) { d.setUserInformation(user); },
         frame16("02 00 1E FF 46 05")},
        {"read user", [](auto& d) { d.getUserInformation(); }, frame16("42")},
        {"parameters all false", [](auto& d) { d.setDeviceParameters(validParams()); },
         frame16("03 81 81 80 81 80 80 00 00 BC 00 8A 83 00 81")},
        {"parameters all true: XOR bytes 80, OR bytes 81, swapped notifications",
         [=](auto& d) { d.setDeviceParameters(allTrue); }, frame16("03 80 80 81 80 81 81 40 01 BC 00 8F 83 00 80")},
        {"read parameters", [](auto& d) { d.getDeviceParameters(); }, frame16("04")},
        {"battery", [](auto& d) { d.getDeviceBattery(); }, frame16("13")},
        {"activity period", [=](auto& d) { d.setActivityPeriod(activity); }, frame16("25 08 30 22 05 41 3C FF 01")},
        {"read activity period", [](auto& d) { d.getActivityPeriod(); }, frame16("26")},
        {"detection off: mode and type only", [=](auto& d) { d.setAutomaticDetection(detectionOff); },
         frame16("2A 00 00 00 00 00 00 00 00 03")},
        {"detection in a window: no interval", [=](auto& d) { d.setAutomaticDetection(detectionWindow); },
         frame16("2A 01 08 00 09 00 10 00 00 03")},
        {"detection at an interval", [=](auto& d) { d.setAutomaticDetection(detectionInterval); },
         frame16("2A 02 08 00 09 00 10 FF FF 02")},
        {"measure quantity 0", [](auto& d) { d.setHealthMeasurementControl(0, true); }, frame16("28 02 01")},
        {"measure quantity 1 has no code", [](auto& d) { d.setHealthMeasurementControl(1, true); },
         frame16("28 00 01")},
        {"measure quantity 2", [](auto& d) { d.setHealthMeasurementControl(2, false); }, frame16("28 03 00")},
        {"measure quantity 3", [](auto& d) { d.setHealthMeasurementControl(3, true); }, frame16("28 01 01")},
        {"real time", [](auto& d) { d.setRealtimeStepCounting(true, false); }, frame16("09 01 00")},
        {"sport mode 6 sends the level", [](auto& d) { d.sportModeControlEnable(1, 6, 3, 30); },
         frame16("19 01 06 03 1E")},
        {"sport mode 2 drops the level", [](auto& d) { d.sportModeControlEnable(1, 2, 3, 255); },
         frame16("19 01 02 00 FF")},
        {"sport stop", [](auto& d) { d.sportModeControlEnable(4, 0, -1, -1); }, frame16("19 04 00 00 FF")},
        {"sport heartbeat", [](auto& d) { d.sendSportHeartbeatWithDistance(0x0A0B0C, 367, 4); },
         frame16("17 0C 0B 0A 00 06 07 04")},
        {"QR on", [](auto& d) { d.showQRCode(true); }, frame16("B0 80")},
        {"QR off", [](auto& d) { d.showQRCode(false); }, frame16("B0 81")},
        {"weather defaults: 16 bytes, eight letters, no checksum",
         [](auto& d) { d.setWeather(HalvoraSDKVitalWeather{}); }, "15 04 14 18 00 5A 00 09 42 41 52 43 45 4C 4F 4E"},
    };
    for (const auto& c : cases) {
        VitalRig rig;
        rig.open();
        c.call(*rig.driver);
        rig.settle();
        EXPECT_EQ(rig.frames(), std::vector<std::string>{c.frame}) << c.name;
        EXPECT_TRUE(rig.app->events.empty()) << c.name;
    }
}

TEST_F(VitalSettingsTest, AlarmsGoInOneWriteOfBlocksCutIntoPieces) {
    VitalRig rig;
    rig.open();
    HalvoraSDKVitalAlarm first;
    first.hour = 7;
    first.minute = 30;
    first.monday = first.saturday = true;
    first.type = 2;
    first.text = "wake up";
    HalvoraSDKVitalAlarm second;
    second.enabled = false;
    second.hour = 23;
    second.minute = 5;
    second.sunday = true;
    rig.driver->setAlarms({first, second});
    rig.settle();
    std::vector<std::size_t> sizes;
    for (const auto& write : rig.peripheral->writes) sizes.push_back(write.value.size());
    EXPECT_EQ(sizes, (std::vector<std::size_t>{20, 20, 20, 20}));
    const std::string zeros25 = " 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00";
    EXPECT_EQ(rig.joined(), "23 02 00 01 02 07 30 21 05 31 32 33 34 35" + zeros25 +
                                " 23 02 01 00 00 23 05 40 05 31 32 33 34 35" + zeros25 + " 23 FF");
    rig.play("23");
    EXPECT_EQ(rig.app->events, std::vector<std::string>{"info 34 -1"});
}

// Argument checks: the error for the command, the permit freed, nothing written; just inside, the frame goes.
TEST_F(VitalSettingsTest, ArgumentChecksAtTheirBoundaries) {
    auto params = [](std::function<void(HalvoraSDKVitalParams&)> change) {
        auto p = validParams();
        change(p);
        return [p](Driver& d) { d.setDeviceParameters(p); };
    };
    auto activity = [](int reminder, int steps, int endHour) {
        auto p = window<HalvoraSDKVitalActivityPeriod>(8, 0, endHour, 0);
        p.exerciseReminderPeriod = reminder;
        p.minimumNumberSteps = steps;
        return [p](Driver& d) { d.setActivityPeriod(p); };
    };
    auto detection = [](int mode, int interval, int endHour) {
        auto p = window<HalvoraSDKVitalPeriod>(8, 0, endHour, 0);
        p.workingMode = mode;
        p.intervalTime = interval;
        return [p](Driver& d) { d.setAutomaticDetection(p); };
    };
    struct Case {
        const char* name;
        std::function<void(Driver&)> call;
        std::string error;  // empty: accepted and written
    };
    const std::vector<Case> cases = {
        {"no notifications", params([](auto& p) { p.notifications.reset(); }), "error 0 10"},
        {"heart-rate base 39", params([](auto& p) { p.basicHeartRateSetting = 39; }), "error 3 10"},
        {"heart-rate base 40", params([](auto& p) { p.basicHeartRateSetting = 40; }), ""},
        {"heart-rate base 255", params([](auto& p) { p.basicHeartRateSetting = 255; }), ""},
        {"heart-rate base 256", params([](auto& p) { p.basicHeartRateSetting = 256; }), "error 3 10"},
        {"brightness 15", params([](auto& p) { p.screenBrightness = 15; }), ""},
        {"brightness 16", params([](auto& p) { p.screenBrightness = 16; }), "error 4 10"},
        {"brightness -1", params([](auto& p) { p.screenBrightness = -1; }), "error 4 10"},
        {"dial 9", params([](auto& p) { p.dialInterface = 9; }), ""},
        {"dial 10", params([](auto& p) { p.dialInterface = 10; }), "error 5 10"},
        {"heart rate wins over brightness and dial", params([](auto& p) {
             p.basicHeartRateSetting = 0;
             p.screenBrightness = 99;
             p.dialInterface = 99;
         }),
         "error 3 10"},
        {"brightness wins over dial", params([](auto& p) {
             p.screenBrightness = 99;
             p.dialInterface = 99;
         }),
         "error 4 10"},
        {"reminder 255, steps 255", activity(255, 255, 9), ""},
        {"reminder 256", activity(256, 0, 9), "error 7 7"},
        {"steps 256", activity(0, 256, 9), "error 8 7"},
        {"both 256: the reminder wins", activity(256, 256, 9), "error 7 7"},
        {"steps before the window", activity(0, 256, 7), "error 8 7"},
        {"window ending before it starts", activity(0, 0, 7), "error 6 7"},
        {"interval 65535", detection(2, 65535, 9), ""},
        {"interval 65536", detection(2, 65536, 9), "error 2 15"},
        {"interval 65536 outside mode 2", detection(1, 65536, 9), ""},
        {"invalid window in mode 1", detection(1, 0, 7), "error 6 15"},
        {"invalid window in mode 0 is not checked", detection(0, 0, 7), ""},
        {"sport period 255", [](Driver& d) { d.sportModeControlEnable(1, 6, 3, 255); }, ""},
        {"sport period 256", [](Driver& d) { d.sportModeControlEnable(1, 6, 3, 256); }, "error 2 35"},
    };
    for (const auto& c : cases) {
        VitalRig rig;
        rig.open();
        c.call(*rig.driver);
        rig.settle();
        if (c.error.empty()) {
            EXPECT_EQ(rig.frames().size(), 1U) << c.name;
            EXPECT_TRUE(rig.app->events.empty()) << c.name;
            EXPECT_EQ(rig.permits(), 0) << c.name;
        } else {
            EXPECT_TRUE(rig.frames().empty()) << c.name;
            EXPECT_EQ(rig.app->events, std::vector<std::string>{c.error}) << c.name;
            EXPECT_EQ(rig.permits(), 1) << c.name;
        }
    }
}

TEST_F(VitalSettingsTest, RefusalsLogTheirLines) {
    VitalRig rig;
    rig.open();
    auto steps = window<HalvoraSDKVitalActivityPeriod>(8, 0, 9, 0);
    steps.minimumNumberSteps = 256;
    rig.driver->setActivityPeriod(steps);
    auto interval = window<HalvoraSDKVitalPeriod>(8, 0, 9, 0);
    interval.workingMode = 2;
    interval.intervalTime = 70000;
    rig.driver->setAutomaticDetection(interval);
    auto wrong = window<HalvoraSDKVitalPeriod>(9, 0, 8, 0);
    wrong.workingMode = 1;
    rig.driver->setAutomaticDetection(wrong);
    rig.settle();
    const std::vector<std::string> expected = {
        "Checking Set Activity Period Error - Minimum Number Steps too high (Maximum is 255 steps)",
        "Checking Automatic Heart Rate Detection Error - Interval must be <= 65535",
        "Checking Automatic Heart Rate Detection Error - Wrong start o end time"};
    EXPECT_EQ(rig.logLines, expected);
}

// The parameter exchanges keep the permit from the first frame to the second reply.
TEST_F(VitalSettingsTest, ParameterExchangesHoldThePermitAcrossBothSteps) {
    VitalRig rig;
    rig.open();
    auto p = validParams();
    p.secondFrameSetting = true;
    rig.driver->setDeviceParameters(p);
    rig.settle();
    rig.play("03");
    EXPECT_EQ(rig.codes(), (std::vector<std::string>{"03", "06"}));
    EXPECT_EQ(rig.frames()[1], frame16("06 81"));
    EXPECT_EQ(rig.permits(), 0);
    EXPECT_TRUE(rig.app->events.empty());
    rig.play("06");
    EXPECT_EQ(rig.app->events, std::vector<std::string>{"info 10 -1"});
    EXPECT_EQ(rig.permits(), 1);
    EXPECT_EQ(rig.driver->parameters(), p);

    rig.clear();
    rig.driver->getDeviceParameters();
    rig.settle();
    // flags: distance true (80), hour false (81), wrist true (81), unit true (80), night false (80), ANCS
    // true (81); notifications second 40 first 03; base 200; brightness 8F; dial 82; language 80 (second).
    rig.play("04 80 81 81 80 80 81 40 03 C8 8F 82 80");
    EXPECT_EQ(rig.codes(), (std::vector<std::string>{"04", "07"}));
    EXPECT_EQ(rig.permits(), 0);
    rig.play("07 80");
    ASSERT_EQ(rig.app->events, std::vector<std::string>{"info 11 -1"});
    const auto& read = std::get<HalvoraSDKVitalParams>(rig.app->responses[0].data);
    EXPECT_TRUE(read.distanceUnitKm);
    EXPECT_FALSE(read.hourDisplay24h);
    EXPECT_TRUE(read.wristSenseEnabled);
    EXPECT_TRUE(read.temperatureUnitCelsius);
    EXPECT_FALSE(read.nightMode);
    EXPECT_TRUE(read.ANCSEnabled);
    ASSERT_TRUE(read.notifications);
    EXPECT_TRUE(read.notifications->call);
    EXPECT_TRUE(read.notifications->sms);
    EXPECT_TRUE(read.notifications->telegram);
    EXPECT_FALSE(read.notifications->email);
    EXPECT_EQ(read.basicHeartRateSetting, 200);
    EXPECT_EQ(read.screenBrightness, 15);
    EXPECT_EQ(read.dialInterface, 2);
    EXPECT_EQ(read.language, 1);
    EXPECT_FALSE(read.secondFrameSetting);
    EXPECT_EQ(rig.permits(), 1);
}

// The second step goes without the permit but in its turn: a request waiting for the permit goes first.
TEST_F(VitalSettingsTest, SecondStepWaitsBehindARequestWaitingForThePermit) {
    VitalRig rig;
    rig.open();
    rig.driver->setDeviceParameters(validParams());
    rig.driver->getTime();
    rig.settle();
    rig.play("03");
    EXPECT_EQ(rig.codes(), std::vector<std::string>{"03"});
    rig.executor->advance(seconds(60));
    rig.settle();
    EXPECT_EQ(rig.codes(), (std::vector<std::string>{"03", "41", "06"}));
}

TEST_F(VitalSettingsTest, AutomaticDetectionIsReadAtOnceOutsideTheQueue) {
    VitalRig rig;
    rig.open();
    rig.driver->getTime();
    rig.settle();
    rig.driver->getAutomaticDetection(1);  // written at once although the permit is taken
    EXPECT_EQ(rig.frames(), (std::vector<std::string>{frame16("41"), frame16("2B 03")}));
    rig.play("2B 02 08 00 20 30 7F 2C 01 03");
    ASSERT_EQ(rig.app->events, std::vector<std::string>{"info 5 1"});
    const auto& period = std::get<HalvoraSDKVitalPeriod>(rig.app->responses[0].data);
    EXPECT_EQ(period.workingMode, 2);
    EXPECT_EQ(period.endHour, 20);
    EXPECT_EQ(period.endMinute, 30);
    EXPECT_TRUE(period.sunday);
    EXPECT_EQ(period.intervalTime, 300);
    EXPECT_EQ(period.type, 1);
}

}  // namespace
}  // namespace halvora::test
