// The pill box's taken/missed history as the phone reads it: replies cut into notifications, entries decoded
// with the phone's own arithmetic.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <tuple>

#include "PillBoxBench.hpp"
#include "lab/Devices/PillReminder/PillBoxHistory.hpp"

namespace halvora::lab::test {
namespace {

constexpr const char* kReadHistory = "AA 55 02 D5 D7";

/// One entry as the phone reads it: the day, the time taken, the status and the planned time.
struct Entry {
    int year, month, day, takenHour, takenMinute, status, plannedHour, plannedMinute;
};

std::vector<Entry> decode(const Frames& replies) {
    std::vector<Entry> entries;
    for (const auto& r : replies) {
        if (r[3] != 0xD5) continue;
        for (std::size_t at = 5; at + 6 < r.size(); at += 6) {
            const auto* e = &r[at];
            entries.push_back({2000 + (e[0] & 15) * 4 + (e[1] >> 6), (e[1] >> 2) & 15, (e[1] & 3) * 8 + (e[2] >> 5),
                               e[2] & 31, e[3] >> 2, e[3] & 3, e[4], e[5]});
        }
    }
    return entries;
}

/// Twelve alarms before 2026-11-21 12:00 (ten on the 20th, two on the 21st) and one after.
PillBoxScript scheduled(std::uint64_t seed) {
    PillBoxScript script;
    script.clock = boxTime("2026-11-21 12:00");
    script.historySeed = seed;
    for (int hour = 6; hour < 16; ++hour)
        script.schedule.push_back({boxTime("2026-11-20 06:00").plusSeconds((hour - 6) * 3600 + 5 * 60), 1 + hour % 5});
    script.schedule.push_back({boxTime("2026-11-21 08:00"), 2});
    script.schedule.push_back({boxTime("2026-11-21 11:30"), 3});
    script.schedule.push_back({boxTime("2026-11-21 20:00"), 4});
    return script;
}

Frames readHistory(std::uint64_t seed) {
    PillBoxBench bench(scheduled(seed));
    return bench.ask(kReadHistory);
}

TEST(PillBoxHistory, GeneratedHistoryIsDeterministicPerSeed) {
    const Frames first = readHistory(7);
    EXPECT_EQ(PillBoxBench::hex(readHistory(7)), PillBoxBench::hex(first));
    EXPECT_NE(PillBoxBench::hex(readHistory(8)), PillBoxBench::hex(first));
}

TEST(PillBoxHistory, EntriesDecodeToScheduledAlarmsThatHavePassed) {
    const PillBoxScript script = scheduled(7);
    const Frames notifications = readHistory(7);
    for (const auto& n : notifications) EXPECT_LE(n.size(), 20U);
    const Frames replies = PillBoxBench::replies(notifications);
    ASSERT_FALSE(replies.empty());
    EXPECT_EQ(halvora::test::hex(replies.back()), kBoxAck);
    for (const auto& r : replies) {
        EXPECT_TRUE(r.size() <= 20 || r.size() > 40) << "a reply the phone cannot gather: " << halvora::test::hex(r);
    }
    // 12 doses: one reply of eight (54 bytes), then two of two.
    ASSERT_EQ(replies.size(), 4U);
    EXPECT_EQ(replies[0].size(), 54U);

    std::set<std::tuple<int, int, int, int, int>> planned;
    for (const auto& alarm : script.schedule) {
        const auto& t = alarm.time;
        if (t <= *script.clock) planned.insert({t.year, t.month, t.day, t.hour, t.minute});
    }
    const auto entries = decode(replies);
    ASSERT_EQ(entries.size(), planned.size());
    std::set<int> statuses;
    for (const auto& e : entries) {
        EXPECT_TRUE(planned.erase({e.year, e.month, e.day, e.plannedHour, e.plannedMinute}))
            << e.year << "-" << e.month << "-" << e.day << " " << e.plannedHour << ":" << e.plannedMinute;
        statuses.insert(e.status);
        const int after = e.takenHour * 60 + e.takenMinute - (e.plannedHour * 60 + e.plannedMinute);
        switch (e.status) {
            case 0:
                EXPECT_TRUE(after >= 0 && after <= PillBoxHistory::kOnTimeMinutes) << after;
                break;
            case 1:
                EXPECT_TRUE(after >= PillBoxHistory::kLateMinMinutes && after <= PillBoxHistory::kLateMaxMinutes)
                    << after;
                break;
            case 2:
                EXPECT_EQ(e.takenHour * 60 + e.takenMinute, 0);
                break;
            default:
                ADD_FAILURE() << "status " << e.status;
        }
    }
    EXPECT_TRUE(statuses.contains(0));
}

TEST(PillBoxHistory, ScriptedEntriesAreSentAsGivenAndClearedByD1) {
    PillBoxScript script;
    script.history = std::vector<PillBoxDose>{
        {boxTime("2026-11-20 08:00"), 8, 3, PillBoxDose::Status::OnTime},
        {boxTime("2063-12-31 23:59"), 0, 0, PillBoxDose::Status::Missed},
        {boxTime("2024-02-29 19:19"), 21, 47, PillBoxDose::Status::Skipped},
    };
    PillBoxBench bench(script);
    // Three entries: a reply of two, then one of one, each in a single notification.
    EXPECT_EQ(PillBoxBench::hex(bench.ask(kReadHistory)),
              "AA 55 0F D5 02 06 AE 88 0C 08 00 0F F3 E0 02 17 3B 6C\n"
              "AA 55 09 D5 01 06 0B B5 BF 13 13 8A\n" +
                  std::string(kBoxAck) + "\n");
    EXPECT_EQ(PillBoxBench::hex(bench.ask("AA 55 02 D1 D3")), std::string(kBoxAck) + "\n");
    EXPECT_EQ(PillBoxBench::hex(bench.ask(kReadHistory)), std::string(kBoxAck) + "\n");
}

TEST(PillBoxHistory, ClearingForgetsTheDosesMadeUpSoFar) {
    PillBoxBench bench(scheduled(3));
    EXPECT_EQ(bench.box->history().size(), 12U);
    bench.ask("AA 55 02 D1 D3");
    EXPECT_TRUE(bench.box->history().empty());
    bench.lab.executor->advance(std::chrono::hours(9));  // past 20:00
    EXPECT_EQ(bench.box->history().size(), 1U);
}

}  // namespace
}  // namespace halvora::lab::test
