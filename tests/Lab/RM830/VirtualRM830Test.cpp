// The virtual RM830 from the phone's side of the link: the frames it takes, what it answers and what it
// keeps.
#include <gtest/gtest.h>

#include <algorithm>

#include "RM830Bench.hpp"

namespace halvora::lab::test {
namespace {

using halvora::test::bytes;
using std::chrono::milliseconds;
using std::chrono::seconds;

struct Exchange {
    const char* what;
    const char* command;  // the phone's frame, checksum included
    const char* answer;   // the one frame expected back ("" for silence)
};

void run(RM830Bench& bench, const std::vector<Exchange>& exchanges) {
    for (const auto& e : exchanges) {
        const Frames expected = std::string(e.answer).empty() ? Frames{} : Frames{bytes(e.answer)};
        EXPECT_EQ(RM830Bench::hex(bench.ask(e.command)), RM830Bench::hex(expected)) << e.what;
    }
}

TEST(VirtualRM830, SettingsAreKeptAndReadBack) {
    RM830Bench bench;
    run(bench, {
                   {"clock 2018-07-15 10:30:00", "01 18 07 15 10 30 00 01 00 00 00 00 00 00 00 76",
                    "01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01"},
                   {"time format", "37 01 00 00 00 00 00 00 00 00 00 00 00 00 00 38",
                    "37 00 00 00 00 00 00 00 00 00 00 00 00 00 00 37"},
                   {"wearer: 180 cm, 75 kg, age 30, stride 74", "02 01 1E B4 4B 4A 00 00 00 00 00 00 00 00 00 6A",
                    "02 00 00 00 00 00 00 00 00 00 00 00 00 00 00 02"},
                   {"step goal 10000", "0B 00 27 10 00 00 00 00 00 00 00 00 00 00 00 42",
                    "0B 00 00 00 00 00 00 00 00 00 00 00 00 00 00 0B"},
                   {"monitoring on", "19 01 00 00 00 00 00 00 00 00 00 00 00 00 00 1A",
                    "19 00 00 00 00 00 00 00 00 00 00 00 00 00 00 19"},
                   {"window 8:00 to 20:30 on weekdays", "2A 01 08 00 20 30 3E 00 00 00 00 00 00 00 00 C1",
                    "2A 00 00 00 00 00 00 00 00 00 00 00 00 00 00 2A"},
                   // Read back in the layout they were set with (well within the clock's first second).
                   {"read clock", "41 00 00 00 00 00 00 00 00 00 00 00 00 00 00 41",
                    "41 18 07 15 10 30 00 00 00 00 00 00 00 00 00 B5"},
                   {"read time format", "38 00 00 00 00 00 00 00 00 00 00 00 00 00 00 38",
                    "38 01 00 00 00 00 00 00 00 00 00 00 00 00 00 39"},
                   {"read wearer", "42 00 00 00 00 00 00 00 00 00 00 00 00 00 00 42",
                    "42 01 1E B4 4B 4A 00 00 00 00 00 00 00 00 00 AA"},
               });
    const RM830Settings s = bench.bracelet->settings();
    EXPECT_TRUE(s.clockSetByPhone);
    EXPECT_EQ(s.clock.text(), "2018-07-15 10:30:00");
    EXPECT_EQ(s.timeFormat, 1);
    EXPECT_EQ(s.personal.gender, 1);
    EXPECT_EQ(s.personal.age, 30);
    EXPECT_EQ(s.personal.height, 180);
    EXPECT_EQ(s.personal.weight, 75);
    EXPECT_EQ(s.personal.stride, 74);
    EXPECT_EQ(s.stepGoal, 10000);
    EXPECT_TRUE(s.monitoring);
    EXPECT_TRUE(s.window.enabled);
    EXPECT_EQ(s.window.startHour, 8);
    EXPECT_EQ(s.window.startMinute, 0);
    EXPECT_EQ(s.window.endHour, 20);
    EXPECT_EQ(s.window.endMinute, 30);
    EXPECT_EQ(s.window.days, 0x3E);

    // Switched off again, with the zeros the phone sends without a window.
    run(bench, {{"window off", "2A 00 00 00 00 00 00 00 00 00 00 00 00 00 00 2A",
                 "2A 00 00 00 00 00 00 00 00 00 00 00 00 00 00 2A"},
                {"monitoring off", "19 00 00 00 00 00 00 00 00 00 00 00 00 00 00 19",
                 "19 00 00 00 00 00 00 00 00 00 00 00 00 00 00 19"}});
    EXPECT_FALSE(bench.bracelet->settings().window.enabled);
    EXPECT_EQ(bench.bracelet->settings().window.endHour, 0);
    EXPECT_FALSE(bench.bracelet->settings().monitoring);
}

TEST(VirtualRM830, MalformedFramesAreRefusedOrIgnored) {
    RM830Bench bench;
    run(bench, {
                   {"month 13", "01 18 13 15 10 30 00 01 00 00 00 00 00 00 00 82",
                    "81 00 00 00 00 00 00 00 00 00 00 00 00 00 00 81"},
                   {"30 February", "01 18 02 30 10 30 00 01 00 00 00 00 00 00 00 8C",
                    "81 00 00 00 00 00 00 00 00 00 00 00 00 00 00 81"},
                   {"minute not BCD", "01 18 07 15 10 3A 00 01 00 00 00 00 00 00 00 80",
                    "81 00 00 00 00 00 00 00 00 00 00 00 00 00 00 81"},
                   {"window ends at 24:00", "2A 01 08 00 24 00 3E 00 00 00 00 00 00 00 00 95",
                    "AA 00 00 00 00 00 00 00 00 00 00 00 00 00 00 AA"},
                   {"window starts at 8:60", "2A 01 08 60 20 30 3E 00 00 00 00 00 00 00 00 21",
                    "AA 00 00 00 00 00 00 00 00 00 00 00 00 00 00 AA"},
                   {"unknown code", "50 01 00 00 00 00 00 00 00 00 00 00 00 00 00 51",
                    "D0 00 00 00 00 00 00 00 00 00 00 00 00 00 00 D0"},
                   // Not trusted at all: no answer.
                   {"wrong checksum", "0B 00 27 10 00 00 00 00 00 00 00 00 00 00 00 43", ""},
                   {"15 bytes", "0B 00 27 10 00 00 00 00 00 00 00 00 00 00 42", ""},
                   {"17 bytes", "0B 00 27 10 00 00 00 00 00 00 00 00 00 00 00 42 00", ""},
                   {"nothing", "", ""},
               });
    const RM830Settings s = bench.bracelet->settings();
    EXPECT_FALSE(s.clockSetByPhone);
    EXPECT_EQ(s.stepGoal, RM830Settings{}.stepGoal);
    EXPECT_FALSE(s.window.enabled);
    EXPECT_EQ(s.window.startHour, 0);
    EXPECT_EQ(bench.bracelet->rejectedFrames(), 4);
    EXPECT_EQ(bench.bracelet->framesReceived().size(), 10U);
    EXPECT_EQ(halvora::test::hex(bench.bracelet->framesReceived()[6]),
              halvora::test::hex(bytes("0B 00 27 10 00 00 00 00 00 00 00 00 00 00 00 43")));
}

TEST(VirtualRM830, ClockRunsOnFromWhereItWasSet) {
    RM830Bench bench;
    bench.setClock({0x18, 0x12, 0x31, 0x23, 0x59, 0x30});  // 2018-12-31 23:59:30
    bench.after(seconds(90));                              // the clock was set a few milliseconds into the round trip
    EXPECT_EQ(bench.bracelet->settings().clock.text(), "2019-01-01 00:01:00");
    EXPECT_EQ(RM830Bench::hex(bench.ask(RM830Bench::command(0x41))),
              RM830Bench::hex({bytes("41 19 01 01 00 01 00 00 00 00 00 00 00 00 00 5D")}));

    // A scripted clock runs from the first connection when the bracelet was not yet in range (the bench
    // then takes just under 4 s to discover it), else from the moment the script is set.
    RM830Script script;
    script.clock = timeAt("2026-02-28 23:59:59");
    RM830Bench scripted(script);
    EXPECT_EQ(scripted.bracelet->settings().clock.text(), "2026-03-01 00:00:02");
    EXPECT_FALSE(scripted.bracelet->settings().clockSetByPhone);
    scripted.bracelet->setScript(script);
    scripted.after(seconds(10));
    EXPECT_EQ(scripted.bracelet->settings().clock.text(), "2026-03-01 00:00:09");
}

TEST(VirtualRM830, VersionIsFourSignedBytes) {
    struct Case {
        const char* version;
        const char* answer;
    };
    const std::vector<Case> cases = {
        {"54.51.56.1", "27 36 33 38 01 00 00 00 00 00 00 00 00 00 00 C9"},
        {"54.51.55.9", "27 36 33 37 09 00 00 00 00 00 00 00 00 00 00 D0"},
        {"-1.0.127.-128", "27 FF 00 7F 80 00 00 00 00 00 00 00 00 00 00 25"},
        {"54.51.56", "27 00 00 00 00 00 00 00 00 00 00 00 00 00 00 27"},  // not a version: zeros
    };
    for (const auto& c : cases) {
        RM830Script script;
        script.version = c.version;
        RM830Bench bench(script);
        EXPECT_EQ(RM830Bench::hex(bench.ask(RM830Bench::command(0x27))), RM830Bench::hex({bytes(c.answer)}))
            << c.version;
    }
    for (const char* text :
         {"54.51.56", "54.51.56.1.", "54.51.56.1.2", "128.0.0.0", "1..2.3", "a.b.c.d", "+1.2.3.4", " 1.2.3.4", ""}) {
        EXPECT_FALSE(VirtualRM830::versionBytes(text)) << text;
    }
}

TEST(VirtualRM830, UpdateModeRequestIsAnsweredAndRecorded) {
    RM830Bench bench;
    EXPECT_EQ(bench.bracelet->updateModeRequests(), 0);
    EXPECT_EQ(RM830Bench::hex(bench.ask(RM830Bench::command(0x47))),
              RM830Bench::hex({bytes("47 00 00 00 00 00 00 00 00 00 00 00 00 00 00 47")}));
    EXPECT_EQ(bench.bracelet->updateModeRequests(), 1);
    EXPECT_EQ(bench.peripheral->state(), PeripheralState::Connected);
}

/// Steps, calories and distance of a real-time frame.
std::array<int, 3> currentDay(const Bytes& frame) {
    if (frame.size() != 16) return {-1, -1, -1};
    auto be24 = [&](std::size_t i) { return frame[i] << 16 | frame[i + 1] << 8 | frame[i + 2]; };
    return {be24(1), be24(7), be24(10)};
}

TEST(VirtualRM830, RealTimeStepsGrowUntilStopped) {
    RM830Script script;
    script.steps = 1000;
    script.calories = 4000;
    script.distance = 70;
    script.stepsPerUpdate = 10;
    script.caloriesPerStep = 4;
    RM830Bench bench(script);
    bench.ask(RM830Bench::command(0x02, {0x01, 30, 180, 75, 100}));  // a 100 cm stride

    EXPECT_EQ(RM830Bench::hex(bench.ask(RM830Bench::command(0x09))),
              RM830Bench::hex({bytes("09 00 03 E8 00 00 00 00 0F A0 00 00 46 00 00 E9")}));
    EXPECT_TRUE(bench.bracelet->settings().realTimeSteps);
    // One frame a second, 10 steps more each time; 10 steps of 1 m add a hundredth of a kilometre.
    Frames frames = bench.after(seconds(10));
    ASSERT_EQ(frames.size(), 10U);
    EXPECT_EQ(currentDay(frames[0]), (std::array<int, 3>{1010, 4040, 71}));
    EXPECT_EQ(currentDay(frames[9]), (std::array<int, 3>{1100, 4400, 80}));
    for (const auto& f : frames) EXPECT_TRUE(RM830Bench::checksumHolds(f)) << halvora::test::hex(f);

    EXPECT_EQ(RM830Bench::hex(bench.ask(RM830Bench::command(0x0A, {0x01}))),
              RM830Bench::hex({bytes("0A 00 00 00 00 00 00 00 00 00 00 00 00 00 00 0A")}));
    EXPECT_TRUE(bench.after(seconds(5)).empty());
    EXPECT_FALSE(bench.bracelet->settings().realTimeSteps);
    // Started again, it goes on from the steps reached.
    EXPECT_EQ(currentDay(bench.ask(RM830Bench::command(0x09)).at(0)), (std::array<int, 3>{1100, 4400, 80}));
}

TEST(VirtualRM830, HeartRateStreamsUntilSwitchedOff) {
    RM830Bench bench;
    EXPECT_EQ(RM830Bench::hex(bench.ask(RM830Bench::command(0x6D))),
              RM830Bench::hex({bytes("6D 48 00 00 00 00 00 00 00 00 00 00 00 00 00 B5")}));

    EXPECT_EQ(RM830Bench::hex(bench.ask(RM830Bench::command(0x2C, {0x01}))),
              RM830Bench::hex({bytes("2C 48 00 00 00 00 00 00 00 00 00 00 00 00 00 74")}));
    EXPECT_TRUE(bench.bracelet->settings().realTimeHeartRate);
    EXPECT_TRUE(bench.after(milliseconds(850)).empty());  // the next one a second after the first
    EXPECT_EQ(bench.after(milliseconds(100)).size(), 1U);
    EXPECT_EQ(bench.after(seconds(3)).size(), 3U);
    EXPECT_EQ(RM830Bench::hex(bench.ask(RM830Bench::command(0x2C, {0x00}))),
              RM830Bench::hex({bytes("2C 00 00 00 00 00 00 00 00 00 00 00 00 00 00 2C")}));
    EXPECT_TRUE(bench.after(seconds(5)).empty());
    EXPECT_FALSE(bench.bracelet->settings().realTimeHeartRate);
}

TEST(VirtualRM830, HeartRatesVaryWithTheSeedWithinTheSpread) {
    auto readings = [](std::uint64_t seed) {
        RM830Script script;
        script.heartRate = 70;
        script.heartRateSpread = 5;
        RM830Bench bench(script, seed);
        bench.ask(RM830Bench::command(0x2C, {0x01}));
        std::vector<int> rates;
        for (const auto& frame : bench.after(seconds(20))) rates.push_back(frame.at(1));
        return rates;
    };
    const auto first = readings(3);
    ASSERT_EQ(first.size(), 20U);
    for (int rate : first) {
        EXPECT_GE(rate, 65);
        EXPECT_LE(rate, 75);
    }
    EXPECT_NE(std::count(first.begin(), first.end(), first.front()), 20);
    EXPECT_EQ(readings(3), first);
    EXPECT_NE(readings(4), first);
}

TEST(VirtualRM830, StreamsStopWhenTheLinkEnds) {
    RM830Bench bench;
    bench.ask(RM830Bench::command(0x09));
    bench.ask(RM830Bench::command(0x2C, {0x01}));
    bench.lab.central->cancelPeripheralConnection(bench.peripheral);
    bench.lab.settle();
    EXPECT_FALSE(bench.bracelet->settings().realTimeSteps);
    EXPECT_FALSE(bench.bracelet->settings().realTimeHeartRate);
    bench.connect();
    EXPECT_TRUE(bench.after(seconds(5)).empty());
}

TEST(VirtualRM830, FoundByItsServiceUnderEachName) {
    for (const auto& name : {VirtualRM830::kName, VirtualRM830::kSecondName, VirtualRM830::kThirdName}) {
        RM830Bench bench({}, 1, name);
        const auto connected = bench.lab.central->retrieveConnectedPeripheralsWithServices({BLEUUID("FFF0")});
        ASSERT_EQ(connected.size(), 1U) << name;
        EXPECT_EQ(connected.front()->name(), name);
        EXPECT_EQ(bench.bracelet->advertisementData().localName, name);
        EXPECT_EQ(bench.bracelet->advertisementData().serviceUUIDs, std::vector<BLEUUID>{VirtualRM830::kService});
    }
}

}  // namespace
}  // namespace halvora::lab::test
