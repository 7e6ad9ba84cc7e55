#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "Devices/Bracelet/BraceletRig.hpp"
#include "halvora/Core/Calendar.hpp"
#include "support/Hex.hpp"

namespace halvora::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

class BraceletCommandsTest : public ::testing::Test {
protected:
    void SetUp() override { Calendar::setTimeZone("UTC"); }
    void TearDown() override { Calendar::setTimeZone(std::nullopt); }
};

HalvoraSDKBraceletAlarm alarmOn(bool secondary, std::vector<bool HalvoraSDKBraceletAlarm::*> days, int hour,
                                int minute) {
    HalvoraSDKBraceletAlarm alarm;
    alarm.secondaryAlarm = secondary;
    for (auto day : days) alarm.*day = true;
    alarm.hour = hour;
    alarm.minute = minute;
    return alarm;
}

HalvoraSDKBraceletSedentaryAlarm sedentary(int interval, int startHour, int startMinute, int endHour, int endMinute) {
    HalvoraSDKBraceletSedentaryAlarm alarm;
    alarm.interval = interval;
    alarm.startHour = startHour;
    alarm.startMinute = startMinute;
    alarm.endHour = endHour;
    alarm.endMinute = endMinute;
    return alarm;
}

TEST_F(BraceletCommandsTest, EveryOperationWritesItsCommandText) {
    using B = HalvoraSDKBraceletAlarm;
    struct Case {
        const char* name;
        std::function<void(HalvoraSDKBracelet&)> call;
        std::string expected;
    };
    const Date march4 = Date{seconds{1772600760}};  // 2026-03-04 05:06:00 UTC
    const std::vector<Case> cases = {
        {"date", [&](auto& d) { d.configureDate(march4); }, "AT+DT=202603040506\r\n"},
        {"current steps", [](auto& d) { d.getCurrentSteps(); }, "AT+PACE\r\n"},
        {"step store", [](auto& d) { d.sendStepStore(); }, "AT+STEPSTORE\r\n"},
        {"heart start", [](auto& d) { d.getHeartBeat(); }, "AT+HEART=1\r\n"},
        {"heart stop", [](auto& d) { d.getHeartBeat(0); }, "AT+HEART=0\r\n"},
        {"height padded", [](auto& d) { d.configureUserHeight(5); }, "AT+HEIGHT=005\r\n"},
        {"height long", [](auto& d) { d.configureUserHeight(1750); }, "AT+HEIGHT=1750\r\n"},
        {"weight padded", [](auto& d) { d.configureUserWeight(70); }, "AT+WEIGHT=070\r\n"},
        {"rise hand", [](auto& d) { d.configureBraceletRiseHand(1); }, "AT+HANDSUP=1\r\n"},
        {"anti-loss", [](auto& d) { d.configureAntitheft(0); }, "AT+ANTI_LOST=0\r\n"},
        {"find phone", [](auto& d) { d.configureSettingFindPhone(1); }, "AT+FINDPHONE=1\r\n"},
        {"find device", [](auto& d) { d.sendFindDevice(); }, "AT+FINDBT\r\n"},
        {"heart monitor", [](auto& d) { d.configureMonitorHeartRate(1); }, "AT+HRMONITOR=1\r\n"},
        {"bt ios", [](auto& d) { d.sendBTIOS(2); }, "BT+IOS=2\r\n"},
        {"exercise", [](auto& d) { d.sendStartOrFinishExercise(1); }, "AT+RUN=1\r\n"},
        {"auto steps", [](auto& d) { d.sendStartOrFinishAutoSteps(0); }, "AT+TOPACE=0\r\n"},
        {"step goal padded", [](auto& d) { d.configureStepTarget(800); }, "AT+DEST=00800\r\n"},
        {"step goal never cut", [](auto& d) { d.configureStepTarget(1234567); }, "AT+DEST=1234567\r\n"},
        {"distance unit", [](auto& d) { d.configureDistanceUnit(0); }, "AT+UNITS=0\r\n"},
        {"ancs sum in hex",
         [](auto& d) {
             d.configureACNS({1, 2, 16});
         },
         "AT+ANCS=0013\r\n"},
        {"ancs empty", [](auto& d) { d.configureACNS({}); }, "AT+ANCS=0000\r\n"},
        {"ancs wide",
         [](auto& d) {
             d.configureACNS({0x12345, 0xAB});
         },
         "AT+ANCS=123F0\r\n"},
        {"alarm 1 off", [](auto& d) { d.disableAlarm(false); }, "AT+ALARM=0,00,00000000,0000\r\n"},
        {"alarm 2 off", [](auto& d) { d.disableAlarm(true); }, "AT+ALARM2=0,00,00000000,0000\r\n"},
        {"alarm monday saturday",
         [](auto& d) {
             d.configureAlarm(alarmOn(true, {&B::monday, &B::saturday}, 7, 30));
         },
         "AT+ALARM2=1,00,01000011,0730\r\n"},
        {"alarm sunday friday",
         [](auto& d) {
             d.configureAlarm(alarmOn(false, {&B::sunday, &B::friday}, 23, 5));
         },
         "AT+ALARM=1,00,10000101,2305\r\n"},
        {"alarm no day", [](auto& d) { d.configureAlarm(alarmOn(false, {}, 0, 0)); },
         "AT+ALARM=1,00,00000001,0000\r\n"},
        {"sedentary off", [](auto& d) { d.disableSedentaryAlarm(); }, "AT+SIT=000,0000,0000,0\r\n"},
        {"sedentary blanks to zeros", [](auto& d) { d.configureBraceletSedentaryAlarm(sedentary(30, 8, 5, 22, 0)); },
         "AT+SIT=030,0805,2200,1\r\n"},
        {"sedentary wide interval", [](auto& d) { d.configureBraceletSedentaryAlarm(sedentary(120, 9, 0, 18, 30)); },
         "AT+SIT=120,0900,1830,1\r\n"},
        {"sedentary defaults", [](auto& d) { d.configureBraceletSedentaryAlarm({}); }, "AT+SIT=030,0000,2359,1\r\n"},
        {"text", [](auto& d) { d.sendText("Hello"); }, "AT+NAME=Hello\r\n"},
        {"custom as given", [](auto& d) { d.sendCustomInstruction("AT+VER\r\n"); }, "AT+VER\r\n"},
        {"custom without line end", [](auto& d) { d.sendCustomInstruction("AT+X"); }, "AT+X"},
        {"history download", [](auto& d) { d.synchronizeHistoryData(); }, "AT+DATA=0\r\n"},
        {"package request", [](auto& d) { d.requestData(7); }, "AT+DATA=7\r\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        BraceletRig rig;
        rig.open();
        c.call(*rig.driver);
        rig.settle();
        EXPECT_EQ(RecordingBraceletDelegate::visible(rig.written()), RecordingBraceletDelegate::visible(c.expected));
    }
}

TEST_F(BraceletCommandsTest, DateIsWrittenInTheLocalTimeZone) {
    Calendar::setTimeZone("JST-9");
    BraceletRig rig;
    rig.open();
    rig.driver->configureDate(Date{seconds{1772600760}});  // 2026-03-04 05:06 UTC is 14:06 in Tokyo
    rig.settle();
    EXPECT_EQ(rig.commands(), std::vector<std::string>{"AT+DT=202603041406\r\n"});
}

// Commands go out in slices of at most 20 bytes, without response when the characteristic allows it, else with
// response, else not at all.
TEST_F(BraceletCommandsTest, LongCommandsAreWrittenInTwentyByteSlices) {
    struct Case {
        std::uint8_t properties;
        std::size_t length;
        std::vector<std::size_t> slices;
        WriteType type;
    };
    const Case cases[] = {
        {CharacteristicPropertyWriteWithoutResponse, 45, {20, 20, 5}, WriteType::WithoutResponse},
        {CharacteristicPropertyWriteWithoutResponse, 20, {20}, WriteType::WithoutResponse},
        {CharacteristicPropertyWriteWithoutResponse, 21, {20, 1}, WriteType::WithoutResponse},
        {CharacteristicPropertyWrite, 40, {20, 20}, WriteType::WithResponse},
        {CharacteristicPropertyWrite | CharacteristicPropertyWriteWithoutResponse, 7, {7}, WriteType::WithoutResponse},
        {CharacteristicPropertyRead, 30, {}, WriteType::WithResponse},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.length);
        BraceletRig rig(c.properties);
        rig.open();
        std::string instruction;
        for (std::size_t i = 0; i < c.length; ++i) instruction += static_cast<char>('A' + i % 26);
        rig.driver->sendCustomInstruction(instruction);
        rig.settle();
        std::vector<std::size_t> slices;
        for (const auto& write : rig.peripheral->writes) {
            slices.push_back(write.value.size());
            EXPECT_EQ(write.type, c.type);
            EXPECT_EQ(write.characteristic, HalvoraSDKBracelet::sendCharacteristicUUID());
        }
        EXPECT_EQ(slices, c.slices);
        EXPECT_EQ(rig.written(), c.slices.empty() ? "" : instruction);
    }
}

