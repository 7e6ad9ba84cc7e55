// Whole flows through the manager with the virtual pill box, in virtual time: the opening exchange (zone,
// then clock), a schedule written and read back, the taken/missed history, the box's refusals as the
// application receives them, and recognition by the advertised local name for kind 9 alone. Every flow
// ends with the driver idle: the command slot free and nothing waiting.
#include <gtest/gtest.h>

#include <algorithm>
#include <variant>

#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/Format.hpp"
#include "halvora/Core/Log.hpp"
#include "halvora/Devices/PillReminder/HalvoraSDKPillReminder.hpp"
#include "halvora/Devices/PillReminder/PillReminderRequest.hpp"
#include "lab/Devices/PillReminder/VirtualPillBox.hpp"
#include "support/LabHarness.hpp"

namespace halvora {
namespace {

using test::LabHarness;
using Request = PillReminderRequest;

constexpr const char* kBoxId = "6F1C2D3E-0000-4000-8000-0000000000C9";

/// The application's pill reminder delegate, each callback as a short text: "message 2 Timezone set
/// successfully", "error 4 Error getting battery level", "date 1 2026-01-01 05:30:00", "list 9 (3)".
class RecordingPillReminder : public HalvoraPillReminderDelegate {
public:
    void pillReminderOnResult(const HalvoraSDKPillReminderResult& result) override {
        if (const auto* m = std::get_if<HalvoraSDKPillReminderMessageData>(&result)) {
            events.push_back(format("message %d %s", m->request, m->messageText.c_str()));
        } else if (const auto* l = std::get_if<HalvoraSDKPillReminderAlarmListData>(&result)) {
            lists.push_back(*l);
            events.push_back(format("list %d (%zu)", l->request, l->alarmList.size()));
        } else {
            const auto& d = std::get<HalvoraSDKPillReminderData>(result);
            events.push_back(format("date %d %s", d.request, Calendar::formatDateTime(d.date).c_str()));
        }
    }
    void pillReminderOnError(const HalvoraSDKPillReminderMessageData& error) override {
        events.push_back(format("error %d %s", error.request, error.messageText.c_str()));
    }

    bool has(const std::string& event) const { return std::find(events.begin(), events.end(), event) != events.end(); }

    std::vector<std::string> events;
    std::vector<HalvoraSDKPillReminderAlarmListData> lists;
};

lab::BraceletTime at(const char* text) {
    return *lab::BraceletTime::parse(text);
}

Date localDate(const char* text) {
    const auto t = at(text);
    std::tm local{};
    local.tm_year = t.year - 1900;
    local.tm_mon = t.month - 1;
    local.tm_mday = t.day;
    local.tm_hour = t.hour;
    local.tm_min = t.minute;
    local.tm_isdst = -1;
    return Calendar::fromLocal(local);
}

HalvoraSDKPillReminderAlarmData alarm(const char* when, int color) {
    HalvoraSDKPillReminderAlarmData a;
    a.date = localDate(when);
    a.color = color;
    return a;
}

/// "2026-11-20 08:00 c1" for an alarm, "2026-11-20 08:00 taken 08:03 status 0" for a history entry.
std::string text(const HalvoraSDKPillReminderAlarmEntry& entry) {
    if (const auto* a = std::get_if<HalvoraSDKPillReminderAlarmData>(&entry)) {
        return Calendar::formatDateTime(a->date).substr(0, 16) + format(" c%d", a->color);
    }
    const auto& p = std::get<HalvoraSDKPillReminderPerformanceData>(entry);
    return Calendar::formatDateTime(p.date).substr(0, 16) + " taken " +
           Calendar::formatDateTime(p.dateTaken).substr(11, 5) + format(" status %d", p.statusTaken);
}

std::vector<std::string> texts(const std::vector<HalvoraSDKPillReminderAlarmEntry>& entries) {
    std::vector<std::string> out;
    for (const auto& e : entries) out.push_back(text(e));
    return out;
}

/// A lab world with the pill box in range (its GAP name `gapName`, zone pinned to `zone`) and the recording
/// delegate set before anything connects.
struct PillLab {
    LabHarness lab;
    std::shared_ptr<RecordingPillReminder> app = std::make_shared<RecordingPillReminder>();
    std::shared_ptr<lab::VirtualPillBox> box;

