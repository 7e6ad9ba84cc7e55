// The virtual pill box from the phone's side of the link: the frames it takes, what it answers and what it
// keeps.
#include <gtest/gtest.h>

#include "PillBoxBench.hpp"

namespace halvora::lab::test {
namespace {

using halvora::test::bytes;

struct Exchange {
    const char* what;
    const char* command;           // the phone's frame as hex
    std::vector<const char*> got;  // notifications expected back, as hex, in order
};

void run(PillBoxBench& bench, const std::vector<Exchange>& exchanges) {
    for (const auto& e : exchanges) {
        Frames expected;
        for (const char* n : e.got) expected.push_back(bytes(n));
        EXPECT_EQ(PillBoxBench::hex(bench.ask(e.command)), PillBoxBench::hex(expected)) << e.what;
    }
}

// 2026-11-20: seven alarms in two frames (07:00/1, 08:15/2, 12:30/3, 13:45/4, 18:00/5, then 20:10/1, 22:59/2);
// 2026-11-21: one alarm, 19:19/2.
constexpr const char* kDayOneFirst = "AA 55 11 D4 00 00 07 35 74 38 01 41 E2 63 C3 6D A4 90 05 BD";
constexpr const char* kDayOneSecond = "AA 55 11 D4 00 00 07 35 74 A1 41 B7 62 FF FF FF FF FF FF 8A";
constexpr const char* kDayTwo = "AA 55 11 D4 00 00 01 35 75 9A 62 FF FF FF FF FF FF FF FF 84";
constexpr const char* kReadSchedule = "AA 55 02 D3 D5";

TEST(VirtualPillBox, SettingsRoundTrip) {
    PillBoxScript script;
    script.battery = 85;
    PillBoxBench bench(script);
    run(bench, {
                   {"battery 85", "AA 55 02 CE D0", {"AA 55 03 B9 55 11"}},
                   {"no synchronisation yet", "AA 55 02 CF D1", {"AA 55 08 CF 00 01 01 00 00 00 D9"}},
                   {"set the clock to Fri 2026-11-20 08:30:15", "AA 55 09 C2 1A 0B 14 06 08 1E 0F 3F", {kBoxAck}},
                   {"read it", "AA 55 02 D2 D4", {"AA 55 08 B2 1A 0B 14 08 1E 0F 28"}},
                   {"mark a synchronisation", "AA 55 02 D0 D2", {kBoxAck}},
                   {"set the zone +05:30", "AA 55 04 C4 05 1E EB", {kBoxAck}},
                   {"read it", "AA 55 02 CD CF", {"AA 55 04 CD 05 1E F4"}},
                   {"set the zone -03:-30", "AA 55 04 C4 FD E2 A7", {kBoxAck}},
                   {"read it: signed bytes", "AA 55 02 CD CF", {"AA 55 04 CD FD E2 B0"}},
                   {"zone +15:00 refused", "AA 55 04 C4 0F 00 D7", {kBoxRefusal}},
                   {"zone unchanged", "AA 55 02 CD CF", {"AA 55 04 CD FD E2 B0"}},
                   {"alarm duration 30", "AA 55 03 D6 1E F7", {kBoxAck}},
                   {"confirmation time 10", "AA 55 03 D7 0A E4", {kBoxAck}},
                   {"February 30th refused", "AA 55 09 C2 1A 02 1E 01 08 00 00 0E", {kBoxRefusal}},
               });
    const auto sync = bench.box->lastSync();
    ASSERT_TRUE(sync.has_value());
    EXPECT_EQ(sync->text(), "2026-11-20 08:30:15");
    EXPECT_EQ(bench.box->clock().text(), "2026-11-20 08:30:16");  // 14 round trips of 100 ms
    EXPECT_EQ(bench.box->alarmDuration(), 30);
    EXPECT_EQ(bench.box->confirmationTime(), 10);
    EXPECT_EQ(bench.box->rejectedFrames(), 2);
}

TEST(VirtualPillBox, ScheduleWrittenInFramesReadsBackByteExact) {
    PillBoxBench bench;
    run(bench,
        {
            {"second day first", kDayTwo, {kBoxAck}},
            {"first day, alarms 1-5", kDayOneFirst, {kBoxAck}},
            {"first day, alarms 6-7", kDayOneSecond, {kBoxAck}},
            {"read: days in date order, 28 bytes each in a 20-byte and an 8-byte notification",
             kReadSchedule,
             {"AA 55 19 D3 35 74 07 38 01 41 E2 63 C3 6D A4 90 05 A1 41 B7", "62 FF FF FF FF FF FF B9",
              "AA 55 19 D3 35 75 01 9A 62 FF FF FF FF FF FF FF FF FF FF FF", "FF FF FF FF FF FF FF 81", kBoxAck}},
        });
    const auto alarms = bench.box->schedule();
    ASSERT_EQ(alarms.size(), 8U);
    EXPECT_EQ(alarms[6].time.text(), "2026-11-20 22:59:00");
    EXPECT_EQ(alarms[6].colour, 2);
    EXPECT_EQ(alarms[7].time.text(), "2026-11-21 19:19:00");

    run(bench, {{"clear", "AA 55 02 D8 DA", {kBoxAck}}, {"nothing left", kReadSchedule, {kBoxAck}}});
}

TEST(VirtualPillBox, ScheduleFramesTheBoxCannotStoreAreRefusedWhole) {
    PillBoxBench bench;
    bench.ask(kDayOneFirst);
    bench.ask(kDayOneSecond);
    const std::vector<std::pair<const char*, const char*>> cases = {
        {"colour 6", "AA 55 11 D4 00 00 01 35 75 48 06 FF FF FF FF FF FF FF FF D6"},
        {"colour 0", "AA 55 11 D4 00 00 01 35 75 48 00 FF FF FF FF FF FF FF FF D0"},
        {"month 13", "AA 55 11 D4 00 00 01 35 A3 48 01 FF FF FF FF FF FF FF FF FF"},
        {"February 30th", "AA 55 11 D4 00 00 01 34 5E 48 01 FF FF FF FF FF FF FF FF B9"},
        {"hour 24", "AA 55 11 D4 00 00 01 35 75 C0 01 FF FF FF FF FF FF FF FF 49"},
        {"minute 60", "AA 55 11 D4 00 00 01 35 75 4F 81 FF FF FF FF FF FF FF FF 58"},
        {"a day of eleven", "AA 55 11 D4 00 00 0B 35 75 48 01 FF FF FF FF FF FF FF FF DB"},
        {"past ten on the first day (7 + 5)", kDayOneFirst},
    };
    for (const auto& [what, frame] : cases) {
        EXPECT_EQ(PillBoxBench::hex(bench.ask(frame)), std::string(kBoxScheduleRefusal) + "\n") << what;
    }
    EXPECT_EQ(bench.box->schedule().size(), 7U);
}

TEST(VirtualPillBox, BadFramesAreRefusedAndCounted) {
    PillBoxBench bench;
    const std::vector<std::pair<const char*, const char*>> cases = {
        {"wrong checksum", "AA 55 02 CE D1"},
        {"length byte of another command", "AA 55 03 CE 00 D1"},
        {"unknown code", "AA 55 02 C0 C2"},
        {"length byte below a code and a checksum", "AA 55 01 C0"},
        {"length byte past any frame", "AA 55 F0 C0"},
        {"wrong checksum on a schedule frame", "AA 55 11 D4 00 00 01 35 75 9A 62 FF FF FF FF FF FF FF FF 85"},
    };
    for (const auto& [what, frame] : cases) {
        EXPECT_EQ(PillBoxBench::hex(bench.ask(frame)), std::string(kBoxRefusal) + "\n") << what;
    }
    EXPECT_TRUE(bench.ask("01 02 03").empty()) << "no frame: ignored";
    EXPECT_EQ(bench.box->rejectedFrames(), 7);
    EXPECT_TRUE(bench.box->schedule().empty());
    EXPECT_EQ(PillBoxBench::hex(bench.ask("AA 55 02 CE D0")), "AA 55 03 B9 55 11\n") << "still answering";
}

TEST(VirtualPillBox, FrameInPiecesIsPutTogether) {
    PillBoxBench bench;
    const Bytes whole = bytes(kDayTwo);
    EXPECT_TRUE(bench.ask(Bytes(whole.begin(), whole.begin() + 12)).empty());
    EXPECT_EQ(PillBoxBench::hex(bench.ask(Bytes(whole.begin() + 12, whole.end()))), std::string(kBoxAck) + "\n");
    // A write that ends one frame and starts the next.
    Bytes two = bytes("AA 55 02 CE D0 AA 55");
    EXPECT_EQ(PillBoxBench::hex(bench.ask(two)), "AA 55 03 B9 55 11\n");
    EXPECT_EQ(PillBoxBench::hex(bench.ask("02 D2 D4")).substr(0, 11), "AA 55 08 B2");
    // The start of a frame whose rest never comes is dropped after a while.
    EXPECT_TRUE(bench.ask("AA 55 09 C2 1A").empty());
    bench.lab.executor->advance(PillBoxFrameReader::kPieceTimeout);
    EXPECT_EQ(PillBoxBench::hex(bench.ask("AA 55 02 CE D0")), "AA 55 03 B9 55 11\n");
    EXPECT_EQ(bench.box->schedule().size(), 1U);
}

TEST(VirtualPillBox, AdvertisesItsLocalNameWithAnEmptyGapName) {
    LabBench lab;
    lab.radio->addPeripheral(VirtualPillBox::make(PillBoxBench::kIdentifier, ""));
    lab.central->scanForPeripheralsWithServices({}, ScanOptions{false});
    lab.executor->advance(std::chrono::seconds(1));
    EXPECT_EQ(lab.recorder->count("discover tameinagli"), 1U);
    const auto found = lab.central->retrievePeripheralsWithIdentifiers({PillBoxBench::kIdentifier});
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found.front()->name(), std::optional<std::string>(""));
}

TEST(VirtualPillBox, ScriptedFaultsRefuseSilenceOrLengthenReplies) {
    PillBoxScript script;
    script.faults.refuse = {PillBoxCommand::ReadClock};
    script.faults.noReplyTo = {PillBoxCommand::ClearSchedule};
    script.faults.wrongLength = {PillBoxCommand::ReadBattery, PillBoxCommand::SetAlarmDuration};
    PillBoxBench bench(script);
    bench.ask(kDayTwo);
    run(bench, {
                   {"refused", "AA 55 02 D2 D4", {kBoxRefusal}},
                   {"no reply, but cleared", "AA 55 02 D8 DA", {}},
                   {"schedule empty", kReadSchedule, {kBoxAck}},
                   {"battery one byte long", "AA 55 02 CE D0", {"AA 55 04 B9 55 00 12"}},
                   {"ack one byte long", "AA 55 03 D6 1E F7", {"AA 55 03 F0 00 F3"}},
                   {"others unaffected", "AA 55 02 CD CF", {"AA 55 04 CD 00 00 D1"}},
               });
    EXPECT_EQ(bench.box->alarmDuration(), 30);
}

}  // namespace
}  // namespace halvora::lab::test
