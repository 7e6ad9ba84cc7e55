// The pill box's requests: the frames written, their checksums, the zone checks and the opening exchange.
#include <gtest/gtest.h>

#include "Devices/PillReminder/PillReminderRig.hpp"

namespace halvora::test {
namespace {

using Driver = HalvoraSDKPillReminder;

struct RequestCase {
    const char* name;
    void (*call)(Driver&);
    std::int32_t request;
    const char* frame;
};

TEST(PillReminderRequests, EachRequestWritesItsFrameUnderItsNumber) {
    // 2026-01-01 00:00:00 UTC is a Thursday: weekday 5 counting Sunday as 1.
    const RequestCase cases[] = {
        {"setDeviceTime", [](Driver& d) { d.setDeviceTime(); }, 0, "AA 55 09 C2 1A 01 01 05 00 00 00 EC"},
        {"getDeviceTime", [](Driver& d) { d.getDeviceTime(); }, 1, "AA 55 02 D2 D4"},
        {"setDeviceTimeZone", [](Driver& d) { d.setDeviceTimeZone(-3, 0); }, 2, "AA 55 04 C4 FD 00 C5"},
        {"getDeviceTimeZone", [](Driver& d) { d.getDeviceTimeZone(); }, 3, "AA 55 02 CD CF"},
        {"getBatteryLevel", [](Driver& d) { d.getBatteryLevel(); }, 4, "AA 55 02 CE D0"},
        {"getLatestSynchronizationTime", [](Driver& d) { d.getLatestSynchronizationTime(); }, 5, "AA 55 02 CF D1"},
        {"setSuccessfulSynchronizationStatus", [](Driver& d) { d.setSuccessfulSynchronizationStatus(); }, 6,
         "AA 55 02 D0 D2"},
        {"clearSchedulePerformanceHistory", [](Driver& d) { d.clearSchedulePerformanceHistory(); }, 7,
         "AA 55 02 D1 D3"},
        {"getAlarmSchedule", [](Driver& d) { d.getAlarmSchedule(); }, 9, "AA 55 02 D3 D5"},
        {"getSchedulePerformanceHistory", [](Driver& d) { d.getSchedulePerformanceHistory(); }, 10, "AA 55 02 D5 D7"},
        {"setAlarmDuration", [](Driver& d) { d.setAlarmDuration(30); }, 12, "AA 55 03 D6 1E F7"},
        {"setAlarmConfirmationTime", [](Driver& d) { d.setAlarmConfirmationTime(255); }, 13, "AA 55 03 D7 FF D9"},
        {"clearAlarmSchedule", [](Driver& d) { d.clearAlarmSchedule(); }, 14, "AA 55 02 D8 DA"},
    };
    for (const auto& c : cases) {
        PillReminderRig rig;
        rig.open();
        rig.run(c.call);
        EXPECT_EQ(rig.frames(), std::vector<std::string>{c.frame}) << c.name;
        EXPECT_EQ(rig.driver->currentRequest(), c.request) << c.name;
        EXPECT_EQ(rig.permits(), 0) << c.name << ": the request holds the slot until its reply";
        EXPECT_EQ(rig.logLines, std::vector<std::string>{"WRITING DATA: " + std::string(c.frame) + " "}) << c.name;
    }
}

TEST(PillReminderRequests, ZoneOutsideTheBoxRangeIsRefusedSilently) {
    struct ZoneCase {
        std::int32_t hours;
        std::int32_t minutes;
        const char* frame;  // nullptr: nothing written
    };
    const ZoneCase cases[] = {
        {5, 30, "AA 55 04 C4 05 1E EB"},
        {12, 59, "AA 55 04 C4 0C 3B 0F"},
        {-12, 0, "AA 55 04 C4 F4 00 BC"},
        {13, 0, nullptr},
        {-13, 0, nullptr},
        {0, 60, nullptr},
        {-3, -30, nullptr},  // minutes are taken as unsigned: a negative count is far above 59
    };
    for (const auto& c : cases) {
        PillReminderRig rig;
        rig.open();
        rig.run([&](Driver& d) { d.setDeviceTimeZone(c.hours, c.minutes); });
        const auto expected = c.frame ? std::vector<std::string>{c.frame} : std::vector<std::string>{};
        EXPECT_EQ(rig.frames(), expected) << c.hours << ":" << c.minutes;
        EXPECT_TRUE(rig.events().empty());
        EXPECT_EQ(rig.pending(), 0u);
    }
}

TEST(PillReminderRequests, OpeningSendsThePhoneZoneThenTheTimeAfterReady) {
    struct OpeningCase {
        const char* zone;
        std::vector<std::string> frames;
    };
    const OpeningCase cases[] = {
        {"UTC", {"AA 55 04 C4 00 00 C8", "AA 55 09 C2 1A 01 01 05 00 00 00 EC"}},
        // Half an hour east: 05:30 local, sent as hours 5 and minutes 30.
        {"IST-5:30", {"AA 55 04 C4 05 1E EB", "AA 55 09 C2 1A 01 01 05 05 1E 00 0F"}},
        // Three and a half hours west: minutes -30, so the zone is refused and only the time goes out
        // (2025-12-31 20:30 local, a Wednesday).
        {"NST3:30", {"AA 55 09 C2 19 0C 1F 04 14 1E 00 45"}},
    };
    for (const auto& c : cases) {
        PillReminderRig rig(c.zone);
        rig.connect();
        EXPECT_GE(rig.reports->ready, 1) << c.zone;
        // One frame at a time: the time waits for the zone's reply.
        ASSERT_EQ(rig.frames(), std::vector<std::string>{c.frames.front()}) << c.zone;
        rig.play(PillReminderRig::kAck);
        if (c.frames.size() > 1) rig.play(PillReminderRig::kAck);
        EXPECT_EQ(rig.frames(), c.frames) << c.zone;
        EXPECT_EQ(rig.pending(), 0u);
        EXPECT_EQ(rig.permits(), 1);
    }
}

TEST(PillReminderRequests, DiscoveryFindsEveryCharacteristicAndReadsTheHardwareRevision) {
    PillReminderRig rig;
    rig.connect();
    EXPECT_EQ(rig.reports->connected, 1);
    EXPECT_EQ(rig.reports->ready, 2);  // after discovery and after the replies' descriptor write
    EXPECT_EQ(rig.peripheral->notified.size(), 4u);
    EXPECT_EQ(rig.peripheral->reads, std::vector<BLEUUID>{Driver::hardwareRevisionStringUUID()});
    // The revision's value is kept, not taken as a reply to the zone in progress.
    rig.play("31 2E 30", Driver::hardwareRevisionStringUUID());
    EXPECT_EQ(rig.driver->hardwareRevision(), "1.0");
    EXPECT_TRUE(rig.events().empty());
    EXPECT_EQ(rig.driver->currentRequest(), PillReminderRequest::kSetDeviceTimeZone);
    for (const char* line : {"Did start service discovery.", "Found correct service", "    Found TX characteristic",
                             "    Found Hardware Revision String characteristic"}) {
        EXPECT_NE(std::find(rig.logLines.begin(), rig.logLines.end(), line), rig.logLines.end()) << line;
    }
}

TEST(PillReminderRequests, ValueThatDoesNotFitItsByteIsRefusedWithTheRequestError) {
    PillReminderRig rig;
    rig.open();
    rig.run([](Driver& d) { d.setAlarmDuration(256); });
    rig.run([](Driver& d) { d.setAlarmConfirmationTime(-1); });
    EXPECT_TRUE(rig.frames().empty());
    EXPECT_EQ(rig.events(), (std::vector<std::string>{"error 12 Error setting alarm duration",
                                                      "error 13 Error setting alarm confirmation time"}));
    EXPECT_EQ(rig.permits(), 1);
}

TEST(PillReminderRequests, RequestsWaitForTheReplyOrSixtySeconds) {
    PillReminderRig rig;
    rig.open();
    rig.run([](Driver& d) {
        d.getBatteryLevel();
        d.getDeviceTime();
    });
    EXPECT_EQ(rig.frames(), std::vector<std::string>{"AA 55 02 CE D0"});
    rig.executor->advance(std::chrono::seconds(59));
    EXPECT_EQ(rig.frames().size(), 1u);
    rig.executor->advance(std::chrono::seconds(2));
    EXPECT_EQ(rig.frames(), (std::vector<std::string>{"AA 55 02 CE D0", "AA 55 02 D2 D4"}));
    EXPECT_EQ(rig.driver->currentRequest(), PillReminderRequest::kGetDeviceTime);
}

TEST(PillReminderRequests, WithoutPeripheralNothingIsWrittenAndTheSlotIsFree) {
    PillReminderRig rig;
    rig.open();
    rig.driver->didDisconnect();
    rig.run([](Driver& d) {
        d.getBatteryLevel();
        d.getDeviceTime();
    });
    EXPECT_TRUE(rig.frames().empty());
    EXPECT_EQ(rig.permits(), 1);
    EXPECT_EQ(rig.pending(), 0u);
    EXPECT_FALSE(rig.driver->currentUUID().empty());
}

}  // namespace
}  // namespace halvora::test

