// The pill box's schedule and history: packed fields, the multi-frame write, the schedule read with its
// reassembly, the history with its entries, and the caps on what the box can make the driver hold.
#include <gtest/gtest.h>

#include "Devices/PillReminder/PillReminderRig.hpp"
#include "halvora/Devices/PillReminder/internal/PillReminderHistory.hpp"
#include "halvora/Devices/PillReminder/internal/PillReminderSchedule.hpp"

namespace halvora::test {
namespace {

using Driver = HalvoraSDKPillReminder;
using Schedule = PillReminderSchedule;

/// A date in the rig's zone (UTC).
Date at(int y, unsigned m, unsigned d, int hour, int minute) {
    using namespace std::chrono;
    return Date(sys_days(year{y} / month{m} / day{d})) + hours(hour) + minutes(minute);
}

HalvoraSDKPillReminderAlarmData alarm(Date date, std::int32_t color) {
    HalvoraSDKPillReminderAlarmData a;
    a.date = date;
    a.color = color;
    return a;
}

/// Ten alarms on 2024-04-15 at 08:00 .. 08:09, colours 1..5 twice.
std::vector<HalvoraSDKPillReminderAlarmData> tenAlarms() {
    std::vector<HalvoraSDKPillReminderAlarmData> alarms;
    for (int i = 9; i >= 0; --i) alarms.push_back(alarm(at(2024, 4, 15, 8, i), i % 5 + 1));  // given unsorted
    return alarms;
}

constexpr const char* kAck = PillReminderRig::kAck;

TEST(PillReminderPacking, DayAndSlotBothWaysAtTheirLimits) {
    struct DayCase {
        Schedule::Day day;
        std::vector<std::uint8_t> packed;
    };
    const DayCase days[] = {
        {{2024, 4, 15}, {0x30, 0x8F}},  {{2000, 1, 1}, {0x00, 0x21}}, {{2127, 12, 31}, {0xFF, 0x9F}},
        {{2127, 15, 31}, {0xFF, 0xFF}}, {{2000, 0, 0}, {0x00, 0x00}},
    };
    for (const auto& c : days) {
        EXPECT_EQ(Schedule::packDay(c.day), c.packed) << c.day.year << "-" << c.day.month << "-" << c.day.day;
        const auto read = Schedule::readDay(c.packed[0], c.packed[1]);
        EXPECT_EQ((std::vector<int>{read.year, read.month, read.day}),
                  (std::vector<int>{c.day.year, c.day.month, c.day.day}));
    }
    struct SlotCase {
        Schedule::Slot slot;
        std::vector<std::uint8_t> packed;
    };
    const SlotCase slots[] = {
        {{19, 19, 2}, {0x9A, 0x62}},
        {{0, 0, 1}, {0x00, 0x01}},
        {{23, 59, 5}, {0xBF, 0x65}},
        {{31, 63, 30}, {0xFF, 0xFE}},
    };
    for (const auto& c : slots) {
        EXPECT_EQ(Schedule::packSlot(c.slot), c.packed) << c.slot.hour << ":" << c.slot.minute;
        const auto read = Schedule::readSlot(c.packed[0], c.packed[1]);
        ASSERT_TRUE(read.has_value());
        EXPECT_EQ((std::vector<int>{read->hour, read->minute, read->color}),
                  (std::vector<int>{c.slot.hour, c.slot.minute, c.slot.color}));
    }
    EXPECT_FALSE(Schedule::readSlot(0xFF, 0xFF).has_value());
    // The day header: two 9-bit counters (modulo 512) and the 6-bit alarm count.
    EXPECT_EQ(Schedule::packHeader(0, 0, 10), (std::vector<std::uint8_t>{0x00, 0x00, 0x0A}));
    EXPECT_EQ(Schedule::packHeader(511, 511, 63), (std::vector<std::uint8_t>{0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(Schedule::packHeader(515, 1, 5), (std::vector<std::uint8_t>{0x01, 0x80, 0x45}));
}

TEST(PillReminderPacking, AlarmsAreSortedAndGroupedByDay) {
    Calendar::setTimeZone("UTC");
    const auto days = Schedule::prepareAlarms(
        {alarm(at(2024, 4, 16, 7, 30), 5), alarm(at(2024, 4, 15, 19, 19), 2), alarm(at(2024, 4, 16, 6, 0), 1)});
    ASSERT_EQ(days.size(), 2u);
    EXPECT_EQ(days.begin()->first, at(2024, 4, 15, 0, 0));
    EXPECT_EQ(days.rbegin()->second.front().date, at(2024, 4, 16, 6, 0));
    Calendar::setTimeZone(std::nullopt);
}

TEST(PillReminderScheduleWrite, TenAlarmsOfOneDayGoOutInTwoFramesThenTheSynchronisationStatus) {
    PillReminderRig rig;
    rig.open();
    rig.run([](Driver& d) {
        d.setAlarmsSchedule(tenAlarms());
        d.getBatteryLevel();  // waits for the whole write
    });
    EXPECT_EQ(rig.frames(), std::vector<std::string>{"AA 55 02 D8 DA"});
    rig.play(kAck);
    rig.play(kAck);
    rig.play("AA 55 02 FE F2");  // the second frame refused: reported, the write goes on
    EXPECT_EQ(rig.driver->currentRequest(), PillReminderRequest::kSetSuccessfulSynchronizationStatus);
    rig.play(kAck);
    EXPECT_EQ(rig.frames(), (std::vector<std::string>{
                                "AA 55 02 D8 DA",
                                "AA 55 11 D4 00 00 0A 30 8F 40 01 40 22 40 43 40 64 40 85 3D",
                                "AA 55 11 D4 00 00 4A 30 8F 40 A1 40 C2 40 E3 41 04 41 25 9F",
                                "AA 55 02 D0 D2",
                                "AA 55 02 CE D0",
                            }));
    EXPECT_EQ(rig.events(), (std::vector<std::string>{
                                "result 14 Alarm schedule cleared successfully",
                                "result 8 Alarms set successfully",
                                "error 8 Error in alarms schedule",
                                "result 6 Device successfully synchronized",
                            }));
    EXPECT_EQ(rig.driver->packetsToSend(), 0u);
}

TEST(PillReminderScheduleWrite, DaysCarryTheirIndexAndTheFramesBeforeThemInTheHeader) {
    PillReminderRig rig;
    rig.open();
    rig.run([](Driver& d) {
        d.setAlarmsSchedule(
            {alarm(at(2024, 4, 16, 23, 59), 1), alarm(at(2024, 4, 15, 19, 19), 2), alarm(at(2024, 4, 16, 7, 30), 5)});
    });
    rig.play(kAck);
    rig.play("AA 55 02 F0 00");  // neither an acknowledgement nor a refusal
    rig.play(kAck);
    EXPECT_EQ(rig.frames(), (std::vector<std::string>{
                                "AA 55 02 D8 DA",
                                "AA 55 11 D4 00 00 01 30 8F 9A 62 FF FF FF FF FF FF FF FF 99",
                                "AA 55 11 D4 00 80 42 30 90 3B C5 BF 61 FF FF FF FF FF FF 81",
                                "AA 55 02 D0 D2",
                            }));
    EXPECT_EQ(rig.events()[1], "error 8 Hardware failure");
}

TEST(PillReminderScheduleWrite, RefusedSchedulesStopAfterTheClearing) {
    struct RefusalCase {
        const char* name;
        std::vector<HalvoraSDKPillReminderAlarmData> alarms;
        const char* error;
    };
    auto eleven = tenAlarms();
    eleven.push_back(alarm(at(2024, 4, 15, 21, 0), 3));
    auto colour0 = tenAlarms();
    colour0[4].color = 0;
    const RefusalCase cases[] = {
        {"eleven alarms", eleven, "error 8 Too many alarms for the same day"},
        {"colour 0", colour0, "error 8 Wrong color number (available only 1-5)"},
        {"colour 6",
         {alarm(at(2024, 4, 15, 8, 0), 1), alarm(at(2024, 4, 16, 8, 0), 6)},
         "error 8 Wrong color number (available only 1-5)"},
        // Days are judged in order: the wrong colour of the first day comes before the crowded second day.
        {"first failure wins",
         [&] {
             auto alarms = eleven;
             for (auto& a : alarms) a.date += std::chrono::hours(24);
             alarms.push_back(alarm(at(2024, 4, 15, 8, 0), 7));
             return alarms;
         }(),
         "error 8 Wrong color number (available only 1-5)"},
    };
    for (const auto& c : cases) {
        PillReminderRig rig;
        rig.open();
        rig.run([&](Driver& d) { d.setAlarmsSchedule(c.alarms); });
        rig.play(kAck);
        EXPECT_EQ(rig.frames(), std::vector<std::string>{"AA 55 02 D8 DA"}) << c.name;
        EXPECT_EQ(rig.events(), (std::vector<std::string>{"result 14 Alarm schedule cleared successfully", c.error}))
            << c.name;
        EXPECT_EQ(rig.permits(), 1) << c.name;
    }
}

TEST(PillReminderScheduleRead, DaysAreReassembledFromTwentyBytePiecesAndDelivered) {
    PillReminderRig rig;
    rig.open();
    rig.run([](Driver& d) { d.getAlarmSchedule(); });
    // One day, 28 bytes: a 20-byte piece and the rest. Slots 19:19 colour 2, empty, 08:00 colour 1.
    rig.play("AA 55 19 D3 30 8F 03 9A 62 FF FF 40 01 FF FF FF FF FF FF FF");
    EXPECT_EQ(rig.driver->pendingScheduleBytes(), 20u);
    rig.play("FF FF FF FF FF FF FF 00");
    // A short day: its reply is read alone, and only the slots it holds.
    rig.play("AA 55 07 D3 30 90 01 00 01 BF");
    EXPECT_EQ(rig.driver->pendingAlarms(), 3u);
    EXPECT_EQ(rig.permits(), 0);
    rig.play(kAck);
    ASSERT_EQ(rig.app->lists.size(), 1u);
    std::vector<std::string> entries;
    for (const auto& entry : rig.app->lists[0].alarmList) entries.push_back(entryText(entry));
    EXPECT_EQ(entries, (std::vector<std::string>{"2024-04-15 19:19:00 c2 r9", "2024-04-15 08:00:00 c1 r9",
                                                 "2024-04-16 00:00:00 c1 r9"}));
    EXPECT_EQ(rig.driver->currentRequest(), PillReminderRequest::kNone);
    EXPECT_EQ(rig.permits(), 1);
    EXPECT_EQ(rig.driver->pendingAlarms(), 0u);
}

TEST(PillReminderScheduleRead, AnUnexpectedReplyDropsTheListWithTheError) {
    PillReminderRig rig;
    rig.open();
    rig.run([](Driver& d) { d.getAlarmSchedule(); });
    rig.play("AA 55 07 D3 30 90 01 00 01 BF");
    rig.play("AA 55 02 D4");  // too short for anything
    EXPECT_EQ(rig.events(), std::vector<std::string>{"error 9 Error getting alarm schedule"});
    EXPECT_EQ(rig.driver->pendingAlarms(), 0u);
    EXPECT_EQ(rig.permits(), 1);
    // A new read starts from nothing.
    rig.run([](Driver& d) { d.getAlarmSchedule(); });
    rig.play(kAck);
    EXPECT_EQ(rig.events().back(), "list 9 0");
}

TEST(PillReminderHistoryEntries, EntriesDecodeToPlannedAndTakenDates) {
    Calendar::setTimeZone("UTC");
    struct EntryCase {
        std::vector<std::uint8_t> entry;
        const char* text;  // nullptr: no record
    };
    const EntryCase cases[] = {
        {{0x06, 0x11, 0xE8, 0x15, 0x08, 0x00}, "2024-04-15 08:00:00 taken 2024-04-15 08:05:00 s1 r10"},
        {{0x06, 0x11, 0xE0, 0x02, 0x14, 0x00}, "2024-04-15 20:00:00 taken 2024-04-15 00:00:00 s2 r10"},
        // 2063-12-31 23:59 taken, status 3, planned 23:59 (every field at its top).
        {{0x0F, 0xF3, 0xF7, 0xEF, 0x17, 0x3B}, "2063-12-31 23:59:00 taken 2063-12-31 23:59:00 s3 r10"},
        {{0x00, 0x00, 0x00, 0x00, 0x00, 0x00}, nullptr},  // month 0
        {{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, nullptr},  // month 15
        {{0x06, 0x11, 0xE8, 0x15, 0x18, 0x00}, nullptr},  // planned hour 24
        {{0x06, 0x11, 0xE8, 0xF0, 0x08, 0x00}, nullptr},  // taken minute 60
        {{0x06, 0x13, 0xE8, 0x15, 0x08, 0x00}, nullptr},  // 31 April
    };
    for (const auto& c : cases) {
        const auto record = PillReminderHistory::decode(std::span<const std::uint8_t, 6>(c.entry.data(), 6));
        if (!c.text) {
            EXPECT_FALSE(record.has_value()) << hex(c.entry);
            continue;
        }
        ASSERT_TRUE(record.has_value()) << hex(c.entry);
        EXPECT_EQ(entryText(*record), c.text);
    }
    Calendar::setTimeZone(std::nullopt);
}

TEST(PillReminderHistoryRead, PagesAreReassembledFromFortyBytesAndTheNextPiece) {
    PillReminderRig rig;
    rig.open();
    rig.run([](Driver& d) { d.getSchedulePerformanceHistory(); });
    // 54 bytes: header, eight entries (two real, six empty), checksum; sent as 20 + 20 + 14.
    std::string bytesText = "AA 55 33 D5 08 06 11 E8 15 08 00 06 11 E0 02 14 00";
    for (int i = 0; i < 36; ++i) bytesText += " 00";
    bytesText += " 7C";
    const auto all = bytes(bytesText);
    ASSERT_EQ(all.size(), 54u);
    auto piece = [&](std::size_t from, std::size_t length) {
        return hex(std::vector<std::uint8_t>(all.begin() + from, all.begin() + from + length));
    };
    rig.play(piece(0, 20));
    rig.play(piece(20, 20));
    EXPECT_EQ(rig.driver->pendingHistoryBytes(), 40u);
    rig.play(piece(40, 14));
    EXPECT_EQ(rig.driver->pendingRecords(), 2u);
    EXPECT_EQ(rig.permits(), 0);
    rig.play(kAck);
    ASSERT_EQ(rig.app->lists.size(), 1u);
    EXPECT_EQ(rig.events(), std::vector<std::string>{"list 10 2"});
    EXPECT_EQ(entryText(rig.app->lists[0].alarmList[1]), "2024-04-15 20:00:00 taken 2024-04-15 00:00:00 s2 r10");
    EXPECT_EQ(rig.permits(), 1);
}

TEST(PillReminderHistoryRead, APieceOfAnotherLengthIsJudgedAloneAndDropsWhatWasHeld) {
    PillReminderRig rig;
    rig.open();
    rig.run([](Driver& d) { d.getSchedulePerformanceHistory(); });
    rig.play("AA 55 33 D5 08 06 11 E8 15 08 00 06 11 E0 02 14 00 00 00 00");
    rig.play(kAck);
    EXPECT_EQ(rig.events(), std::vector<std::string>{"list 10 0"});
    EXPECT_EQ(rig.driver->pendingHistoryBytes(), 0u);
}

// ------------------------------------------------------------------------------------ caps

TEST(PillReminderCaps, ReassemblyBuffersNeverGrowPastTheirCaps) {
    PillReminderRig rig;
    rig.open();
    const std::string piece = hex(std::vector<std::uint8_t>(20, 0x00));
    const std::string huge = hex(std::vector<std::uint8_t>(600, 0x00));

    rig.run([](Driver& d) { d.getAlarmSchedule(); });
    rig.play(piece);
    rig.play(huge);  // completes a reply of 40 bytes at most; a zero code: the read ends with its error
    EXPECT_EQ(rig.events(), std::vector<std::string>{"error 9 Error getting alarm schedule"});
    EXPECT_EQ(rig.driver->pendingScheduleBytes(), 0u);

    rig.run([](Driver& d) { d.getSchedulePerformanceHistory(); });
    rig.play(piece);
    rig.play(piece);
    rig.play(huge);
    EXPECT_EQ(rig.events().back(), "error 10 Error getting schedule performance history");
    EXPECT_EQ(rig.driver->pendingHistoryBytes(), 0u);
    EXPECT_EQ(rig.permits(), 1);
}

TEST(PillReminderCaps, ListsStopAtTheirCapAndTheFirstEntriesAreDelivered) {
    PillReminderRig rig;
    rig.open();
    // Schedule: the same full day again and again (a box that never ends its listing).
    rig.run([](Driver& d) { d.getAlarmSchedule(); });
    const std::string day = "AA 55 07 D3 30 8F 0A 40 01 40 22 40 43 40 64 40 85 40 A1 40 C2 40 E3 41 04 41 25 00";
    const std::size_t days = Driver::kMaxAlarms / 10 + 5;
    for (std::size_t i = 0; i < days; ++i) rig.play(day);
    EXPECT_EQ(rig.driver->pendingAlarms(), Driver::kMaxAlarms);
    rig.play(kAck);
    ASSERT_EQ(rig.app->lists.size(), 1u);
    EXPECT_EQ(rig.app->lists[0].alarmList.size(), Driver::kMaxAlarms);

    // History: pages of eight real entries.
    rig.run([](Driver& d) { d.getSchedulePerformanceHistory(); });
    std::string pageText = "AA 55 33 D5 08";
    for (int i = 0; i < 8; ++i) pageText += " 06 11 E8 15 08 00";
    pageText += " 00";
    const auto page = bytes(pageText);
    const std::size_t pages = Driver::kMaxRecords / 8 + 5;
    for (std::size_t i = 0; i < pages; ++i) {
        rig.play(hex(std::vector<std::uint8_t>(page.begin(), page.begin() + 20)));
        rig.play(hex(std::vector<std::uint8_t>(page.begin() + 20, page.begin() + 40)));
        rig.play(hex(std::vector<std::uint8_t>(page.begin() + 40, page.end())));
    }
    EXPECT_EQ(rig.driver->pendingRecords(), Driver::kMaxRecords);
    rig.play(kAck);
    ASSERT_EQ(rig.app->lists.size(), 2u);
    EXPECT_EQ(rig.app->lists[1].alarmList.size(), Driver::kMaxRecords);
}

}  // namespace
}  // namespace halvora::test
