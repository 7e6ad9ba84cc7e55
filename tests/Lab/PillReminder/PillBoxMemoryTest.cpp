// What the virtual pill box keeps of the phone's writes: taken by memory(), put back by restore() on a box
// started from another script, and reported after each write that changed it.
#include <gtest/gtest.h>

#include "PillBoxBench.hpp"

namespace halvora::lab::test {
namespace {

// 2026-11-20: 07:00/1, 08:15/2, 12:30/3, 13:45/4, 18:00/5, then 20:10/1, 22:59/2; 2026-11-21: 19:19/2.
constexpr const char* kDayOneFirst = "AA 55 11 D4 00 00 07 35 74 38 01 41 E2 63 C3 6D A4 90 05 BD";
constexpr const char* kDayOneSecond = "AA 55 11 D4 00 00 07 35 74 A1 41 B7 62 FF FF FF FF FF FF 8A";
constexpr const char* kDayTwo = "AA 55 11 D4 00 00 01 35 75 9A 62 FF FF FF FF FF FF FF FF 84";
constexpr const char* kReadSchedule = "AA 55 02 D3 D5";

PillBoxScript factoryScript() {
    PillBoxScript script;
    script.schedule = {{boxTime("2026-01-05 09:00"), 3}};
    script.history = std::vector<PillBoxDose>{{boxTime("2026-01-04 09:00"), 9, 2, PillBoxDose::Status::OnTime}};
    return script;
}

TEST(PillBoxMemory, WrittenScheduleAndSettingsComeBackOnAnotherBox) {
    PillBoxBench written(factoryScript());
    for (const char* frame :
         {"AA 55 02 D8 DA", kDayTwo, kDayOneFirst, kDayOneSecond,  // clear, then 8 alarms
          "AA 55 04 C4 05 1E EB", "AA 55 03 D6 1E F7", "AA 55 03 D7 0A E4", "AA 55 02 D0 D2", "AA 55 02 D1 D3"}) {
        EXPECT_EQ(PillBoxBench::hex(written.ask(frame)), std::string(kBoxAck) + "\n") << frame;
    }
    const PillBoxMemory memory = written.box->memory();
    ASSERT_EQ(memory.schedule.size(), 8U);
    EXPECT_EQ(memory.zoneHours, 5);
    EXPECT_EQ(memory.zoneMinutes, 30);
    EXPECT_EQ(memory.alarmDuration, 30);
    EXPECT_EQ(memory.confirmationTime, 10);
    EXPECT_TRUE(memory.lastSync.has_value());
    ASSERT_TRUE(memory.history.has_value());
    EXPECT_TRUE(memory.history->empty());

    PillBoxBench restored(factoryScript());
    const auto scheduleBefore = PillBoxBench::hex(written.ask(kReadSchedule));
    restored.box->restore(memory);
    EXPECT_EQ(restored.box->memory(), memory);
    EXPECT_EQ(PillBoxBench::hex(restored.ask(kReadSchedule)), scheduleBefore) << "the same frames as the box written";
    EXPECT_EQ(PillBoxBench::hex(restored.ask("AA 55 02 CD CF")), "AA 55 04 CD 05 1E F4\n");
    EXPECT_EQ(PillBoxBench::hex(restored.ask("AA 55 02 D5 D7")), std::string(kBoxAck) + "\n")
        << "history stays cleared";
}

TEST(PillBoxMemory, MadeUpHistoryClearedStaysClearedAfterRestore) {
    PillBoxScript script;  // no list: the history is made up from the schedule
    script.clock = boxTime("2026-01-06 12:00");
    script.schedule = {{boxTime("2026-01-05 09:00"), 3}, {boxTime("2026-01-06 08:00"), 1}};
    PillBoxBench written(script);
    ASSERT_EQ(written.box->history().size(), 2U);
    written.ask("AA 55 02 D1 D3");
    const PillBoxMemory memory = written.box->memory();
    EXPECT_FALSE(memory.history.has_value());
    ASSERT_TRUE(memory.historyClearedAt.has_value());

    PillBoxBench restored(script);
    restored.box->restore(memory);
    EXPECT_TRUE(restored.box->history().empty());
}

TEST(PillBoxMemory, CallbackHearsEachChangingWriteOnce) {
    PillBoxBench bench(factoryScript());
    std::vector<PillBoxMemory> heard;
    bench.box->setMemoryCallback([&heard](const PillBoxMemory& memory) { heard.push_back(memory); });
    const std::vector<std::pair<const char*, std::size_t>> writes = {
        {"AA 55 02 CE D0", 0},                                               // battery read
        {kReadSchedule, 0},                                                  // schedule read
        {"AA 55 09 C2 1A 0B 14 06 08 1E 0F 3F", 0},                          // the clock is not kept
        {"AA 55 04 C4 0F 00 D7", 0},                                         // zone +15:00 refused
        {"AA 55 03 D6 1E F7", 1},                                            // alarm duration 30
        {"AA 55 03 D6 1E F7", 1},                                            // the same again: no change
        {"AA 55 11 D4 00 00 01 35 75 48 06 FF FF FF FF FF FF FF FF D6", 1},  // colour 6 refused
        {kDayTwo, 2},
        {"AA 55 02 D8 DA", 3},  // clear schedule
    };
    for (const auto& [frame, count] : writes) {
        bench.ask(frame);
        EXPECT_EQ(heard.size(), count) << frame;
    }
    ASSERT_EQ(heard.size(), 3U);
    EXPECT_EQ(heard[1].schedule.size(), 2U) << "the scripted alarm and the 19:19 one";
    EXPECT_TRUE(heard[2].schedule.empty());
    EXPECT_EQ(heard.back(), bench.box->memory());
}

}  // namespace
}  // namespace halvora::lab::test