TEST_F(BraceletCommandsTest, ConnectingRemembersTheBraceletAndGreetsItAfterAHundredMilliseconds) {
    BraceletRig rig;
    rig.connect();
    EXPECT_EQ(rig.reports->events(), (std::vector<std::string>{"connected", "ready", "ready"}));
    EXPECT_EQ(rig.peripheral->serviceDiscoveries, 1);
    ASSERT_EQ(rig.peripheral->characteristicDiscoveries.size(), 1u);
    EXPECT_EQ(rig.peripheral->characteristicDiscoveries[0].first, HalvoraSDKBracelet::rsServiceUUID());
    EXPECT_EQ(rig.peripheral->characteristicDiscoveries[0].second,
              (std::vector<BLEUUID>{HalvoraSDKBracelet::sendCharacteristicUUID(),
                                    HalvoraSDKBracelet::readCharacteristicUUID()}));
    EXPECT_EQ(rig.peripheral->notified, std::vector<BLEUUID>{HalvoraSDKBracelet::readCharacteristicUUID()});
    EXPECT_EQ(rig.preferences->getBraceletUUID(), rig.peripheral->identifier());

    rig.executor->advance(milliseconds(99));
    EXPECT_EQ(rig.written(), "");
    rig.executor->advance(milliseconds(1));
    // The distance unit waits for the answer to the first greeting.
    EXPECT_EQ(rig.commands(), std::vector<std::string>{"BT+IOS=1\r\n"});
    rig.play("BT+IOS:OK\r\n");
    EXPECT_EQ(rig.commands(), (std::vector<std::string>{"BT+IOS=1\r\n", "AT+UNITS=1\r\n"}));
    rig.play("AT+UNITS:OK\r\n");
    EXPECT_EQ(rig.permits(), 1);
    EXPECT_EQ(rig.pendingCommands(), 0u);
}

