// The bracelet's protocol faults and hostile modes, as the phone sees them on the link.
#include <gtest/gtest.h>

#include <algorithm>

#include "BraceletBench.hpp"

namespace halvora::lab::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

BraceletScript withFaults(const std::function<void(BraceletFaults&)>& change) {
    BraceletScript script;
    script.history = {BraceletRecord::steps(BraceletTime::parse("2026-11-20 08:00").value(), 1234),
                      BraceletRecord::steps(BraceletTime::parse("2026-11-20 09:00").value(), 500)};
    change(script.faults);
    return script;
}

std::size_t totalBytes(const std::vector<Bytes>& notifications) {
    std::size_t total = 0;
    for (const auto& n : notifications) total += n.size();
    return total;
}

TEST(BraceletFaults, AnswersAreLostByCommandOrByNumber) {
    struct Case {
        const char* what;
        BraceletScript script;
        std::vector<std::string> answers;  // to AT+PACE, AT+BAT, AT+PACE
    };
    const std::vector<Case> cases = {
        {"by command", withFaults([](BraceletFaults& f) { f.loseAnswersTo = {"AT+PACE"}; }), {"", "AT+BAT:87\r\n", ""}},
        {"second command",
         withFaults([](BraceletFaults& f) { f.loseAnswerToCommand = 2; }),
         {"AT+PACE:4321\r\n", "", "AT+PACE:4321\r\n"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        BraceletBench bench(c.script);
        EXPECT_EQ(bench.ask("AT+PACE"), c.answers[0]);
        EXPECT_EQ(bench.ask("AT+BAT"), c.answers[1]);
        EXPECT_EQ(bench.ask("AT+PACE"), c.answers[2]);
        EXPECT_EQ(bench.bracelet->commandsReceived().size(), 3U);  // heard, only the answer is lost
    }
}

TEST(BraceletFaults, PackageShapesDifferFromWhatTheHeaderAnnounces) {
    struct Case {
        const char* what;
        BraceletScript script;
        const char* header;
        std::size_t packageBytes;
    };
    const std::vector<Case> cases = {
        {"cut short", withFaults([](BraceletFaults& f) { f.cutPackage = 1, f.cutPackageBytes = 5; }),
         "AT+DATA:0,12,12,1,1,119,0\r\n", 7},
        {"six fields", withFaults([](BraceletFaults& f) { f.sixFieldHeader = true; }), "AT+DATA:0,12,12,1,1,119\r\n",
         12},
        {"trailing bytes", withFaults([](BraceletFaults& f) { f.trailingBytes = 4; }), "AT+DATA:0,12,16,1,1,119,0\r\n",
         16},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        BraceletBench bench(c.script);
        bench.send("AT+DATA=0\r\n");
        const auto notifications = bench.received();
        const std::string header = c.header;
        ASSERT_GE(notifications.size(), 2U);
        // The header takes two notifications; the package bytes follow in their own.
        EXPECT_EQ(BraceletBench::text(notifications[0]) + BraceletBench::text(notifications[1]), header);
        EXPECT_EQ(totalBytes(notifications) - header.size(), c.packageBytes);
        if (c.packageBytes == 16) {
            EXPECT_EQ(notifications.back(), (Bytes{0x1F, 0xC2, 0xC3, 0x23, 0x04, 0xD2, 0x1F, 0xC2, 0xD1, 0x33, 0x01,
                                                   0xF4, 0xFF, 0xFF, 0xFF, 0xFF}));
        }
    }
}

TEST(BraceletFaults, HostileStreamsEndAtTheirScriptedSize) {
    {
        SCOPED_TRACE("oversized header");
        BraceletBench bench(withFaults([](BraceletFaults& f) {
            f.hostile = BraceletFaults::Hostile::OversizedHeader;
            f.hostileBytes = 1000;
        }));
        bench.send("AT+DATA=0\r\n");
        const auto notifications = bench.received();
        const std::string header = "AT+DATA:0,10485760,10485760,1,1,119,0\r\n";
        ASSERT_GE(notifications.size(), 3U);
        EXPECT_EQ(BraceletBench::text(notifications).substr(0, header.size()), header);
        EXPECT_EQ(totalBytes(notifications), header.size() + 1000);
    }
    {
        SCOPED_TRACE("endless header");
        BraceletBench bench(withFaults([](BraceletFaults& f) {
            f.hostile = BraceletFaults::Hostile::EndlessHeader;
            f.hostileBytes = 5000;
        }));
        bench.send("AT+DATA=0\r\n");
        const auto notifications = bench.received();
        const std::string all = BraceletBench::text(notifications);
        EXPECT_EQ(all.size(), 5000U);
        EXPECT_EQ(all.rfind("AT+DATA:", 0), 0U);
        EXPECT_EQ(all.find('\n'), std::string::npos);
        EXPECT_EQ(notifications.size(), 250U);
        EXPECT_EQ(bench.bracelet->unsyncedHistory().size(), 2U);
    }
}

TEST(BraceletFaults, RandomBinaryAnswersFollowTheSeed) {
    auto run = [](std::uint64_t seed) {
        BraceletBench bench(withFaults([](BraceletFaults& f) { f.hostile = BraceletFaults::Hostile::RandomBinary; }),
                            seed);
        bench.send("AT+PACE\r\nAT+DATA=0\r\n");
        return bench.received();
    };
    const auto first = run(3);
    // The answers keep their shape (one line, then header and package), every byte above 127.
    ASSERT_EQ(first.size(), 4U);
    EXPECT_EQ(first[0].size(), std::string("AT+PACE:4321\r\n").size());
    for (const auto& n : first) {
        EXPECT_TRUE(std::all_of(n.begin(), n.end(), [](std::uint8_t b) { return b > 127; }));
    }
    EXPECT_EQ(run(3), first);
    EXPECT_NE(run(4), first);
}

TEST(BraceletFaults, LinkFaultsAndPacingApplyToEveryNotification) {
    BraceletScript script = withFaults([](BraceletFaults&) {});
    script.notificationGap = std::chrono::milliseconds(50);
    BraceletBench bench(script);
    LabFaults faults;
    faults.splitNotificationsAt = 8;
    bench.bracelet->setFaults(faults);
    bench.peripheral->writeValue(Bytes{'A', 'T', '+', 'D', 'A', 'T', 'A', '=', '0', '\r', '\n'}, bench.write,
                                 WriteType::WithoutResponse);
    // The bracelet has the command 5 ms later and answers with three notifications, 50 ms apart: the header's
    // first 20 bytes, its last 7 and the package's 12; those longer than 8 bytes are split in two on the air.
    bench.lab.executor->advance(std::chrono::milliseconds(30));
    EXPECT_EQ(bench.received().size(), 2U);
    bench.lab.executor->advance(std::chrono::milliseconds(20));
    EXPECT_TRUE(bench.received().empty());
    bench.lab.executor->advance(std::chrono::milliseconds(30));
    EXPECT_EQ(bench.received().size(), 1U);
    bench.lab.executor->advance(std::chrono::milliseconds(50));
    const auto last = bench.received();
    ASSERT_EQ(last.size(), 2U);
    EXPECT_EQ(last[0].size(), 8U);
    EXPECT_EQ(last[1].size(), 4U);
}

}  // namespace
}  // namespace halvora::lab::test
