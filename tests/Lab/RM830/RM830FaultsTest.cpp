// The RM830's protocol faults, and the lab's link faults on its frames, as the phone sees them.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "RM830Bench.hpp"

namespace halvora::lab::test {
namespace {

using halvora::test::hex;
using std::chrono::milliseconds;
using std::chrono::seconds;

RM830Script withFaults(const std::function<void(RM830Faults&)>& change) {
    RM830Script script;
    script.clock = timeAt("2026-11-20 10:00");
    script.days = {{0, {RM830Quarter::activity(32, 500, 2000, 35)}}};
    script.heartHistory.resize(2);
    change(script.faults);
    return script;
}

TEST(RM830Faults, ScriptedFailuresAnswerTheErrorCodeAndChangeNothing) {
    RM830Bench bench(withFaults([](RM830Faults& f) { f.failCodes = {0x0B, 0x43, 0x2C, 0x09}; }));
    const std::vector<std::pair<Bytes, const char*>> cases = {
        {RM830Bench::command(0x0B, {0x00, 0x27, 0x10}), "8B 00 00 00 00 00 00 00 00 00 00 00 00 00 00 8B\n"},
        {RM830Bench::command(0x43, {0x00}), "C3 00 00 00 00 00 00 00 00 00 00 00 00 00 00 C3\n"},
        {RM830Bench::command(0x2C, {0x01}), "AC 00 00 00 00 00 00 00 00 00 00 00 00 00 00 AC\n"},
        {RM830Bench::command(0x09), "89 00 00 00 00 00 00 00 00 00 00 00 00 00 00 89\n"},
        // Others still work.
        {RM830Bench::command(0x19, {0x01}), "19 00 00 00 00 00 00 00 00 00 00 00 00 00 00 19\n"},
    };
    for (const auto& [command, answer] : cases) {
        EXPECT_EQ(RM830Bench::hex(bench.ask(command)), answer) << hex(command);
    }
    EXPECT_TRUE(bench.after(seconds(3)).empty());  // no stream started
    const RM830Settings s = bench.bracelet->settings();
    EXPECT_EQ(s.stepGoal, RM830Settings{}.stepGoal);
    EXPECT_FALSE(s.realTimeHeartRate);
    EXPECT_FALSE(s.realTimeSteps);
    EXPECT_TRUE(s.monitoring);
}

TEST(RM830Faults, AnswersAreLostByCodeOrByNumber) {
    struct Case {
        const char* what;
        RM830Script script;
        std::vector<std::size_t> frames;  // answers to 6D, 0B, 6D, 43 00
    };
    const std::vector<Case> cases = {
        {"by code",
         withFaults([](RM830Faults& f) {
             f.loseAnswersTo = {0x6D, 0x43};
         }),
         {0, 1, 0, 0}},
        {"third command", withFaults([](RM830Faults& f) { f.loseAnswerToCommand = 3; }), {1, 1, 0, 96}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        RM830Bench bench(c.script);
        EXPECT_EQ(bench.ask(RM830Bench::command(0x6D)).size(), c.frames[0]);
        EXPECT_EQ(bench.ask(RM830Bench::command(0x0B, {0x00, 0x03, 0xE8})).size(), c.frames[1]);
        EXPECT_EQ(bench.ask(RM830Bench::command(0x6D)).size(), c.frames[2]);
        EXPECT_EQ(bench.ask(RM830Bench::command(0x43, {0x00})).size(), c.frames[3]);
        EXPECT_EQ(bench.bracelet->settings().stepGoal, 1000);  // heard: only the answer is lost
    }
    // A stream whose first answer is lost still sends its later frames.
    RM830Bench bench(withFaults([](RM830Faults& f) { f.loseAnswersTo = {0x2C}; }));
    EXPECT_TRUE(bench.ask(RM830Bench::command(0x2C, {0x01})).empty());
    EXPECT_EQ(bench.after(seconds(2)).size(), 2U);
}

TEST(RM830Faults, EndlessHeartHistoryNeverSaysLast) {
    RM830Bench bench(withFaults([](RM830Faults& f) { f.endlessHeartHistory = true; }));
    for (std::uint8_t n = 0; n < 6; ++n) {
        const Frames answer = bench.ask(RM830Bench::command(0x2F, {n}));
        ASSERT_EQ(answer.size(), 1U);
        EXPECT_EQ(answer[0][1], 0x64) << int(n);
    }
}

TEST(RM830Faults, StrayDayFramesFollowTheSeed) {
    auto download = [](std::uint64_t seed) {
        RM830Bench bench(withFaults([](RM830Faults& f) { f.strayDayFrames = 5; }), seed);
        return bench.ask(RM830Bench::command(0x43, {0x00}));
    };
    const Frames frames = download(3);
    ASSERT_EQ(frames.size(), 101U);
    std::vector<int> quarters;
    int strays = 0;
    for (const auto& frame : frames) {
        EXPECT_TRUE(RM830Bench::checksumHolds(frame)) << hex(frame);
        if (frame[1] == 0xF0) {
            quarters.push_back(frame[5]);
        } else {
            EXPECT_NE(frame[1], 0xFF);
            ++strays;
        }
    }
    EXPECT_EQ(strays, 5);
    std::vector<int> inOrder(96);
    std::iota(inOrder.begin(), inOrder.end(), 0);
    EXPECT_EQ(quarters, inOrder);  // the day's own frames keep their order around the strays
    EXPECT_EQ(download(3), frames);
    EXPECT_NE(download(4), frames);
}

TEST(RM830Faults, ShortAnswersAreCutForTheScriptedCodes) {
    struct Case {
        const char* what;
        std::vector<std::uint8_t> codes;
        std::size_t version;  // bytes of the 0x27 answer
        std::size_t clock;    // bytes of the 0x41 answer
        std::size_t packet;   // bytes of the 0x2F answer
    };
    const std::vector<Case> cases = {
        {"every answer", {}, 6, 6, 6},
        {"version only", {0x27}, 6, 16, 20},
        {"heart history only", {0x2F}, 16, 16, 6},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        RM830Bench bench(withFaults([&](RM830Faults& f) {
            f.cutAnswersTo = 6;
            f.cutAnswerCodes = c.codes;
        }));
        const Frames version = bench.ask(RM830Bench::command(0x27));
        ASSERT_EQ(version.size(), 1U);
        EXPECT_EQ(version[0].size(), c.version);
        EXPECT_EQ(hex(Bytes(version[0].begin(), version[0].begin() + 5)), "27 36 33 38 01");
        EXPECT_EQ(bench.ask(RM830Bench::command(0x41)).at(0).size(), c.clock);
        EXPECT_EQ(bench.ask(RM830Bench::command(0x2F, {0x00})).at(0).size(), c.packet);
    }
}

TEST(RM830Faults, LinkFaultsAndPacingApplyToItsFrames) {
    RM830Script script = withFaults([](RM830Faults&) {});
    script.notificationGap = milliseconds(20);
    RM830Bench bench(script);
    LabFaults faults;
    faults.splitNotificationsAt = 10;
    bench.bracelet->setFaults(faults);
    // 96 frames, 20 ms apart, each arriving as 10 and 6 bytes.
    bench.peripheral->writeValue(RM830Bench::command(0x43, {0x00}), bench.write, WriteType::WithoutResponse);
    EXPECT_EQ(bench.after(milliseconds(1000)).size(), 2U * 50U);
    const Frames rest = bench.after(milliseconds(1000));
    ASSERT_EQ(rest.size(), 2U * 46U);
    EXPECT_EQ(rest[0].size(), 10U);
    EXPECT_EQ(rest[1].size(), 6U);
    EXPECT_TRUE(bench.after(seconds(5)).empty());
}

}  // namespace
}  // namespace halvora::lab::test
