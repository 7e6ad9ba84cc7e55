// The pill box's replies to its settings and queries: results, errors, routing and the command slot.
#include <gtest/gtest.h>

#include "Devices/PillReminder/PillReminderRig.hpp"

namespace halvora::test {
namespace {

using Driver = HalvoraSDKPillReminder;

struct ReplyCase {
    const char* name;
    void (*call)(Driver&);
    const char* reply;
    const char* event;
};

/// Runs a request, plays its reply and returns what the application heard.
std::vector<std::string> answer(const ReplyCase& c) {
    PillReminderRig rig;
    rig.open();
    rig.run(c.call);
    rig.play(c.reply);
    EXPECT_EQ(rig.permits(), 1) << c.name << ": the reply frees the slot";
    return rig.events();
}

TEST(PillReminderReplies, GoodRepliesGiveTheirResults) {
    const ReplyCase cases[] = {
        {"set time", [](Driver& d) { d.setDeviceTime(); }, "AA 55 02 F0 F2", "result 0 Device date setting successful"},
        // Set time and zone look at bytes 3 and 4 only.
        {"set time, other length", [](Driver& d) { d.setDeviceTime(); }, "AA 55 07 F0 F2",
         "result 0 Device date setting successful"},
        {"get time", [](Driver& d) { d.getDeviceTime(); }, "AA 55 08 B2 18 04 0F 13 13 2A 00",
         "date 1 2024-04-15 19:19:42"},
        {"set zone", [](Driver& d) { d.setDeviceTimeZone(1, 0); }, "AA 55 02 F0 F2",
         "result 2 Timezone set successfully"},
        {"get zone", [](Driver& d) { d.getDeviceTimeZone(); }, "AA 55 04 CD 05 1E 00", "result 3 +05:30 UTC"},
        // West of GMT the sign comes from the format and again from the number: the box's own text.
        {"get zone west", [](Driver& d) { d.getDeviceTimeZone(); }, "AA 55 04 CD FD 00 00", "result 3 --3:00 UTC"},
        {"battery", [](Driver& d) { d.getBatteryLevel(); }, "AA 55 03 B9 5A 00", "result 4 90"},
        {"battery signed", [](Driver& d) { d.getBatteryLevel(); }, "AA 55 03 B9 FF 00", "result 4 -1"},
        {"last sync", [](Driver& d) { d.getLatestSynchronizationTime(); }, "AA 55 08 CF 1A 01 01 00 00 00 00",
         "date 5 2026-01-01 00:00:00"},
        {"sync status", [](Driver& d) { d.setSuccessfulSynchronizationStatus(); }, "AA 55 02 F0 F2",
         "result 6 Device successfully synchronized"},
        {"clear history", [](Driver& d) { d.clearSchedulePerformanceHistory(); }, "AA 55 02 F0 F2",
         "result 7 Device successfully cleared schedule performance history"},
        {"duration", [](Driver& d) { d.setAlarmDuration(5); }, "AA 55 02 F0 F2",
         "result 12 Alarm duration set successfully"},
        {"confirmation", [](Driver& d) { d.setAlarmConfirmationTime(5); }, "AA 55 02 F0 F2",
         "result 13 Alarm confirmation time set successfully"},
        {"clear schedule", [](Driver& d) { d.clearAlarmSchedule(); }, "AA 55 02 F0 F2",
         "result 14 Alarm schedule cleared successfully"},
    };
    for (const auto& c : cases) EXPECT_EQ(answer(c), std::vector<std::string>{c.event}) << c.name;
}

TEST(PillReminderReplies, BadRepliesGiveTheRequestError) {
    const ReplyCase cases[] = {
        {"set time refused", [](Driver& d) { d.setDeviceTime(); }, "AA 55 02 F1 F2",
         "error 0 Error setting device date"},
        {"set time short", [](Driver& d) { d.setDeviceTime(); }, "AA 55 02 F0", "error 0 Error setting device date"},
        {"get time code", [](Driver& d) { d.getDeviceTime(); }, "AA 55 08 B3 18 04 0F 13 13 2A 00",
         "error 1 Error getting device date"},
        {"get time short", [](Driver& d) { d.getDeviceTime(); }, "AA 55 08 B2 18 04 0F 13 13",
         "error 1 Error getting device date"},
        {"get time no date", [](Driver& d) { d.getDeviceTime(); }, "AA 55 08 B2 18 0D 0F 13 13 2A 00",
         "error 1 Error getting device date"},
        {"set zone", [](Driver& d) { d.setDeviceTimeZone(1, 0); }, "AA 55 02 F0 F1", "error 2 Error setting timezone"},
        {"get zone length", [](Driver& d) { d.getDeviceTimeZone(); }, "AA 55 03 CD 05 1E 00",
         "error 3 Error getting timezone"},
        {"get zone short", [](Driver& d) { d.getDeviceTimeZone(); }, "AA 55 04 CD 05",
         "error 3 Error getting timezone"},
        {"battery code", [](Driver& d) { d.getBatteryLevel(); }, "AA 55 03 B8 5A 00",
         "error 4 Error getting battery level"},
        {"battery short", [](Driver& d) { d.getBatteryLevel(); }, "AA 55 03 B9", "error 4 Error getting battery level"},
        {"last sync", [](Driver& d) { d.getLatestSynchronizationTime(); }, "AA 55 08 B2 1A 01 01 00 00 00 00",
         "error 5 Error getting latest synchronization time"},
        {"sync status", [](Driver& d) { d.setSuccessfulSynchronizationStatus(); }, "AA 55 03 F0 F2",
         "error 6 Error synchronizing status"},
        {"clear history", [](Driver& d) { d.clearSchedulePerformanceHistory(); }, "AA 55 02 F1 F2",
         "error 7 Error clearing schedule performance history"},
        {"duration", [](Driver& d) { d.setAlarmDuration(5); }, "", "error 12 Error setting alarm duration"},
        {"confirmation", [](Driver& d) { d.setAlarmConfirmationTime(5); }, "AA",
         "error 13 Error setting alarm confirmation time"},
        {"clear schedule", [](Driver& d) { d.clearAlarmSchedule(); }, "AA 55 02 FE F2",
         "error 14 Error clearing alarm schedule"},
        {"schedule read", [](Driver& d) { d.getAlarmSchedule(); }, "AA 55 03 F0 F2",
         "error 9 Error getting alarm schedule"},
        {"history read", [](Driver& d) { d.getSchedulePerformanceHistory(); }, "AA 55 02 F0 F1",
         "error 10 Error getting schedule performance history"},
    };
    for (const auto& c : cases) EXPECT_EQ(answer(c), std::vector<std::string>{c.event}) << c.name;
}

TEST(PillReminderReplies, StrayNotificationIsJudgedByTheLastRequestWithoutFreeingASecondSlot) {
    PillReminderRig rig;
    rig.open();
    rig.run([](Driver& d) { d.getBatteryLevel(); });
    rig.play("AA 55 03 B9 5A 00");
    rig.play("AA 55 03 B9 50 00");  // nobody asked: judged as the battery's reply again
    EXPECT_EQ(rig.events(), (std::vector<std::string>{"result 4 90", "result 4 80"}));
    EXPECT_EQ(rig.permits(), 1);
    // Two requests still go out one at a time.
    rig.clear();
    rig.run([](Driver& d) {
        d.getDeviceTimeZone();
        d.getDeviceTime();
    });
    EXPECT_EQ(rig.frames(), std::vector<std::string>{"AA 55 02 CD CF"});
}

TEST(PillReminderReplies, NotificationBeforeAnyRequestIsIgnored) {
    PillReminderRig rig;
    rig.play("AA 55 02 F0 F2");
    rig.play("");
    EXPECT_TRUE(rig.events().empty());
    EXPECT_EQ(rig.permits(), 1);
    EXPECT_EQ(rig.logLines, (std::vector<std::string>{"<<      AA 55 02 F0 F2 ", "<<      "}));
}

TEST(PillReminderReplies, EveryNotifyCharacteristicFeedsTheRequestInProgress) {
    for (const char* uuid : {Driver::kReadCharacteristic4060UUIDText, Driver::kReadCharacteristic60UUIDText,
                             Driver::kReadCharacteristicRealtimeUUIDText}) {
        PillReminderRig rig;
        rig.open();
        rig.run([](Driver& d) { d.getBatteryLevel(); });
        rig.play("AA 55 03 B9 5A 00", BLEUUID(uuid));
        EXPECT_EQ(rig.events(), std::vector<std::string>{"result 4 90"}) << uuid;
    }
}

TEST(PillReminderReplies, WithoutDelegateRepliesStillFreeTheSlot) {
    PillReminderRig rig;
    rig.open();
    rig.application->pill = nullptr;
    rig.run([](Driver& d) {
        d.getBatteryLevel();
        d.getDeviceTime();
    });
    rig.play("AA 55 03 B9 5A 00");
    EXPECT_EQ(rig.frames(), (std::vector<std::string>{"AA 55 02 CE D0", "AA 55 02 D2 D4"}));
}

}  // namespace
}  // namespace halvora::test
