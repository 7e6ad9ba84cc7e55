// The Vital bracelet's scripted protocol faults: refusals, lost and cut answers, stray frames.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "VitalBench.hpp"

namespace halvora::lab::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(VitalFaults, RefusedCommandsAnswerBit7AndChangeNothing) {
    VitalScript script;
    script.faults.failCodes = {0x0B, 0x03, 0x23, 0x41};
    VitalBench bench(script);
    struct Case {
        Bytes command;
        std::uint8_t refusal;
    };
    const std::vector<Case> cases = {{VitalBench::frame(0x0B, {0x10, 0x27}), 0x8B},
                                     {VitalBench::frame(0x03, {0x81, 0x81, 0x80}), 0x83},
                                     {VitalBench::frame(0x41), 0xC1}};
    for (const auto& c : cases) {
        EXPECT_EQ(VitalBench::hex(bench.ask(c.command)), VitalBench::hex({VitalBench::frame(c.refusal)}));
    }
    EXPECT_EQ(bench.bracelet->settings().stepGoal, VitalSettings{}.stepGoal);
    EXPECT_FALSE(bench.bracelet->settings().parametersPending);
    // The alarm list is refused once it arrived whole.
    Bytes list(39, 0);
    list[0] = 0x23;
    list[1] = 1;
    list[5] = 0x07;
    list.push_back(0x23);
    list.push_back(0xFF);
    EXPECT_EQ(VitalBench::hex(bench.askInPieces(list)), VitalBench::hex({VitalBench::frame(0xA3)}));
    EXPECT_TRUE(bench.bracelet->alarms().empty());
    // Other commands still work.
    EXPECT_EQ(VitalBench::hex(bench.ask(VitalBench::frame(0x13))), VitalBench::hex({VitalBench::frame(0x13, {85})}));
}

TEST(VitalFaults, LostAnswersStillTakeEffect) {
    VitalScript script;
    script.faults.loseAnswersTo = {0x0B, 0x09};
    VitalBench bench(script);
    EXPECT_TRUE(bench.ask(VitalBench::frame(0x0B, {0x10, 0x27})).empty());
    EXPECT_EQ(bench.bracelet->settings().stepGoal, 10000U);
    EXPECT_EQ(VitalBench::hex(bench.ask(VitalBench::frame(0x4B))),
              VitalBench::hex({VitalBench::frame(0x4B, {0x10, 0x27})}));
    // The first real-time frame is lost; the stream still follows.
    EXPECT_TRUE(bench.ask(VitalBench::frame(0x09, {1})).empty());
    EXPECT_EQ(bench.after(seconds(3)).size(), 3U);
}

TEST(VitalFaults, AnswersAreCutShort) {
    VitalScript script;
    script.faults.cutAnswersTo = 4;
    script.faults.cutAnswerCodes = {0x22, 0xFE};
    script.sos = {seconds(10)};
    VitalBench bench(script);
    EXPECT_EQ(VitalBench::hex(bench.ask(VitalBench::frame(0x22))), VitalBench::hex({{0x22, 0xC8, 0x4A, 0x20}}));
    EXPECT_EQ(bench.ask(VitalBench::frame(0x13)).at(0).size(), 16U);  // not among the codes cut
    EXPECT_EQ(VitalBench::hex(bench.after(seconds(20))), VitalBench::hex({{0xFE, 0, 0, 0}}));
}

TEST(VitalFaults, StrayFramesFollowTheSeedWhileLinked) {
    auto strays = [](std::uint64_t seed) {
        VitalScript script;
        script.faults.strayEvery = milliseconds(500);
        VitalBench bench(script, seed);
        bench.log->take();
        return bench.after(seconds(10));
    };
    const Frames first = strays(7);
    ASSERT_EQ(first.size(), 20U);
    std::set<std::uint8_t> codes;
    for (const auto& frame : first) {
        ASSERT_EQ(frame.size(), 16U);
        codes.insert(frame[0]);
    }
    EXPECT_GT(codes.size(), 3U);
    EXPECT_EQ(VitalBench::hex(strays(7)), VitalBench::hex(first));
    EXPECT_NE(VitalBench::hex(strays(8)), VitalBench::hex(first));

    VitalScript script;
    script.faults.strayEvery = milliseconds(500);
    VitalBench bench(script);
    bench.lab.central->cancelPeripheralConnection(bench.peripheral);
    bench.lab.settle();
    bench.log->take();
    EXPECT_TRUE(bench.after(seconds(5)).empty());
}

}  // namespace
}  // namespace halvora::lab::test
