// Measurements on the virtual blood-pressure bracelet, and its memory walked from the phone.
#include <gtest/gtest.h>

#include <set>

#include "TensioBench.hpp"

namespace halvora::lab::test {
namespace {

using halvora::test::bytes;
using std::chrono::milliseconds;
using std::chrono::seconds;

const Bytes kStart = TensioBench::command(0x00, 0x00);
const Bytes kStop = TensioBench::command(0x00, 0x01);
const Bytes kReadMemory = TensioBench::command(0x01, 0x00);

/// Cuff from 10 to 40 and back to 20 in steps of 10, a frame every 250 ms; the clock at 2026-11-20 08:30.
TensioScript shortMeasurement() {
    TensioScript script;
    script.clock = tensioTime("2026-11-20 08:30");
    script.inflateTo = 40;
    script.deflateTo = 20;
    script.pressureStep = 10;
    script.pressureInterval = milliseconds(250);
    script.systolic = 118;
    script.diastolic = 76;
    script.pulse = 64;
    return script;
}

/// The pressure of a cuff pressure frame.
int pressureOf(const Bytes& frame) {
    return frame.size() == 6 ? frame[3] * 256 + frame[4] : -1;
}

TEST(TensioMeasurement, CuffPressuresStreamThenTheResultIsSentAndStored) {
    TensioBench bench(shortMeasurement());
    EXPECT_EQ(TensioBench::hex(bench.ask(kStart)), TensioBench::hex({bytes(kAck)}));
    EXPECT_TRUE(bench.bracelet->settings().measuring);
    // The first pressure an interval after the command (which reached the bracelet 5 ms after it was written).
    EXPECT_TRUE(bench.after(milliseconds(150)).empty());
    EXPECT_EQ(TensioBench::hex(bench.after(milliseconds(20))), "5A 00 02 00 0A 08\n");
    const Frames rest = bench.after(seconds(2));
    ASSERT_EQ(rest.size(), 6U);
    std::vector<int> pressures;
    for (std::size_t i = 0; i + 1 < rest.size(); ++i) pressures.push_back(pressureOf(rest[i]));
    EXPECT_EQ(pressures, (std::vector<int>{20, 30, 40, 30, 20}));
    EXPECT_EQ(halvora::test::hex(rest.back()), "5A 00 0A 1A 0B 14 08 1E 00 76 4C 40 00 63");
    EXPECT_FALSE(bench.bracelet->settings().measuring);
    const auto memory = bench.bracelet->memory();
    ASSERT_EQ(memory.size(), 1U);
    EXPECT_EQ(memory[0], (TensioReading{tensioTime("2026-11-20 08:30"), 118, 76, 64, 0}));
    EXPECT_TRUE(bench.after(seconds(5)).empty());
}

TEST(TensioMeasurement, NoCuffPressurePassesForAnotherFrame) {
    // Every pressure from 1 to the highest and back, 10 ms apart.
    TensioScript script;
    script.inflateTo = TensioScript::kMaxCuffPressure;
    script.deflateTo = 1;
    script.pressureStep = 1;
    script.pressureInterval = milliseconds(10);
    TensioBench bench(script);
    Frames frames = bench.ask(kStart);
    const Frames rest = bench.after(seconds(10));
    frames.insert(frames.end(), rest.begin(), rest.end());
    // The acknowledgement, 299 up, 298 down, the result.
    ASSERT_EQ(frames.size(), 2U * TensioScript::kMaxCuffPressure + 1);
    frames.erase(frames.begin());
    frames.pop_back();
    for (const auto& frame : frames) {
        ASSERT_TRUE(TensioBench::wellFormed(frame)) << halvora::test::hex(frame);
        EXPECT_LE(frame[3], 0x01) << halvora::test::hex(frame);  // never 40, 50, 51, 52 or 60
        EXPECT_NE(frame[4], 0x00) << halvora::test::hex(frame);
        EXPECT_NE(frame[5], 0x42) << halvora::test::hex(frame);
    }
    // 64 (whose check byte would be 42) and 256 (whose low byte is 0) go out one higher; the rest as they are.
    EXPECT_EQ(pressureOf(frames[62]), 63);
    EXPECT_EQ(pressureOf(frames[63]), 65);
    EXPECT_EQ(pressureOf(frames[255]), 257);
    EXPECT_EQ(pressureOf(frames[298]), 299);
}

TEST(TensioMeasurement, StopRestartOrTheLinkEndingAbandonsIt) {
    TensioBench bench(shortMeasurement());
    bench.ask(kStart);
    EXPECT_EQ(bench.after(milliseconds(500)).size(), 2U);
    EXPECT_EQ(TensioBench::hex(bench.ask(kStop)), TensioBench::hex({bytes(kAck)}));
    EXPECT_TRUE(bench.after(seconds(5)).empty());
    EXPECT_FALSE(bench.bracelet->settings().measuring);

    // Started again while running: the cuff starts over and one result comes.
    bench.ask(kStart);
    bench.after(milliseconds(500));
    bench.ask(kStart);
    const Frames again = bench.after(seconds(5));
    ASSERT_EQ(again.size(), 7U);
    EXPECT_EQ(pressureOf(again.front()), 10);
    EXPECT_EQ(again.back().size(), 14U);

    bench.ask(kStart);
    bench.lab.central->cancelPeripheralConnection(bench.peripheral);
    bench.lab.settle();
    bench.connect();
    bench.startNotifications();
    EXPECT_TRUE(bench.after(seconds(5)).empty());
    EXPECT_EQ(bench.bracelet->memory().size(), 1U);
    EXPECT_EQ(bench.bracelet->measurementsStarted(), 4);
}

TEST(TensioMeasurement, ScriptedFailureSendsItsErrorAtTheTop) {
    struct Case {
        TensioError error;
        const char* frame;
    };
    for (const auto& c : std::vector<Case>{{{TensioError::Kind::Measurement, 3}, "5A 00 02 50 03 51"},
                                           {{TensioError::Kind::Device, 1}, "5A 00 02 52 01 51"}}) {
        TensioScript script = shortMeasurement();
        script.measurementError = c.error;
        TensioBench bench(script);
        bench.ask(kStart);
        const Frames frames = bench.after(seconds(5));
        ASSERT_EQ(frames.size(), 5U) << c.frame;
        EXPECT_EQ(pressureOf(frames[3]), 40);
        EXPECT_EQ(halvora::test::hex(frames[4]), c.frame);
        EXPECT_TRUE(bench.bracelet->memory().empty());
        EXPECT_FALSE(bench.bracelet->settings().measuring);
    }
}

TEST(TensioMemory, WalkAnswersTheCountThenOneRecordPerRequest) {
    TensioScript script = shortMeasurement();
    script.readings = {{tensioTime("2026-11-18 07:40"), 128, 82, 61, 0},
                       {tensioTime("2026-11-18 20:05"), 135, 88, 70, 1},
                       {tensioTime("2026-11-19 07:55"), 301, 79, 58, 0}};
    TensioBench bench(script);
    const std::vector<std::pair<const char*, Bytes>> walk = {
        {"count 3", bytes("5A 00 02 60 03 61")},
        {"record 1", bytes("5A 00 06 01 00 80 52 3D 00 E8")},
        {"record 2", bytes("5A 00 06 02 00 87 58 46 01 9C")},
    };
    for (const auto& [what, frame] : walk)
        EXPECT_EQ(TensioBench::hex(bench.ask(kReadMemory)), TensioBench::hex({frame})) << what;
    // Other commands and a new measurement between two requests: the walk goes on, the new result at its end.
    EXPECT_EQ(bench.ask(TensioBench::command(0x04, 0x00)).size(), 1U);
    bench.ask(kStart);
    bench.after(seconds(3));
    const std::vector<std::pair<const char*, Bytes>> rest = {
        {"record 3, systolic over 255", bytes("5A 00 06 03 01 2D 4F 3A 00 5C")},
        {"record 4, the new result", bytes("5A 00 06 04 00 76 4C 40 00 78")},
        {"count 4 again", bytes("5A 00 02 60 04 66")},
        {"record 1 again", bytes("5A 00 06 01 00 80 52 3D 00 E8")},
    };
    for (const auto& [what, frame] : rest)
        EXPECT_EQ(TensioBench::hex(bench.ask(kReadMemory)), TensioBench::hex({frame})) << what;

    // The link's end starts the walk again; so does clearing the memory.
    bench.lab.central->cancelPeripheralConnection(bench.peripheral);
    bench.lab.settle();
    bench.connect();
    bench.startNotifications();
    EXPECT_EQ(TensioBench::hex(bench.ask(kReadMemory)), "5A 00 02 60 04 66\n");
    bench.ask(kReadMemory);
    bench.ask(TensioBench::command(0x02, 0x00));
    for (int i = 0; i < 2; ++i) EXPECT_EQ(TensioBench::hex(bench.ask(kReadMemory)), "5A 00 02 60 00 62\n");
}

TEST(TensioMemory, FullMemoryPushesOutItsOldest) {
    TensioScript script = shortMeasurement();
    for (int i = 0; i < 260; ++i) script.readings.push_back({tensioTime("2026-11-01 08:00"), 100 + i % 100, 70, 60, 0});
    TensioBench bench(script);
    ASSERT_EQ(bench.bracelet->memory().size(), VirtualTensioBracelet::kMaxStoredReadings);
    EXPECT_EQ(bench.bracelet->memory().front().systolic, 105);  // the five oldest of the script are gone
    EXPECT_EQ(TensioBench::hex(bench.ask(kReadMemory)), "5A 00 02 60 FF 9D\n");
    EXPECT_EQ(bench.ask(kReadMemory).at(0)[5], 105);
    // A result with the memory full pushes out the record just walked; the walk goes on with the next one.
    bench.ask(kStart);
    bench.after(seconds(3));
    const auto memory = bench.bracelet->memory();
    ASSERT_EQ(memory.size(), VirtualTensioBracelet::kMaxStoredReadings);
    EXPECT_EQ(memory.front().systolic, 106);
    EXPECT_EQ(memory.back().systolic, 118);
    EXPECT_EQ(halvora::test::hex(bench.ask(kReadMemory).at(0)), "5A 00 06 01 00 6A 46 3C 00 17");
}

TEST(TensioMemory, SeededMeasurementsArePlausibleAndFollowTheSeed) {
    auto seeded = [](std::uint64_t seed) {
        TensioScript script;
        script.clock = tensioTime("2026-11-20 08:30");
        script.seededReadings = 20;
        script.seed = seed;
        script.readings = {{tensioTime("2026-11-20 08:00"), 125, 80, 66, 0}};
        TensioBench bench(script);
        return bench.bracelet->memory();
    };
    const auto memory = seeded(7);
    ASSERT_EQ(memory.size(), 21U);
    EXPECT_EQ(memory.back(), (TensioReading{tensioTime("2026-11-20 08:00"), 125, 80, 66, 0}));
    const BraceletTime clock = tensioTime("2026-11-20 08:30");
    std::set<int> systolics;
    for (std::size_t i = 0; i + 1 < memory.size(); ++i) {
        const auto& r = memory[i];
        if (i > 0) {
            EXPECT_LT(memory[i - 1].date, r.date);
        }
        EXPECT_LT(r.date, clock);
        EXPECT_GE(r.systolic, 108);
        EXPECT_LE(r.systolic, 146);
        EXPECT_GE(r.diastolic, 66);
        EXPECT_LE(r.diastolic, r.systolic - 25);
        EXPECT_GE(r.pulse, 56);
        EXPECT_LE(r.pulse, 92);
        systolics.insert(r.systolic);
    }
    EXPECT_GT(memory[19].date, clock.plusSeconds(-150 * 60 - 1));
    EXPECT_LT(memory[0].date, clock.plusSeconds(-9 * 86400));  // twenty, half a day apart
    EXPECT_GT(systolics.size(), 5U);
    EXPECT_EQ(seeded(7), memory);
    EXPECT_NE(seeded(8), memory);
}

}  // namespace
}  // namespace halvora::lab::test