    explicit PillLab(const lab::PillBoxScript& script = {}, const char* zone = "UTC",
                     std::optional<std::string> gapName = lab::VirtualPillBox::kName) {
        Calendar::setTimeZone(zone);
        box = lab.add(lab::VirtualPillBox::make(kBoxId, std::move(gapName)));
        box->setScript(script);
        lab.manager->setPillReminderDelegate(app);
    }
    ~PillLab() { Calendar::setTimeZone(std::nullopt); }
    PillLab(const PillLab&) = delete;
    PillLab& operator=(const PillLab&) = delete;

    /// Connects kind 9 and lets the opening exchange end.
    void connect() {
        lab.manager->connectDevice(DeviceTypePillReminder, 30);
        ASSERT_TRUE(lab.runUntilEvent("status 9 -> 2", seconds(10)));
        ASSERT_TRUE(runUntil("message 0 Device date setting successful"));
    }
    std::shared_ptr<HalvoraSDKPillReminder> driver() const {
        return std::dynamic_pointer_cast<HalvoraSDKPillReminder>(lab.manager->driverForKind(DeviceTypePillReminder));
    }
    bool runUntil(const std::string& event, Duration limit = seconds(10)) {
        return lab.runUntil([&] { return app->has(event); }, limit);
    }
    /// The codes (byte 3) of the frames the box received, in order.
    std::vector<int> codesReceived() const {
        std::vector<int> codes;
        for (const auto& f : box->framesReceived()) codes.push_back(f.size() > 3 ? f[3] : -1);
        return codes;
    }
    /// Once what is under way has run: the slot free (one permit), no command waiting, no frame left.
    void expectIdle() {
        lab.advance(std::chrono::milliseconds(200));
        auto d = driver();
        ASSERT_TRUE(d);
        EXPECT_EQ(d->commandQueue().pendingCount(), 0U);
        EXPECT_EQ(d->commandQueue().permits(), 1);
        EXPECT_EQ(d->packetsToSend(), 0U);
    }
};

TEST(PillReminderFlow, OpeningExchangeSetsTheZoneThenTheClockAndRefusesWesternMinutesSilently) {
    struct Case {
        const char* zone;
        std::vector<int> codes;  // the frames the box received on connecting
        int hours;
        int minutes;
        std::vector<std::string> events;
    };
    const std::vector<Case> cases = {
        {"IST-5:30",
         {0xC4, 0xC2},
         5,
         30,
         {"message 2 Timezone set successfully", "message 0 Device date setting successful"}},
        {"EST5",
         {0xC4, 0xC2},
         -5,
         0,
         {"message 2 Timezone set successfully", "message 0 Device date setting successful"}},
        // -03:30 is hours -3 and minutes -30: the kit sends no zone, the box keeps the one it had.
        {"NST3:30", {0xC2}, 7, 0, {"message 0 Device date setting successful"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.zone);
        lab::PillBoxScript script;
        script.zoneHours = 7;
        script.clock = at("2025-06-01 12:00");
        PillLab w(script, c.zone);
        w.connect();
        EXPECT_EQ(w.codesReceived(), c.codes);
        EXPECT_EQ(w.box->zoneHours(), c.hours);
        EXPECT_EQ(w.box->zoneMinutes(), c.minutes);
        EXPECT_EQ(w.app->events, c.events);
        // The box's clock now reads the phone's local time.
        EXPECT_EQ(w.box->clock().text().substr(0, 16), Calendar::formatDateTime(w.lab.executor->date()).substr(0, 16));
        w.expectIdle();
    }
}

TEST(PillReminderFlow, ZoneAndClockReadBackAsTheBoxKeepsThem) {
    PillLab w({}, "EST5");
    w.connect();
    w.app->events.clear();
    ASSERT_TRUE(w.lab.manager->prGetDeviceTimeZone());
    ASSERT_TRUE(w.lab.manager->prGetDeviceTime());
    ASSERT_TRUE(w.lab.manager->prGetBatteryLevel());
    w.lab.advance(seconds(2));
    ASSERT_EQ(w.app->events.size(), 3U) << ::testing::PrintToString(w.app->events);
    // The sign comes from the format and again from the negative hours ("%02d" of -5 is "-5"): the box's
    // text keeps both.
    EXPECT_EQ(w.app->events[0], "message 3 --5:00 UTC");
    EXPECT_EQ(w.app->events[1].substr(0, 23),
              "date 1 " + Calendar::formatDateTime(w.lab.executor->date()).substr(0, 16));
    EXPECT_EQ(w.app->events[2], format("message 4 %d", w.box->script().battery));
    w.expectIdle();
}

TEST(PillReminderFlow, ScheduleWrittenInFramesOfFiveReadsBackTheSameAlarms) {
    PillLab w;
    w.connect();
    w.app->events.clear();
    // Ten alarms on one day (two frames) and two on the next (one frame), given out of order.
    std::vector<HalvoraSDKPillReminderAlarmData> alarms = {alarm("2026-11-21 09:15", 5), alarm("2026-11-21 21:00", 1)};
    for (int i = 0; i < 10; ++i)
        alarms.push_back(alarm(format("2026-11-20 %02d:%02d", 6 + i, 5 * i).c_str(), 1 + i % 5));
    std::reverse(alarms.begin(), alarms.end());
    ASSERT_TRUE(w.lab.manager->prSetAlarmSchedule(alarms));
    ASSERT_TRUE(w.runUntil("message 6 Device successfully synchronized"));
    EXPECT_EQ(w.app->events, (std::vector<std::string>{
                                 "message 14 Alarm schedule cleared successfully", "message 8 Alarms set successfully",
                                 "message 8 Alarms set successfully", "message 8 Alarms set successfully",
                                 "message 6 Device successfully synchronized"}));
    EXPECT_EQ(w.box->schedule().size(), 12U);
    EXPECT_TRUE(w.box->lastSync().has_value());

    ASSERT_TRUE(w.lab.manager->prGetAlarmSchedule());
    ASSERT_TRUE(w.runUntil("list 9 (12)"));
    std::vector<HalvoraSDKPillReminderAlarmEntry> sent(alarms.begin(), alarms.end());
    auto expected = texts(sent);
    std::sort(expected.begin(), expected.end());
    auto read = texts(w.app->lists.back().alarmList);
    std::sort(read.begin(), read.end());
    EXPECT_EQ(read, expected);
    w.expectIdle();

    // A second write replaces the schedule: the box is cleared first.
    ASSERT_TRUE(w.lab.manager->prSetAlarmSchedule({alarm("2026-12-01 07:30", 3)}));
    w.lab.advance(seconds(3));
    ASSERT_TRUE(w.lab.manager->prGetAlarmSchedule());
    ASSERT_TRUE(w.runUntil("list 9 (1)"));
    EXPECT_EQ(texts(w.app->lists.back().alarmList), (std::vector<std::string>{"2026-12-01 07:30 c3"}));
    w.expectIdle();
}

TEST(PillReminderFlow, HistoryArrivesWithPlannedAndTakenTimesAcrossSeveralReplies) {
    using Status = lab::PillBoxDose::Status;
    lab::PillBoxScript script;
    std::vector<lab::PillBoxDose> doses;
    // Nine doses: more than one reply of eight, every status.
    const Status statuses[] = {Status::OnTime, Status::Late, Status::Missed, Status::Skipped};
    for (int i = 0; i < 9; ++i) {
        const Status s = statuses[i % 4];
        const bool missed = s == Status::Missed;
        doses.push_back({at(format("2026-11-%02d 08:30", 10 + i).c_str()), missed ? 0 : 9, missed ? 0 : 4 * i, s});
    }
    script.history = doses;
    PillLab w(script);
    w.connect();
    ASSERT_TRUE(w.lab.manager->prGetSchedulePerformanceHistory());
    ASSERT_TRUE(w.runUntil("list 10 (9)"));
    std::vector<std::string> expected;
    for (int i = 0; i < 9; ++i) {
        const bool missed = statuses[i % 4] == Status::Missed;
        expected.push_back(
            format("2026-11-%02d 08:30 taken %02d:%02d status %d", 10 + i, missed ? 0 : 9, missed ? 0 : 4 * i, i % 4));
    }
    EXPECT_EQ(texts(w.app->lists.back().alarmList), expected);
    w.expectIdle();
}

TEST(PillReminderFlow, RefusedOrMisshapenRepliesReachTheApplicationAsTheRequestsErrors) {
    using Command = lab::PillBoxCommand;
    struct Case {
        const char* name;
        lab::PillBoxFaults faults;
        std::function<bool(HalvoraSDKManager&)> act;
        std::string expected;
    };
    const std::vector<Case> cases = {
        {"battery refused",
         {{Command::ReadBattery}, {}, {}},
         [](auto& m) { return m.prGetBatteryLevel(); },
         "error 4 Error getting battery level"},
        {"alarm duration refused",
         {{Command::SetAlarmDuration}, {}, {}},
         [](auto& m) { return m.prSetAlarmDuration(30); },
         "error 12 Error setting alarm duration"},
        {"clock reply one byte too long",
         {{}, {}, {Command::ReadClock}},
         [](auto& m) { return m.prGetDeviceTime(); },
         "error 1 Error getting device date"},
        {"history cleared refused",
         {{Command::ClearHistory}, {}, {}},
         [](auto& m) { return m.prClearSchedulePerformanceHistory(); },
         "error 7 Error clearing schedule performance history"},
        // A schedule frame refused with the box's plain refusal (not its schedule error) is a hardware failure;
        // the write still ends with the synchronisation mark.
        {"schedule frame refused",
         {{Command::WriteSchedule}, {}, {}},
         [](auto& m) { return m.prSetAlarmSchedule({alarm("2026-11-20 08:00", 2)}); },
         "error 8 Hardware failure"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        lab::PillBoxScript script;
        script.faults = c.faults;
        PillLab w(script);
        w.connect();
        ASSERT_TRUE(c.act(*w.lab.manager));
        ASSERT_TRUE(w.runUntil(c.expected)) << ::testing::PrintToString(w.app->events);
        w.expectIdle();
    }
    // A colour the box does not have is refused by the kit itself, after the clearing it queued first.
    PillLab w;
    w.connect();
    ASSERT_TRUE(w.lab.manager->prSetAlarmSchedule({alarm("2026-11-20 08:00", 2)}));
    ASSERT_TRUE(w.runUntil("message 6 Device successfully synchronized"));
    EXPECT_EQ(w.box->schedule().size(), 1U);
    EXPECT_TRUE(w.lab.manager->prSetAlarmSchedule({alarm("2026-11-20 08:00", 6)}));
    ASSERT_TRUE(w.runUntil("error 8 Wrong color number (available only 1-5)"));
    w.lab.advance(seconds(2));
    EXPECT_TRUE(w.box->schedule().empty());  // cleared before the write was refused
    w.expectIdle();
}

TEST(PillReminderFlow, BoxIsRecognisedByItsLocalNameOnlyWhenConnectingForKind9) {
    struct Case {
        const char* name;
        std::optional<std::string> gapName;
    };
    // The recognition's log line goes to the process-wide log.
    std::vector<std::string> shared;
    Log::shared().setSink([&shared](const std::string& line) { shared.push_back(line); });
    for (const Case& c :
         {Case{"empty GAP name", ""}, Case{"another GAP name", "PB-2291"}, Case{"no GAP name", std::nullopt}}) {
        SCOPED_TRACE(c.name);
        shared.clear();
        PillLab w({}, "UTC", c.gapName);
        // Asked for another kind, the kit leaves the box alone.
        w.lab.manager->connectDevice(DeviceTypeTensioBracelet, 5);
        w.lab.advance(seconds(8));
        EXPECT_FALSE(w.box->isConnected());
        EXPECT_FALSE(w.lab.manager->driverForKind(DeviceTypeTensioBracelet));
        EXPECT_TRUE(w.app->events.empty());

        w.connect();
        ASSERT_TRUE(w.driver());
        EXPECT_EQ(w.driver()->className(), "HalvoraSDKPillReminder");
        // The advertisement was kept for the box: its local name is what recognised it.
        const std::string found = "FOUND DEVICE: " + c.gapName.value_or("(null)") + " - LOCALNAME: tameinagli";
        EXPECT_NE(std::find(shared.begin(), shared.end(), found), shared.end()) << ::testing::PrintToString(shared);
        w.expectIdle();
    }
    Log::shared().silence();
}

}  // namespace
}  // namespace halvora
