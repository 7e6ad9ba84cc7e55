// The RM830's stored days and heart-rate history, as the phone sees them on the link.
#include <gtest/gtest.h>

#include <numeric>

#include "RM830Bench.hpp"
#include "lab/Devices/RM830/RM830History.hpp"

namespace halvora::lab::test {
namespace {

using halvora::test::bytes;
using halvora::test::hex;
using std::chrono::minutes;

RM830Script clockedAt(const char* time) {
    RM830Script script;
    script.clock = timeAt(time);
    return script;
}

TEST(RM830History, StoredDayGoesOutAsNinetySixQuarterFrames) {
    RM830Script script = clockedAt("2026-11-20 10:00");
    script.days = {{1,
                    {RM830Quarter::activity(32, 1234, 4936, 86),
                     RM830Quarter::sleep(4, {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08})}}};
    RM830Bench bench(script);

    const Frames frames = bench.ask("43 01 00 00 00 00 00 00 00 00 00 00 00 00 00 44");
    ASSERT_EQ(frames.size(), 96U);
    for (std::size_t q = 0; q < frames.size(); ++q) {
        // 43 F0, then 2026-11-19 in BCD, then the quarter's index in binary.
        ASSERT_EQ(hex(Bytes(frames[q].begin(), frames[q].begin() + 6)),
                  hex({0x43, 0xF0, 0x26, 0x11, 0x19, static_cast<std::uint8_t>(q)}));
        EXPECT_TRUE(RM830Bench::checksumHolds(frames[q])) << hex(frames[q]);
    }
    // 08:00 (index 32): calories 4936, steps 1234 and distance 86, each little-endian.
    EXPECT_EQ(hex(frames[32]), "43 F0 26 11 19 20 00 48 13 D2 04 56 00 00 00 2A");
    // 01:00 asleep, movement counts summing to 36.
    EXPECT_EQ(hex(frames[4]), "43 F0 26 11 19 04 FF 01 02 03 04 05 06 07 08 AA");
    // Quarters not scripted are activity with zeros, up to 23:45 (index 95).
    EXPECT_EQ(hex(frames[0]), "43 F0 26 11 19 00 00 00 00 00 00 00 00 00 00 83");
    EXPECT_EQ(hex(frames[95]), "43 F0 26 11 19 5F 00 00 00 00 00 00 00 00 00 E2");

    // Nothing stored today or five days ago: one frame 43 FF.
    for (const char* ask :
         {"43 00 00 00 00 00 00 00 00 00 00 00 00 00 00 43", "43 05 00 00 00 00 00 00 00 00 00 00 00 00 00 48"}) {
        EXPECT_EQ(RM830Bench::hex(bench.ask(ask)), "43 FF 00 00 00 00 00 00 00 00 00 00 00 00 00 42\n") << ask;
    }
}

TEST(RM830History, DayDatesCountBackFromTheClock) {
    struct Case {
        const char* clock;
        int daysAgo;
        const char* date;  // BCD bytes 2 to 4
    };
    const std::vector<Case> cases = {
        {"2026-03-01 08:00", 1, "26 02 28"}, {"2024-03-01 08:00", 1, "24 02 29"},  {"2027-01-01 00:10", 1, "26 12 31"},
        {"2026-11-20 23:58", 0, "26 11 20"}, {"2026-11-20 12:00", 30, "26 10 21"},
    };
    for (const auto& c : cases) {
        RM830Script script = clockedAt(c.clock);
        script.days = {{c.daysAgo, {}}};
        RM830Bench bench(script);
        const Frames frames = bench.ask(RM830Bench::command(0x43, {static_cast<std::uint8_t>(c.daysAgo)}));
        ASSERT_EQ(frames.size(), 96U) << c.clock;
        EXPECT_EQ(hex(Bytes(frames[0].begin() + 2, frames[0].begin() + 5)), c.date) << c.clock;
        EXPECT_EQ(hex(Bytes(frames[95].begin() + 2, frames[95].begin() + 5)), c.date) << c.clock;
    }
}

TEST(RM830History, DatesWithDataListTheStoredDays) {
    struct Case {
        const char* what;
        std::vector<int> scripted;
        int seeded;
        const char* answer;
    };
    const std::vector<Case> cases = {
        {"none", {}, 0, "46 00 00 00 00 00 00 00 00 00 00 00 00 00 00 46"},
        {"scripted and seeded", {3, 1}, 2, "46 03 00 01 03 00 00 00 00 00 00 00 00 00 00 4D"},
        {"more than fit", {}, 20, "46 14 00 01 02 03 04 05 06 07 08 09 0A 0B 0C A8"},
    };
    for (const auto& c : cases) {
        RM830Script script = clockedAt("2026-11-20 10:00");
        for (int d : c.scripted) script.days.push_back({d, {}});
        script.seededDays = c.seeded;
        RM830Bench bench(script);
        EXPECT_EQ(RM830Bench::hex(bench.ask(RM830Bench::command(0x46))), hex(bytes(c.answer)) + "\n") << c.what;
    }
}

int movementSum(const RM830Quarter& quarter) {
    return std::accumulate(quarter.movement.begin(), quarter.movement.end(), 0);
}

TEST(RM830History, SeededDaysArePlausibleAndRepeatable) {
    const auto date = timeAt("2026-11-19 00:00");
    const RM830Day day = RM830History::seededDay(1, date, 7);
    EXPECT_EQ(day, RM830History::seededDay(1, timeAt("2026-11-19 17:45"), 7));  // the time of day does not matter
    EXPECT_NE(day, RM830History::seededDay(1, date, 8));
    EXPECT_NE(day.quarters, RM830History::seededDay(2, timeAt("2026-11-18 00:00"), 7).quarters);

    int calm = 0;
    int restless = 0;
    int steps = 0;
    for (const auto& q : RM830History::quartersOf(day)) {
        const bool night = q.index < 28 || q.index >= 92;
        ASSERT_EQ(q.kind == RM830Quarter::Kind::Sleep, night) << q.index;
        if (night) {
            const int sum = movementSum(q);
            EXPECT_TRUE(sum <= 24 || sum >= 32) << q.index << ": " << sum;
            (sum > 31 ? restless : calm) += 1;
        } else {
            steps += q.steps;
            EXPECT_LE(q.distance, q.steps);
            EXPECT_EQ(q.calories > 0, q.steps > 0);
        }
    }
    EXPECT_GT(calm, 3);
    EXPECT_GT(restless, 3);
    EXPECT_GT(steps, 3000);
    EXPECT_LT(steps, 40000);

    // Today so far is the start of the same day.
    const RM830Day today = RM830History::seededDay(1, date, 7, 40);
    ASSERT_FALSE(today.quarters.empty());
    EXPECT_LE(today.quarters.back().index, 40);
    EXPECT_TRUE(std::equal(today.quarters.begin(), today.quarters.end(), day.quarters.begin()));
}

TEST(RM830History, SeededDaysOnTheLinkFollowTheSeed) {
    auto download = [](std::uint64_t seed) {
        RM830Script script = clockedAt("2026-11-20 10:00");
        script.seededDays = 2;
        script.seed = seed;
        RM830Bench bench(script);
        Frames all = bench.ask(RM830Bench::command(0x43, {0x00}));
        const Frames yesterday = bench.ask(RM830Bench::command(0x43, {0x01}));
        all.insert(all.end(), yesterday.begin(), yesterday.end());
        EXPECT_EQ(RM830Bench::hex(bench.ask(RM830Bench::command(0x43, {0x02}))),
                  "43 FF 00 00 00 00 00 00 00 00 00 00 00 00 00 42\n");
        return all;
    };
    const Frames frames = download(9);
    ASSERT_EQ(frames.size(), 192U);
    EXPECT_EQ(frames, download(9));
    EXPECT_NE(frames, download(10));
    // Today (at 10:00) the quarters after the clock's are still empty; the night's are sleep.
    for (std::size_t q = 0; q < 96; ++q) {
        if (q < 28) {
            EXPECT_EQ(frames[q][6], 0xFF) << q;
        }
        if (q > 40) {
            EXPECT_EQ(hex(Bytes(frames[q].begin() + 6, frames[q].end() - 1)), hex(Bytes(9, 0))) << q;
        }
    }
    EXPECT_EQ(hex(Bytes(frames[96].begin(), frames[96].begin() + 5)), "43 F0 26 11 19");
}

RM830HeartPacket packet(const char* start, int first, int step) {
    RM830HeartPacket p;
    p.start = timeAt(start);
    for (std::size_t i = 0; i < p.readings.size(); ++i) p.readings[i] = static_cast<std::uint8_t>(first + step * i);
    return p;
}

TEST(RM830History, HeartRatePacketsSayWhetherMoreFollow) {
    RM830Script script = clockedAt("2026-11-20 10:00");
    script.heartHistory = {packet("2026-11-20 09:05", 60, 1), packet("2026-11-20 09:35", 80, 0),
                           packet("2026-11-20 09:58", 70, 0)};
    RM830Bench bench(script);
    const Frames first = bench.ask("2F 00 00 00 00 00 00 00 00 00 00 00 00 00 00 2F");
    EXPECT_EQ(RM830Bench::hex(first), "2F 64 26 11 20 09 05 3C 3D 3E 3F 40 41 42 43 44 45 46 47 0A\n");
    const std::vector<std::uint8_t> more = {0x64, 0xFF};
    for (std::uint8_t n = 1; n <= 2; ++n) {
        const Frames answer = bench.ask(RM830Bench::command(0x2F, {n}));
        ASSERT_EQ(answer.size(), 1U);
        ASSERT_EQ(answer[0].size(), 20U);
        EXPECT_EQ(answer[0][1], more[n - 1]) << int(n);
        EXPECT_TRUE(RM830Bench::checksumHolds(answer[0]));
    }
    // Past the last, and with no history at all: the last-packet mark, the clock's time, zero readings.
    const std::string none = "2F FF 26 11 20 10 00 00 00 00 00 00 00 00 00 00 00 00 00 95\n";
    EXPECT_EQ(RM830Bench::hex(bench.ask(RM830Bench::command(0x2F, {0x03}))), none);
    RM830Bench empty(clockedAt("2026-11-20 10:00"));
    EXPECT_EQ(RM830Bench::hex(empty.ask(RM830Bench::command(0x2F, {0x00}))), none);
}

TEST(RM830History, SeededPacketsEndAtTheClockWhenPacketZeroIsAsked) {
    RM830Script script = clockedAt("2026-11-20 10:00");
    script.seededHeartPackets = 4;
    RM830Bench bench(script);
    auto startOf = [](const Bytes& frame) { return hex(Bytes(frame.begin() + 2, frame.begin() + 7)); };

    std::vector<std::string> starts;
    for (std::uint8_t n = 0; n < 4; ++n) {
        const Frames answer = bench.ask(RM830Bench::command(0x2F, {n}));
        ASSERT_EQ(answer.size(), 1U);
        EXPECT_EQ(answer[0][1], n < 3 ? 0x64 : 0xFF);
        starts.push_back(startOf(answer[0]));
        for (std::size_t i = 7; i < 19; ++i) {
            EXPECT_GE(answer[0][i], 40);
            EXPECT_LE(answer[0][i], 100);
        }
    }
    EXPECT_EQ(starts,
              (std::vector<std::string>{"26 11 20 08 28", "26 11 20 08 58", "26 11 20 09 28", "26 11 20 09 58"}));
    // Half an hour on, packet 1 still belongs to the download under way; packet 0 starts a new one.
    bench.after(minutes(31));
    EXPECT_EQ(startOf(bench.ask(RM830Bench::command(0x2F, {0x01})).at(0)), "26 11 20 08 58");
    EXPECT_EQ(startOf(bench.ask(RM830Bench::command(0x2F, {0x00})).at(0)), "26 11 20 08 59");
}

}  // namespace
}  // namespace halvora::lab::test