namespace halvora::test {
namespace {

TEST(PillReminderRecognition, LocalNameServesWhenThePeripheralNameIsEmpty) {
    struct MatchCase {
        std::optional<std::string> name;
        std::optional<std::string> localName;
        bool matches;
        const char* line;
    };
    const MatchCase cases[] = {
        {"", "tameinagli", true, "FOUND DEVICE:  - LOCALNAME: tameinagli"},
        {std::nullopt, "tameinagli", true, "FOUND DEVICE: (null) - LOCALNAME: tameinagli"},
        {"tameinagli", std::nullopt, true, "FOUND DEVICE: tameinagli - LOCALNAME: (null)"},
        {"tameinagl", "TAMEINAGLI", false, "FOUND DEVICE: tameinagl - LOCALNAME: TAMEINAGLI"},
    };
    for (const auto& c : cases) {
        std::vector<std::string> lines;
        Log log([&lines](const std::string& line) { lines.push_back(line); });
        AdvertisementData advertisement;
        advertisement.localName = c.localName;
        auto peripheral = std::make_shared<FakePeripheral>("7E510000-0000-4000-8000-000000000010", c.name);
        EXPECT_EQ(HalvoraSDKPillReminder::matchDevice(peripheral, &advertisement, log), c.matches) << c.line;
        EXPECT_EQ(lines, std::vector<std::string>{c.line});
    }
    // Without an advertisement only the peripheral's name counts.
    auto unnamed = std::make_shared<FakePeripheral>("7E510000-0000-4000-8000-000000000011", "");
    EXPECT_FALSE(HalvoraSDKPillReminder::matchDevice(unnamed, nullptr));
}

TEST(PillReminderRecognition, DisconnectionIsLoggedAndLetsThePeripheralGo) {
    PillReminderRig rig("UTC", std::string(""));
    rig.open();
    rig.driver->didDisconnect();
    EXPECT_EQ(rig.logLines, std::vector<std::string>{"Device disconected!  - 7E510000-0000-4000-8000-000000000009"});
    EXPECT_EQ(rig.driver->device(), nullptr);
}

}  // namespace
}  // namespace halvora::test
