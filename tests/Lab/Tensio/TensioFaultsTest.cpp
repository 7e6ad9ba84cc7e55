// The blood-pressure bracelet's protocol faults, and the lab's link faults on its frames, as the phone sees
// them.
#include <gtest/gtest.h>

#include <functional>
#include <set>

#include "TensioBench.hpp"

namespace halvora::lab::test {
namespace {

using halvora::test::bytes;
using halvora::test::hex;
using std::chrono::milliseconds;
using std::chrono::seconds;

const Bytes kStart = TensioBench::command(0x00, 0x00);
const Bytes kReadClock = TensioBench::command(0x03, 0x00);
const Bytes kClearMemory = TensioBench::command(0x02, 0x00);
const Bytes kBasicInfo = TensioBench::command(0x04, 0x00);

TensioScript withFaults(const std::function<void(TensioFaults&)>& change) {
    TensioScript script;
    script.clock = tensioTime("2026-11-20 08:30");
    script.readings = {{tensioTime("2026-11-19 21:10"), 142, 91, 73, 1}};
    script.inflateTo = 30;
    change(script.faults);
    return script;
}

TEST(TensioFaults, RefusedCommandsAnswerTheirErrorAndChangeNothing) {
    TensioBench bench(withFaults([](TensioFaults& f) {
        f.refusals = {{TensioCommand::ClearMemory, {TensioError::Kind::Device, 2}},
                      {TensioCommand::SetClock, {TensioError::Kind::Frame, 3}},
                      {TensioCommand::StartMeasurement, {TensioError::Kind::Device, 1}},
                      {TensioCommand::ReadMemory, {TensioError::Kind::Measurement, 6}}};
    }));
    const std::vector<std::pair<Bytes, const char*>> cases = {
        {kClearMemory, "5A 00 02 52 02 52\n"},
        {TensioBench::setting(0x20, {19, 1, 22, 10, 5, 9}), "5A 00 02 51 03 50\n"},
        {kStart, "5A 00 02 52 01 51\n"},
        {TensioBench::command(0x01, 0x00), "5A 00 02 50 06 54\n"},
        {kBasicInfo, "5A 00 06 50 00 00 00 01 00 57\n"},  // others still work
    };
    for (const auto& [command, answer] : cases) EXPECT_EQ(TensioBench::hex(bench.ask(command)), answer) << hex(command);
    EXPECT_TRUE(bench.after(seconds(5)).empty());  // no measurement started
    EXPECT_EQ(bench.bracelet->memory().size(), 1U);
    EXPECT_FALSE(bench.bracelet->settings().clockSetByPhone);
    EXPECT_EQ(bench.bracelet->measurementsStarted(), 0);
}

TEST(TensioFaults, AnswersAreLostByCommandOrByNumber) {
    struct Case {
        const char* what;
        TensioScript script;
        std::vector<std::size_t> frames;  // answers to: clock, clear, clock, basic information
    };
    const std::vector<Case> cases = {
        {"by command",
         withFaults([](TensioFaults& f) {
             f.loseAnswersTo = {TensioCommand::ReadClock, TensioCommand::ClearMemory};
         }),
         {0, 0, 0, 1}},
        {"the third command", withFaults([](TensioFaults& f) { f.loseAnswerToCommand = 3; }), {1, 1, 0, 1}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        TensioBench bench(c.script);
        EXPECT_EQ(bench.ask(kReadClock).size(), c.frames[0]);
        EXPECT_EQ(bench.ask(kClearMemory).size(), c.frames[1]);
        EXPECT_EQ(bench.ask(kReadClock).size(), c.frames[2]);
        EXPECT_EQ(bench.ask(kBasicInfo).size(), c.frames[3]);
        EXPECT_TRUE(bench.bracelet->memory().empty());  // heard: only the answer is lost
    }
    // A measurement whose acknowledgement is lost still streams its pressures and result.
    TensioBench bench(withFaults([](TensioFaults& f) { f.loseAnswersTo = {TensioCommand::StartMeasurement}; }));
    EXPECT_TRUE(bench.ask(kStart).empty());
    const Frames frames = bench.after(seconds(5));
    ASSERT_EQ(frames.size(), 4U);  // 10, 20, 30 (the top is above the default bottom), the result
    EXPECT_EQ(frames.back().size(), 14U);
}

TEST(TensioFaults, SplitNotificationsArriveInTwoParts) {
    TensioBench bench(withFaults([](TensioFaults&) {}));
    LabFaults faults;
    faults.splitNotificationsAt = 8;
    bench.bracelet->setFaults(faults);
    const Frames parts = bench.ask(TensioBench::command(0x06, 0x00));
    ASSERT_EQ(parts.size(), 3U);
    EXPECT_EQ(hex(parts[0]), kAck);  // six bytes: not split
    EXPECT_EQ(hex(parts[1]), "5A 00 0A 1A 0B 13 15 0A");
    EXPECT_EQ(hex(parts[2]), "00 8E 5B 49 01 8A");
}

TEST(TensioFaults, StrayFramesComeUnaskedAndFollowTheSeed) {
    auto strays = [](std::uint64_t seed) {
        TensioBench bench(withFaults([](TensioFaults& f) { f.strayEvery = milliseconds(500); }), seed);
        Frames frames = bench.after(seconds(10));
        // They stop with the link, and when the script no longer asks for them.
        bench.lab.central->cancelPeripheralConnection(bench.peripheral);
        bench.lab.settle();
        EXPECT_TRUE(bench.after(seconds(5)).empty());
        bench.connect();
        bench.bracelet->setScript(withFaults([](TensioFaults&) {}));
        bench.startNotifications();
        EXPECT_TRUE(bench.after(seconds(5)).empty());
        return frames;
    };
    const Frames frames = strays(3);
    ASSERT_EQ(frames.size(), 20U);
    std::set<std::pair<std::size_t, std::uint8_t>> kinds;  // length and byte 3
    for (const auto& frame : frames) {
        EXPECT_TRUE(TensioBench::wellFormed(frame)) << hex(frame);
        kinds.insert({frame.size(), frame.size() == 6 ? frame[3] : std::uint8_t{0}});
    }
    EXPECT_GE(kinds.size(), 4U);
    EXPECT_EQ(strays(3), frames);
    EXPECT_NE(strays(4), frames);
}

}  // namespace
}  // namespace halvora::lab::test