TEST_F(BraceletCommandsTest, DiscoveryWithAnErrorLeavesTheBraceletUnready) {
    BraceletRig services;
    services.driver->didConnect();
    services.peripheral->playServicesDiscovered(BLEError{BLEErrorUnknown, "failed"});
    EXPECT_TRUE(services.peripheral->characteristicDiscoveries.empty());

    BraceletRig characteristics;
    characteristics.driver->didConnect();
    characteristics.peripheral->playServicesDiscovered();
    characteristics.peripheral->playCharacteristicsDiscovered(HalvoraSDKBracelet::rsServiceUUID(),
                                                              BLEError{BLEErrorUnknown, "failed"});
    characteristics.executor->advance(seconds(1));
    EXPECT_EQ(characteristics.reports->events(), std::vector<std::string>{"connected"});
    EXPECT_TRUE(characteristics.peripheral->notified.empty());
    EXPECT_EQ(characteristics.written(), "");
    EXPECT_FALSE(characteristics.preferences->getBraceletUUID());
}

// A lost answer keeps the slot: the next command goes out when its own 60-second wait runs out, exactly once,
// counted from when it reached the head of the queue.
TEST_F(BraceletCommandsTest, LostAnswerHoldsTheNextCommandForSixtySeconds) {
    BraceletRig rig;
    rig.open();
    rig.driver->getCurrentSteps();
    rig.settle();
    rig.executor->advance(seconds(10));
    rig.driver->sendFindDevice();
    rig.driver->configureDistanceUnit(1);
    rig.executor->advance(milliseconds(59'900));
    EXPECT_EQ(rig.commands(), std::vector<std::string>{"AT+PACE\r\n"});
    rig.executor->advance(milliseconds(100));
    EXPECT_EQ(rig.commands(), (std::vector<std::string>{"AT+PACE\r\n", "AT+FINDBT\r\n"}));
    // The third waits its own 60 seconds for the find-device answer; an answer ends the wait at once.
    rig.executor->advance(seconds(30));
    EXPECT_EQ(rig.commands().size(), 2u);
    rig.play("AT+FINDBT:OK\r\n");
    EXPECT_EQ(rig.commands(), (std::vector<std::string>{"AT+PACE\r\n", "AT+FINDBT\r\n", "AT+UNITS=1\r\n"}));
    EXPECT_EQ(rig.app->events, std::vector<std::string>{"parameter 8"});
}

TEST_F(BraceletCommandsTest, HistoryDownloadWaitsUpToSixThousandSecondsForTheSlot) {
    BraceletRig rig;
    rig.open();
    rig.driver->sendFindDevice();  // its answer never comes
    rig.driver->synchronizeHistoryData();
    rig.executor->advance(milliseconds(5'999'900));
    EXPECT_EQ(rig.commands(), std::vector<std::string>{"AT+FINDBT\r\n"});
    rig.executor->advance(milliseconds(100));
    EXPECT_EQ(rig.commands(), (std::vector<std::string>{"AT+FINDBT\r\n", "AT+DATA=0\r\n"}));
    rig.executor->advance(seconds(6000));
    EXPECT_EQ(rig.commands().size(), 2u);
}

TEST_F(BraceletCommandsTest, WithoutPeripheralCommandsSendNothingAndGiveTheSlotBack) {
    BraceletRig rig;
    rig.open();
    rig.driver->didDisconnect();
    EXPECT_EQ(rig.reports->events(), std::vector<std::string>{"disconnected"});
    rig.driver->getCurrentSteps();
    rig.driver->sendFindDevice();
    rig.driver->synchronizeHistoryData();
    rig.settle();  // no wait: each one gives the slot back for the next
    EXPECT_EQ(rig.written(), "");
    EXPECT_EQ(rig.pendingCommands(), 0u);
    EXPECT_EQ(rig.permits(), 1);
}

TEST_F(BraceletCommandsTest, DeinitLetsWaitingCommandsGoAtOnce) {
    BraceletRig rig;
    rig.open();
    rig.driver->getCurrentSteps();
    rig.driver->sendFindDevice();
    rig.driver->synchronizeHistoryData();
    rig.settle();
    EXPECT_EQ(rig.commands().size(), 1u);
    rig.driver->deinit();
    rig.settle();
    EXPECT_EQ(rig.commands(), (std::vector<std::string>{"AT+PACE\r\n", "AT+FINDBT\r\n", "AT+DATA=0\r\n"}));
    rig.driver->sendStepStore();
    rig.settle();
    EXPECT_EQ(rig.commands().back(), "AT+STEPSTORE\r\n");
}

TEST_F(BraceletCommandsTest, RecognisesExactlyItsTwoNames) {
    struct Case {
        std::optional<std::string> name;
        bool matches;
    };
    const Case cases[] = {{"B521A", true},      {"RM-610HR", true}, {"b521a", false},     {"B521A ", false},
                          {"RM-610HR2", false}, {"", false},        {std::nullopt, false}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name.value_or("(none)"));
        auto peripheral = std::make_shared<FakePeripheral>("6D1E0F2A-0000-4000-8000-0000000000B2", c.name);
        EXPECT_EQ(HalvoraSDKBracelet::matchDevice(peripheral), c.matches);
    }
    EXPECT_FALSE(HalvoraSDKBracelet::matchDevice(nullptr));
    EXPECT_EQ(HalvoraSDKBracelet{}.getType(), DeviceTypeBracelet);
    EXPECT_EQ(HalvoraSDKBracelet::rsServiceUUIDToScan(), BLEUUID("FEE7"));
}

}  // namespace
}  // namespace halvora::test
