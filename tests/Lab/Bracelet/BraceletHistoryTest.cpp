// The bracelet's history: item bytes, packages, and downloads as the phone sees them on the link.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "BraceletBench.hpp"
#include "support/Hex.hpp"

namespace halvora::lab::test {
namespace {

using Bytes = std::vector<std::uint8_t>;
using halvora::test::bytes;
using halvora::test::hex;

BraceletTime at(const char* text) {
    return BraceletTime::parse(text).value();
}

// 2026-11-20 08:00 is 6167 days after 2010-01-01 (16 years with 4 leap days, then 323 days into 2026):
// 6167 × 86400 + 8 × 3600 + 35 = 532857635 = 0x1FC2C323.
TEST(BraceletHistory, ItemsCarryFlagTimeAndBigEndianValue) {
    struct Case {
        BraceletRecord record;
        const char* item;
    };
    const std::vector<Case> cases = {
        {BraceletRecord::sleep(at("2010-01-01 00:01:05"), true), "40 00 00 64 00 0B"},  // 65 + 35 = 100
        {BraceletRecord::steps(at("2026-11-20 08:00"), 1234), "1F C2 C3 23 04 D2"},
        {BraceletRecord::heartRate(at("2026-11-20 08:00"), 72), "1F C2 C3 23 00 48"},
        {BraceletRecord::sleep(at("2026-11-20 08:00"), false, 2), "9F C2 C3 23 00 0C"},
        {BraceletRecord::steps(at("2026-11-20 08:00"), 70000), "1F C2 C3 23 FF FF"},
    };
    for (const auto& c : cases) {
        const auto item = BraceletHistory::item(c.record);
        EXPECT_EQ(hex(Bytes(item.begin(), item.end())), hex(bytes(c.item))) << c.item;
    }
}

TEST(BraceletHistory, DownloadSendsHeaderThenPackageInTwentyByteNotifications) {
    BraceletScript script;
    script.history = {BraceletRecord::heartRate(at("2026-11-20 08:00"), 72),
                      BraceletRecord::steps(at("2026-11-20 09:00"), 500),
                      BraceletRecord::steps(at("2026-11-20 08:00"), 1234)};
    BraceletBench bench(script);

    // Steps first, in time order: crc = sum of the 12 item bytes mod 256 = 119.
    bench.send("AT+DATA=0\r\n");
    const std::vector<Bytes> first = {
        bytes("41 54 2B 44 41 54 41 3A 30 2C 31 32 2C 31 32 2C 31 2C 32 2C"),  // "AT+DATA:0,12,12,1,2,"
        bytes("31 31 39 2C 30 0D 0A"),                                         // "119,0\r\n"
        bytes("1F C2 C3 23 04 D2 1F C2 D1 33 01 F4"),
    };
    EXPECT_EQ(bench.received(), first);

    bench.send("AT+DATA=2\r\n");
    const auto second = bench.received();
    ASSERT_EQ(second.size(), 3U);
    EXPECT_EQ(BraceletBench::text(second[0]) + BraceletBench::text(second[1]), "AT+DATA:3,6,6,2,2,15,0\r\n");
    EXPECT_EQ(hex(second[2]), hex(bytes("1F C2 C3 23 00 48")));
    EXPECT_TRUE(bench.bracelet->unsyncedHistory().empty());
    EXPECT_EQ(bench.bracelet->packagesSent(), 2);

    // Synced: the next download has nothing.
    bench.send("AT+DATA=0\r\n");
    const auto nothing = bench.received();
    ASSERT_EQ(nothing.size(), 2U);
    EXPECT_EQ(BraceletBench::text(nothing), "AT+DATA:0,0,0,0,0,0,0\r\n");
}

/// The header fields of every package the download answers, fetching package after package.
std::vector<std::vector<long long>> downloadHeaders(BraceletBench& bench, std::vector<Bytes>* packageBytes) {
    std::vector<std::vector<long long>> headers;
    int next = 0;
    for (int guard = 0; guard < 100; ++guard) {
        bench.send("AT+DATA=" + std::to_string(next) + "\r\n");
        const std::string all = BraceletBench::text(bench.received());
        const auto end = all.find("\r\n");
        if (all.rfind("AT+DATA:", 0) != 0 || end == std::string::npos) break;
        std::vector<long long> fields;
        std::string field;
        for (char c : all.substr(8, end - 8) + ",") {
            if (c != ',') {
                field += c;
                continue;
            }
            fields.push_back(std::stoll(field));
            field.clear();
        }
        headers.push_back(fields);
        if (packageBytes) packageBytes->push_back(Bytes(all.begin() + static_cast<long>(end) + 2, all.end()));
        if (fields.size() != 7 || fields[3] >= fields[4]) break;
        next = static_cast<int>(fields[3]) + 1;
    }
    return headers;
}

TEST(BraceletHistory, PackagesHoldOneTypeEachAndFollowTheScriptedSize) {
    BraceletScript script;
    script.itemsPerPackage = 2;
    script.history = {
        BraceletRecord::heartRate(at("2026-11-19 10:00"), 70), BraceletRecord::steps(at("2026-11-19 12:00"), 30),
        BraceletRecord::sleep(at("2026-11-19 01:00"), true),   BraceletRecord::steps(at("2026-11-19 08:00"), 10),
        BraceletRecord::steps(at("2026-11-19 10:00"), 20),     BraceletRecord::heartRate(at("2026-11-19 09:00"), 60),
    };
    BraceletBench bench(script);
    std::vector<Bytes> packages;
    const auto headers = downloadHeaders(bench, &packages);
    // type, info length, total length, number, packages (crc and encrypted left out)
    const std::vector<std::vector<long long>> expected = {
        {0, 12, 12, 1, 4}, {0, 6, 6, 2, 4}, {7, 6, 6, 3, 4}, {3, 12, 12, 4, 4}};
    ASSERT_EQ(headers.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(std::vector<long long>(headers[i].begin(), headers[i].begin() + 5), expected[i]) << i;
        EXPECT_EQ(headers[i][6], 0);
    }
    // Values in time order: steps 10, 20 | 30 | deep sleep | heart 60, 70.
    const std::vector<std::vector<int>> values = {{10, 20}, {30}, {11}, {60, 70}};
    for (std::size_t p = 0; p < values.size(); ++p) {
        ASSERT_EQ(packages[p].size(), values[p].size() * 6) << p;
        for (std::size_t i = 0; i < values[p].size(); ++i) {
            EXPECT_EQ(packages[p][i * 6 + 4] << 8 | packages[p][i * 6 + 5], values[p][i]) << p << " " << i;
        }
    }
}

TEST(BraceletHistory, UnfinishedDownloadsKeepTheHistory) {
    BraceletScript script;
    script.itemsPerPackage = 1;
    script.history = {BraceletRecord::steps(at("2026-11-20 08:00"), 1),
                      BraceletRecord::steps(at("2026-11-20 09:00"), 2)};
    BraceletBench bench(script);
    bench.send("AT+DATA=0\r\n");
    const auto first = bench.received();
    bench.send("AT+DATA=1\r\n");
    EXPECT_EQ(bench.received(), first);  // asked again: sent again
    bench.send("AT+DATA=3\r\n");         // not in this download
    EXPECT_EQ(BraceletBench::text(bench.received()), "AT+DATA:0,0,0,0,0,0,0\r\n");

    // The link drops before the last package: everything stays to be synced, and a new download starts over.
    bench.lab.central->cancelPeripheralConnection(bench.peripheral);
    bench.lab.settle();
    EXPECT_EQ(bench.bracelet->unsyncedHistory(), script.history);
    bench.connect();
    bench.startNotifications();
    bench.lab.settle();
    EXPECT_EQ(downloadHeaders(bench, nullptr).size(), 2U);
    EXPECT_TRUE(bench.bracelet->unsyncedHistory().empty());
    // Records stored after a download go with the next one.
    bench.bracelet->addHistory({BraceletRecord::heartRate(at("2026-11-20 10:00"), 80)});
    const auto headers = downloadHeaders(bench, nullptr);
    ASSERT_EQ(headers.size(), 1U);
    EXPECT_EQ(headers[0][0], 3);
}

TEST(BraceletHistory, SeededHistoryIsPlausibleAndRepeatable) {
    const auto end = at("2026-11-20 08:00");
    const auto history = BraceletHistory::seeded(3, end, 7);
    EXPECT_EQ(history, BraceletHistory::seeded(3, end, 7));
    EXPECT_NE(history, BraceletHistory::seeded(3, end, 8));
    std::map<BraceletRecordType, int> counts;
    for (const auto& r : history) {
        ++counts[r.type];
        EXPECT_LE(r.at, end);
        EXPECT_GE(r.at, at("2026-11-17 08:00"));
        const bool night = r.at.hour >= 23 || r.at.hour < 7;
        switch (r.type) {
            case BraceletRecordType::Steps:
                EXPECT_FALSE(night) << r.at.text();
                EXPECT_EQ(r.at.minute, 0);
                EXPECT_GT(r.value, 0);
                break;
            case BraceletRecordType::Sleep:
                EXPECT_TRUE(night) << r.at.text();
                EXPECT_EQ(r.at.minute % 10, 0);
                EXPECT_EQ(r.flag, 1);
                break;
            case BraceletRecordType::HeartRate:
                EXPECT_EQ(r.at.minute % 30, 0);
                EXPECT_GE(r.value, night ? 40 : 55);
                EXPECT_LE(r.value, night ? 70 : 110);
                break;
        }
    }
    EXPECT_EQ(counts[BraceletRecordType::HeartRate], 3 * 48);
    EXPECT_EQ(counts[BraceletRecordType::Sleep], 3 * 48);  // eight hours a night, in 10-minute slots
    EXPECT_EQ(counts[BraceletRecordType::Steps], 3 * 16);
    const auto deep = std::count_if(history.begin(), history.end(), [](const BraceletRecord& r) {
        return r.type == BraceletRecordType::Sleep && r.value == BraceletRecord::kDeepSleep;
    });
    EXPECT_GT(deep, 10);
    EXPECT_LT(deep, 3 * 48 - 10);
}

TEST(BraceletHistory, LargeHistoryHasOneReadingPerRecord) {
    const auto end = at("2026-11-20 08:00");
    const auto records = BraceletHistory::large(10000, end);
    ASSERT_EQ(records.size(), 10000U);
    std::set<std::pair<int, std::int64_t>> keys;
    for (const auto& r : records) {
        EXPECT_GT(r.value, 0);
        keys.insert({static_cast<int>(r.type), r.at.secondsSince2010()});
    }
    EXPECT_EQ(keys.size(), records.size());
    EXPECT_EQ(records.back().at, end);
    const auto packages = BraceletHistory(records).packages(30);
    EXPECT_EQ(packages.size(), 112U + 112U + 112U);  // 3334, 3333 and 3333 items, 30 a package
}

}  // namespace
}  // namespace halvora::lab::test
