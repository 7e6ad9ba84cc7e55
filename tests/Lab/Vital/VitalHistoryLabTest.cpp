// The virtual Vital bracelet's stored history, read from the phone's side: the pages it sends for every
// history request, how they are split, and what a generated history holds.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "VitalBench.hpp"

namespace halvora::lab::test {
namespace {

using halvora::test::bytes;

constexpr std::size_t kMaxNotification = 244;
constexpr std::uint8_t kEnd = 0xFF;
const BraceletTime kClock{2026, 11, 20, 12, 0, 0};

BraceletTime at(int day, int hour, int minute, int second = 0) {
    return {2026, 11, day, hour, minute, second};
}

VitalScript clockedScript() {
    VitalScript script;
    script.clock = kClock;
    return script;
}

/// The bytes of a whole transfer: the notifications' bytes after byte 0, joined. Checks that every
/// notification answers `code`, fits one notification and holds whole slots of `stride`.
Bytes joined(const Frames& frames, std::uint8_t code, std::size_t stride) {
    Bytes out;
    for (const auto& f : frames) {
        EXPECT_FALSE(f.empty());
        if (f.empty()) continue;
        EXPECT_EQ(f[0], code) << halvora::test::hex(f);
        EXPECT_LE(f.size(), kMaxNotification);
        if (stride) {
            EXPECT_EQ((f.size() - 1) % stride, 0U) << halvora::test::hex(f);
        }
        out.insert(out.end(), f.begin() + 1, f.end());
    }
    return out;
}

/// The records of a transfer of fixed `stride`, walked as the phone walks them; the end mark must be the
/// last slot.
std::vector<Bytes> records(const Frames& frames, std::uint8_t code, std::size_t stride) {
    const Bytes all = joined(frames, code, stride);
    std::vector<Bytes> out;
    for (std::size_t at = 0; at + stride <= all.size(); at += stride) {
        if (all[at] == kEnd) {
            EXPECT_EQ(at + stride, all.size()) << "records after the end mark";
            return out;
        }
        out.emplace_back(all.begin() + static_cast<std::ptrdiff_t>(at),
                         all.begin() + static_cast<std::ptrdiff_t>(at + stride));
    }
    ADD_FAILURE() << "no end mark";
    return out;
}

Bytes endSlot(std::size_t stride) {
    Bytes slot(stride, 0);
    slot[0] = kEnd;
    return slot;
}

int bcd(std::uint8_t b) {
    return (b >> 4) * 10 + (b & 0x0F);
}

/// The BCD date and time at `at` of a record.
BraceletTime dateIn(const Bytes& record, std::size_t at) {
    return {2000 + bcd(record[at]), bcd(record[at + 1]), bcd(record[at + 2]),
            bcd(record[at + 3]),    bcd(record[at + 4]), bcd(record[at + 5])};
}

VitalHistory scriptedHistory() {
    VitalHistory h;
    h.totals = {{at(19, 0, 0), 8421, 312, 632, 33684, 25}, {at(20, 0, 0), 1000, 20, 75, 4000, 0}};
    h.steps = {{at(20, 8, 10), 612, 2448, 46, {50, 60, 70, 80, 90, 100, 110, 52, 0, 0}}};
    h.automaticHeartRates = {{at(20, 0, 0), {58, 57, 0, 60, 61, 62, 63, 64, 65, 66, 67, 68, 69, 70, 71}}};
    h.heartRates = {{at(20, 9, 41, 7), 76}};
    h.hrv = {{at(20, 8, 30), 48, 40, 66, 30, 121, 79}};
    h.sports = {{at(19, 18, 20), 128, 4200, 310, 3360, 2160, 2400, 3}};
    h.bloodOxygen = {{at(20, 10, 5), 97}};
    h.automaticBloodOxygen = {{at(20, 3, 0), 95}};
    h.temperatures = {{at(20, 11, 15, 30), 366}};
    h.automaticTemperatures = {{at(20, 2, 0), 359}};
    h.sleep = {{at(19, 23, 0), {2, 2, 1, 1, 1, 0, 2}}};
    return h;
}

struct Kind {
    const char* what;
    std::uint8_t code;
    std::size_t stride;
    const char* records;  // the records the phone must read, as written by hand
};

TEST(VitalHistoryLab, ScriptedRecordsComeBackByteExactWithTheEndMark) {
    const Kind kinds[] = {
        {"daily totals", 0x51, 27,
         "00 261119 E5200000 38010000 78020000 94830000 0000 19000000 00"
         "01 261120 E8030000 14000000 4B000000 A00F0000 0000 00000000 00"},
        {"detailed steps", 0x52, 25, "0000 261120081000 6402 9009 2E00 323C46505A646E340000 00"},
        {"automatic heart rate", 0x54, 24, "0000 261120000000 3A39003C3D3E3F40414243444546 47 00"},
        {"spot heart rate", 0x55, 10, "0000 261120094107 4C 00"},
        {"HRV", 0x56, 15, "0000 261120083000 30 28 42 1E 79 4F 00"},
        {"sport", 0x5C, 25, "0000 261119182000 80 6810 3601 200D 70080000 60090000 03 00"},
        {"blood oxygen", 0x60, 10, "0000 261120100500 61 00"},
        {"automatic blood oxygen", 0x66, 10, "0000 261120030000 5F 00"},
        {"temperature", 0x62, 11, "0000 261120111530 6E01 00"},
        {"automatic temperature", 0x65, 11, "0000 261120020000 6701 00"},
    };
    VitalScript script = clockedScript();
    script.history.records = scriptedHistory();
    VitalBench bench(script);
    for (const auto& kind : kinds) {
        Bytes expected = bytes(kind.records);
        const Bytes end = endSlot(kind.stride);
        expected.insert(expected.end(), end.begin(), end.end());
        const Frames answer = bench.ask(VitalBench::frame(kind.code));
        EXPECT_EQ(halvora::test::hex(joined(answer, kind.code, kind.stride)), halvora::test::hex(expected))
            << kind.what;
    }
    // Sleep: one record per notification, its minutes from byte 11, then 53 FF FF.
    EXPECT_EQ(VitalBench::hex(bench.ask(VitalBench::frame(0x53))),
              VitalBench::hex({bytes("53 0000 261119230000 07 00 02020101010002"), bytes("53 FF FF")}));
}

Frames askSpotHeartRates(std::uint64_t seed, int count) {
    VitalScript script = clockedScript();
    for (int i = 0; i < count; ++i) {
        script.history.records.heartRates.push_back(
            {kClock.plusSeconds(-3600 + i * 10), static_cast<std::uint32_t>(60 + i % 40)});
    }
    VitalBench bench(script, seed);
    return bench.ask(VitalBench::frame(0x55));
}

TEST(VitalHistoryLab, SplitFollowsTheSeedButTheJoinedBytesDoNot) {
    std::set<std::vector<std::size_t>> splits;
    std::optional<Bytes> first;
    for (std::uint64_t seed = 1; seed <= 4; ++seed) {
        const Frames answer = askSpotHeartRates(seed, 40);
        EXPECT_GE(answer.size(), 2U);  // 40 records do not fit one notification
        std::vector<std::size_t> sizes;
        for (const auto& f : answer) sizes.push_back(f.size());
        splits.insert(sizes);
        const Bytes all = joined(answer, 0x55, 10);
        if (!first) first = all;
        EXPECT_EQ(halvora::test::hex(all), halvora::test::hex(*first)) << "seed " << seed;
        EXPECT_EQ(records(answer, 0x55, 10).size(), 40U);
    }
    EXPECT_GT(splits.size(), 1U) << "every seed split the transfer alike";
}

TEST(VitalHistoryLab, RecordNumbersNeverReadAsTheEndMark) {
    const auto walked = records(askSpotHeartRates(1, 300), 0x55, 10);
    ASSERT_EQ(walked.size(), 300U);
    unsigned previous = 0;
    for (std::size_t i = 0; i < walked.size(); ++i) {
        const unsigned number = walked[i][0] | walked[i][1] << 8;
        if (i > 0) {
            EXPECT_GT(number, previous);
        }
        previous = number;
    }
}

struct Plausible {
    const char* what;
    std::uint8_t code;
    std::size_t stride;
    std::size_t valueAt;
    std::size_t valueBytes;
    unsigned low;
    unsigned high;
};

TEST(VitalHistoryLab, GeneratedHistoryIsPlausibleAndRepeatsWithItsSeed) {
    const Plausible kinds[] = {
        {"spot heart rate", 0x55, 10, 8, 1, 55, 110},        {"blood oxygen", 0x60, 10, 8, 1, 94, 99},
        {"automatic blood oxygen", 0x66, 10, 8, 1, 94, 99},  {"temperature", 0x62, 11, 8, 2, 358, 372},
        {"automatic temperature", 0x65, 11, 8, 2, 358, 372}, {"HRV: systolic", 0x56, 15, 12, 1, 90, 140},
        {"detailed steps", 0x52, 25, 8, 2, 1, 1300},         {"sport heart rate", 0x5C, 25, 8, 1, 90, 150},
    };
    VitalScript script = clockedScript();
    script.history.days = 7;
    script.history.seed = 5;
    VitalBench bench(script, 1);
    VitalBench again(script, 9);  // another lab seed splits differently, the history stays the same
    script.history.seed = 6;
    VitalBench other(script, 1);
    const BraceletTime firstDay = at(14, 0, 0);
    bool differs = false;
    for (const auto& kind : kinds) {
        const auto walked = records(bench.ask(VitalBench::frame(kind.code)), kind.code, kind.stride);
        EXPECT_FALSE(walked.empty()) << kind.what;
        for (const auto& r : walked) {
            const BraceletTime t = dateIn(r, 2);
            EXPECT_GE(t, firstDay) << kind.what;
            EXPECT_LE(t, kClock) << kind.what;
            const unsigned v = kind.valueBytes == 1 ? r[kind.valueAt] : (r[kind.valueAt] | r[kind.valueAt + 1] << 8);
            EXPECT_GE(v, kind.low) << kind.what << " " << halvora::test::hex(r);
            EXPECT_LE(v, kind.high) << kind.what << " " << halvora::test::hex(r);
        }
        const auto repeated = records(again.ask(VitalBench::frame(kind.code)), kind.code, kind.stride);
        EXPECT_EQ(walked, repeated) << kind.what;
        differs |= walked != records(other.ask(VitalBench::frame(kind.code)), kind.code, kind.stride);
    }
    EXPECT_TRUE(differs) << "another seed gave the same history";

    // Seven days of totals, today's last; fifteen automatic heart rates per record, asleep or awake.
    const auto totals = records(bench.ask(VitalBench::frame(0x51)), 0x51, 27);
    ASSERT_EQ(totals.size(), 7U);
    EXPECT_EQ(bcd(totals.back()[3]), 20);
    for (const auto& r : records(bench.ask(VitalBench::frame(0x54)), 0x54, 24)) {
        for (std::size_t i = 8; i < 23; ++i) {
            if (r[i] != 0) {
                EXPECT_TRUE(r[i] >= 55 && r[i] <= 110) << halvora::test::hex(r);
            }
        }
    }
    // A night in sleep notifications: deep and light minutes only, the count byte matching.
    const Frames sleep = bench.ask(VitalBench::frame(0x53));
    ASSERT_GE(sleep.size(), 2U);
    EXPECT_EQ(halvora::test::hex(sleep.back()), "53 FF FF");
    for (std::size_t n = 0; n + 1 < sleep.size(); ++n) {
        const auto& f = sleep[n];
        ASSERT_GT(f.size(), 11U);
        EXPECT_EQ(f[9], f.size() - 11);
        EXPECT_TRUE(std::all_of(f.begin() + 11, f.end(), [](std::uint8_t m) { return m == 1 || m == 2; }));
    }
}

TEST(VitalHistoryLab, RequestSelectsTheDayAndWhereToContinue) {
    VitalScript script = clockedScript();
    script.history.days = 3;
    VitalBench bench(script);
    for (int day = 1; day <= 3; ++day) {
        const auto walked = records(bench.ask(VitalBench::frame(0x55, {static_cast<std::uint8_t>(day)})), 0x55, 10);
        EXPECT_FALSE(walked.empty()) << day;
        for (const auto& r : walked) EXPECT_EQ(dateIn(r, 2).day, 21 - day) << halvora::test::hex(r);
    }
    EXPECT_TRUE(records(bench.ask(VitalBench::frame(0x55, {4})), 0x55, 10).empty());

    // 0x54 skips the records before bytes 2 and 3 (little-endian).
    const auto all = records(bench.ask(VitalBench::frame(0x54)), 0x54, 24);
    ASSERT_GT(all.size(), 3U);
    const auto rest = records(bench.ask(VitalBench::frame(0x54, {0, 3, 0})), 0x54, 24);
    ASSERT_EQ(rest.size(), all.size() - 3);
    for (std::size_t i = 0; i < rest.size(); ++i) {
        EXPECT_TRUE(std::equal(rest[i].begin() + 2, rest[i].end(), all[i + 3].begin() + 2)) << i;
    }
}

}  // namespace
}  // namespace halvora::lab::test
