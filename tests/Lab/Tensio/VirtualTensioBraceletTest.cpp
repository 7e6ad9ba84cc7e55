// The virtual blood-pressure bracelet from the phone's side of the link: the frames it takes, what it answers
// and what it keeps.
#include <gtest/gtest.h>

#include "TensioBench.hpp"

namespace halvora::lab::test {
namespace {

using halvora::test::bytes;
using std::chrono::seconds;

struct Exchange {
    const char* what;
    const char* command;  // the phone's frame as hex
    Frames answers;       // expected back, in order
};

void run(TensioBench& bench, const std::vector<Exchange>& exchanges) {
    for (const auto& e : exchanges) {
        EXPECT_EQ(TensioBench::hex(bench.ask(e.command)), TensioBench::hex(e.answers)) << e.what;
    }
}

Bytes ack() {
    return bytes(kAck);
}

/// A bracelet at 2026-11-20 08:30:00 with two stored measurements.
TensioScript twoStored() {
    TensioScript script;
    script.clock = tensioTime("2026-11-20 08:30");
    script.readings = {{tensioTime("2026-11-19 07:45"), 131, 84, 66, 0},
                       {tensioTime("2026-11-19 21:10"), 142, 91, 73, 1}};
    return script;
}

/// A bench whose scripted clock starts now (not when the bench connected, a few seconds ago).
struct ClockedBench : TensioBench {
    explicit ClockedBench(const TensioScript& script = twoStored()) : TensioBench(script) {
        bracelet->setScript(script);
    }
};

TEST(VirtualTensioBracelet, CommandsAreAnsweredFrameByFrame) {
    ClockedBench bench;
    run(bench, {
                   {"basic information: 80 %, ambulatory off, mmHg, hold 0, 2 stored",
                    "5A 00 02 04 00 06",
                    {bytes("5A 00 06 50 00 00 00 02 00 54")}},
                   {"clock 26-11-20 08:30:00", "5A 00 02 03 00 01", {bytes("5A 00 06 1A 0B 14 08 1E 00 15")}},
                   {"repeat: the newest stored result again, dated",
                    "5A 00 02 06 00 04",
                    {ack(), bytes("5A 00 0A 1A 0B 13 15 0A 00 8E 5B 49 01 8A")}},
                   {"configuration: ambulatory on, wrist 1", "5A 00 07 22 01 01 00 00 01 00 06", {ack()}},
                   {"basic information: ambulatory on", "5A 00 02 04 00 06", {bytes("5A 00 06 50 10 00 00 02 00 44")}},
                   {"clear the memory", "5A 00 02 02 00 00", {ack()}},
                   {"memory count 0", "5A 00 02 01 00 03", {bytes("5A 00 02 60 00 62")}},
                   {"repeat with nothing stored: device error 3", "5A 00 02 06 00 04", {bytes("5A 00 02 52 03 53")}},
                   {"stop with no measurement running", "5A 00 02 00 01 03", {ack()}},
               });
    EXPECT_TRUE(bench.bracelet->settings().ambulatoryEnabled);
    EXPECT_EQ(bench.bracelet->settings().hand, 1);
    EXPECT_TRUE(bench.bracelet->memory().empty());

    // The reset puts the configuration back, not the memory or the clock.
    bench.ask(TensioBench::setting(0x21, {8, 0, 12, 0, 0x11, 60}));
    run(bench, {{"reset", "5A 00 02 13 AA A8", {ack()}},
                {"basic information: ambulatory off", "5A 00 02 04 00 06", {bytes("5A 00 06 50 00 00 00 00 00 56")}}});
    const TensioSettings s = bench.bracelet->settings();
    EXPECT_FALSE(s.ambulatoryEnabled);
    EXPECT_EQ(s.hand, 0);
    EXPECT_TRUE(s.windows.empty());
    EXPECT_EQ(s.clock.text(), "2026-11-20 08:30:01");
}

TEST(VirtualTensioBracelet, BasicInformationCarriesTheScriptedUnitHoldAndBattery) {
    TensioScript script;
    script.battery = 23;
    script.unit = TensioScript::Unit::KPa;
    script.hold = 5;
    script.seededReadings = 12;
    TensioBench bench(script);
    EXPECT_EQ(TensioBench::hex(bench.ask("5A 00 02 04 00 06")), "5A 00 06 17 00 15 00 0C 00 08\n");
}

TEST(VirtualTensioBracelet, MalformedWritesAreRefusedOrIgnored) {
    ClockedBench bench;
    const Bytes wrongCheck = bytes("5A 00 02 51 01 52");
    const Bytes unknown = bytes("5A 00 02 51 02 51");
    run(bench, {
                   {"wrong check byte", "5A 00 02 04 00 07", {wrongCheck}},
                   {"reset frame with the six-byte rule's check", "5A 00 02 13 AA BB", {wrongCheck}},
                   {"clock frame, wrong check byte", "5A 00 07 20 13 01 16 0A 05 09 06", {wrongCheck}},
                   {"unknown command 05 00", "5A 00 02 05 00 07", {unknown}},
                   {"unknown read 03 02", "5A 00 02 03 02 03", {unknown}},
                   {"unknown eleven-byte command 0x23", "5A 00 07 23 13 01 16 0A 05 09 05", {unknown}},
                   // No frame at all: silence.
                   {"another header", "5B 00 02 04 00 06", {}},
                   {"unsupported length byte", "5A 00 03 04 00 06 00", {}},
                   {"cut short", "5A 00 02 04 00", {}},
                   {"one byte too many", "5A 00 02 04 00 06 00", {}},
                   {"nothing", "", {}},
               });
    EXPECT_FALSE(bench.bracelet->settings().clockSetByPhone);
    EXPECT_EQ(bench.bracelet->rejectedFrames(), 8);
    ASSERT_EQ(bench.bracelet->framesReceived().size(), 11U);
    EXPECT_EQ(halvora::test::hex(bench.bracelet->framesReceived()[1]), "5A 00 02 13 AA BB");
}

TEST(VirtualTensioBracelet, ClockIsSetThenReadAndRunsOn) {
    ClockedBench bench;
    run(bench, {{"set 2019-01-22 10:05:09", "5A 00 07 20 13 01 16 0A 05 09 05", {ack()}},
                {"read", "5A 00 02 03 00 01", {bytes("5A 00 06 13 01 16 0A 05 09 04")}}});
    EXPECT_TRUE(bench.bracelet->settings().clockSetByPhone);
    bench.after(seconds(90));
    EXPECT_EQ(TensioBench::hex(bench.ask("5A 00 02 03 00 01")), "5A 00 06 13 01 16 0A 06 27 29\n");

    const Bytes badValue = bytes("5A 00 02 51 03 50");
    for (const auto& values : std::vector<std::array<std::uint8_t, 6>>{{19, 2, 30, 10, 5, 9},
                                                                       {19, 13, 1, 10, 5, 9},
                                                                       {19, 1, 0, 10, 5, 9},
                                                                       {19, 1, 22, 24, 5, 9},
                                                                       {19, 1, 22, 10, 60, 9},
                                                                       {19, 1, 22, 10, 5, 60},
                                                                       {100, 1, 22, 10, 5, 9}}) {
        const Bytes frame = TensioBench::setting(0x20, values);
        EXPECT_EQ(TensioBench::hex(bench.ask(frame)), TensioBench::hex({badValue})) << halvora::test::hex(frame);
    }
    EXPECT_EQ(bench.bracelet->settings().clock.text().substr(0, 16), "2019-01-22 10:06");
}

TEST(VirtualTensioBracelet, ScheduleIsSetWindowByWindowAndReadBack) {
    ClockedBench bench;
    run(bench, {{"nothing held: one frame of zeros", "5A 00 02 03 01 00", {bytes("5A 00 06 00 00 00 00 00 00 06")}}});
    // 08:00-12:30 every 60 minutes, then 13:00-18:00 with no period; serial bytes 1 of 2 and 2 of 2.
    run(bench, {{"window 1 of 2", "5A 00 07 21 08 00 0C 1E 12 3C 33", {ack()}},
                {"window 2 of 2", "5A 00 07 21 0D 00 12 00 22 00 3A", {ack()}},
                {"read: the period before the serial byte",
                 "5A 00 02 03 01 00",
                 {bytes("5A 00 06 08 00 0C 1E 3C 12 32"), bytes("5A 00 06 0D 00 12 00 00 22 3B")}}});

    // Refused, the schedule unchanged: window 0, a window past its total, a gap, hour 24, minute 60.
    const Bytes badValue = bytes("5A 00 02 51 03 50");
    for (const auto& values : std::vector<std::array<std::uint8_t, 6>>{{8, 0, 9, 0, 0x01, 60},
                                                                       {8, 0, 9, 0, 0x32, 60},
                                                                       {8, 0, 9, 0, 0x44, 60},
                                                                       {24, 0, 9, 0, 0x11, 60},
                                                                       {8, 0, 9, 60, 0x11, 60}}) {
        const Bytes frame = TensioBench::setting(0x21, values);
        EXPECT_EQ(TensioBench::hex(bench.ask(frame)), TensioBench::hex({badValue})) << halvora::test::hex(frame);
    }
    EXPECT_EQ(bench.bracelet->settings().windows, (std::vector<TensioWindow>{{8, 0, 12, 30, 60}, {13, 0, 18, 0, 0}}));

    // Window 1 starts a new schedule: 22:30-06:00 every 120 minutes alone.
    bench.ask(TensioBench::setting(0x21, {22, 30, 6, 0, 0x11, 120}));
    EXPECT_EQ(TensioBench::hex(bench.ask("5A 00 02 03 01 00")), "5A 00 06 16 1E 06 00 78 11 61\n");
}

TEST(VirtualTensioBracelet, FoundByItsNameAndService) {
    TensioBench bench;
    const auto connected =
        bench.lab.central->retrieveConnectedPeripheralsWithServices({VirtualTensioBracelet::kService});
    ASSERT_EQ(connected.size(), 1U);
    EXPECT_EQ(connected.front()->name(), "BPW1");
    EXPECT_EQ(bench.bracelet->advertisementData().localName, "BPW1");
}

}  // namespace
}  // namespace halvora::lab::test
