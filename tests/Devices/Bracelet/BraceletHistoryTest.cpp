#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "Devices/Bracelet/BraceletRig.hpp"
#include "halvora/Core/Calendar.hpp"
#include "halvora/Devices/Bracelet/internal/BraceletHistory.hpp"
#include "halvora/Devices/Bracelet/internal/BraceletTransfer.hpp"
#include "halvora/Devices/Bracelet/internal/MoxentaParserData.hpp"
#include "support/Hex.hpp"

namespace halvora::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// Item times: 516709265 is 1986-05-17 10:20:30 UTC plus 35 seconds, so the bracelet's clock reads it as
// 2026-05-17 10:20:30 local time; 516709535 as 10:25:00. Sleep time 516757643 is 1986-05-17 23:47:13 UTC
// plus 10 seconds: its slot starts at 2026-05-17 23:40:00 UTC, whatever the time zone.
constexpr std::uint32_t kTimeA = 516709265;
constexpr std::uint32_t kTimeB = 516709535;
constexpr std::uint32_t kSleepTime = 516757643;

std::vector<std::uint8_t> item(std::uint32_t flag, std::uint32_t time, std::uint32_t value) {
    const std::uint32_t word = (flag << 30) | time;
    return {static_cast<std::uint8_t>(word >> 24), static_cast<std::uint8_t>(word >> 16),
            static_cast<std::uint8_t>(word >> 8),  static_cast<std::uint8_t>(word),
            static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

std::vector<std::uint8_t> joined(std::initializer_list<std::vector<std::uint8_t>> parts) {
    std::vector<std::uint8_t> out;
    for (const auto& part : parts) out.insert(out.end(), part.begin(), part.end());
    return out;
}

std::string fields(int type, std::size_t info, std::size_t total, int number, int packages) {
    return std::to_string(type) + "," + std::to_string(info) + "," + std::to_string(total) + "," +
           std::to_string(number) + "," + std::to_string(packages) + ",0,0";
}

/// The header line as the bracelet sends it: "AT+DATA:<fields>" first, its line end in the next notification.
void playHeader(BraceletRig& rig, const std::string& headerFields) {
    rig.play("AT+DATA:" + headerFields);
    rig.play("\r\n");
}

/// The package bytes in notifications of at most `slice` bytes.
void playPackageBytes(BraceletRig& rig, const std::vector<std::uint8_t>& bytes, std::size_t slice = 7) {
    for (std::size_t at = 0; at < bytes.size(); at += slice) {
        const auto end = bytes.begin() + static_cast<std::ptrdiff_t>(std::min(bytes.size(), at + slice));
        rig.playBytes(std::vector<std::uint8_t>(bytes.begin() + static_cast<std::ptrdiff_t>(at), end));
    }
}

/// One package: its header, then its bytes (items first, then `padding` filler bytes).
void playPackage(BraceletRig& rig, int type, const std::vector<std::uint8_t>& items, int number, int packages,
                 std::size_t padding = 0) {
    auto bytes = items;
    bytes.insert(bytes.end(), padding, 0xEE);
    playHeader(rig, fields(type, items.size(), bytes.size(), number, packages));
    playPackageBytes(rig, bytes);
}

/// A download with nothing to fetch: delivers what the accumulators hold.
void playEmptyDownload(BraceletRig& rig) {
    rig.driver->synchronizeHistoryData();
    rig.settle();
    playHeader(rig, fields(0, 0, 0, 0, 0));
}

std::vector<std::string> dates(const std::vector<HalvoraSDKStepData>& records) {
    std::vector<std::string> out;
    for (const auto& r : records) out.push_back(Calendar::formatDateTime(*r.date) + " " + std::to_string(r.steps));
    return out;
}

class BraceletHistoryTest : public ::testing::Test {
protected:
    void SetUp() override { Calendar::setTimeZone("UTC"); }
    void TearDown() override { Calendar::setTimeZone(std::nullopt); }
};

TEST_F(BraceletHistoryTest, ItemsDecodeFromTheirSixOrEightBytes) {
    struct Case {
        const char* bytes;
        bool realTime;
        std::optional<std::array<std::uint32_t, 4>> expected;  // flag, time, value, value1
    };
    const Case cases[] = {
        {"40 00 00 64 00 0B", false, {{1, 100, 11, 0}}},
        {"FF FF FF FF FF FF", false, std::nullopt},
        {"", false, std::nullopt},
        {"FF FF FF FF FF FE", false, {{3, 0x3FFFFFFF, 0xFFFE, 0}}},
        {"80 01 02 03 04 05 06 07", false, {{2, 0x010203, 0x0405, 0}}},
        {"40 00 00 64 00", false, std::nullopt},
        {"C0 00 01 00 01 02 03 04", true, {{3, 256, 0x0102, 0x0304}}},
        {"FF FF FF FF FF FF FF FF", true, {{3, 0x3FFFFFFF, 0xFFFF, 0xFFFF}}},
        {"40 00 00 64 00 0B", true, std::nullopt},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bytes);
        const auto data = bytes(c.bytes);
        const auto decoded = MoxentaParserData::parseData(data, c.realTime);
        ASSERT_EQ(decoded.has_value(), c.expected.has_value());
        if (!decoded) continue;
        EXPECT_EQ((std::array<std::uint32_t, 4>{decoded->flag, decoded->time, decoded->value, decoded->value1}),
                  *c.expected);
    }
}

TEST_F(BraceletHistoryTest, PackageItemsStopAtTheInfoLengthAndTheDataEnd) {
    const auto data = joined({item(0, 1, 10), item(0, 2, 20), item(0, 3, 30)});
    struct Case {
        std::size_t available;
        std::int32_t infoLength;
        std::vector<std::uint32_t> values;
    };
    const Case cases[] = {
        {18, 18, {10, 20, 30}}, {18, 12, {10, 20}}, {18, 17, {10, 20}}, {14, 18, {10, 20}},
        {14, 1000, {10, 20}},   {18, 0, {}},        {18, -6, {}},       {5, 6, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.available) + " " + std::to_string(c.infoLength));
        std::vector<std::uint32_t> values;
        for (const auto& decoded :
             MoxentaParserData::itemsOfPackage(std::span<const std::uint8_t>(data).first(c.available), c.infoLength)) {
            values.push_back(decoded.value);
        }
        EXPECT_EQ(values, c.values);
    }
}

// Two packages: the first's records come with this download, the last one's only with the next download.
TEST_F(BraceletHistoryTest, LastPackageOfADownloadIsDeliveredWithTheNextOne) {
    BraceletRig rig;
    rig.open();
    rig.driver->synchronizeHistoryData();
    rig.settle();
    ASSERT_EQ(rig.commands(), std::vector<std::string>{"AT+DATA=0\r\n"});

    // Steps, out of time order, with a zero count left out and two filler bytes after the items.
    playPackage(rig, 0, joined({item(0, kTimeB, 2000), item(0, kTimeB + 60, 0), item(0, kTimeA, 1000)}), 1, 2, 2);
    EXPECT_EQ(rig.app->events, std::vector<std::string>{"progress 1/2"});
    EXPECT_EQ(rig.commands(), (std::vector<std::string>{"AT+DATA=0\r\n", "AT+DATA=2\r\n"}));
    EXPECT_EQ(rig.permits(), 0);

    playPackage(rig, 3, item(0, kTimeA, 72), 2, 2);
    EXPECT_EQ(rig.app->events, (std::vector<std::string>{"progress 1/2", "progress 2/2", "sync 2/0/0"}));
    ASSERT_EQ(rig.app->syncs.size(), 1u);
    EXPECT_EQ(dates(rig.app->syncs[0].stepsData),
              (std::vector<std::string>{"2026-05-17 10:20:30 1000", "2026-05-17 10:25:00 2000"}));
    EXPECT_EQ(rig.app->syncs[0].stepsData[0].distance, 0.5833333134651184);  // 175 cm stored by default
    EXPECT_EQ(rig.app->syncs[0].stepsData[0].calories, 54.763797760009766);
    EXPECT_EQ(rig.driver->history().heartRateCount(), 1u);
    EXPECT_FALSE(rig.driver->isReceivingData());
    EXPECT_EQ(rig.permits(), 1);

    rig.app->clear();
    playEmptyDownload(rig);
    EXPECT_EQ(rig.app->events, std::vector<std::string>{"sync 0/0/1"});
    ASSERT_EQ(rig.app->syncs.size(), 1u);
    EXPECT_EQ(rig.app->syncs[0].heartData[0].description(), "Date: 2026-05-17 10:20:30\nHeart Rate: 72\n");
    EXPECT_EQ(rig.driver->history().heartRateCount(), 0u);
    EXPECT_EQ(rig.permits(), 1);
    EXPECT_EQ(rig.pendingCommands(), 0u);
}

// Steps and heart rates count local seconds (the offset from UTC is taken off); sleep slots do not.
TEST_F(BraceletHistoryTest, DecodersDateItemsByTheBraceletClock) {
    struct Case {
        const char* zone;
        std::vector<std::string> steps;
        std::int64_t heartSeconds;  // since 1970, UTC
        std::string sleepLocal;
    };
    const Case cases[] = {
        {"UTC", {"2009-12-31 23:59:25 5", "2026-05-17 10:20:30 1000"}, 1779013230, "2026-05-17 23:40:00"},
        {"JST-9", {"2009-12-31 23:59:25 5", "2026-05-17 10:20:30 1000"}, 1778980830, "2026-05-18 08:40:00"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.zone);
        Calendar::setTimeZone(c.zone);
        BraceletRig rig;
        rig.open();
        rig.driver->synchronizeHistoryData();
        rig.settle();
        playPackage(rig, 0, joined({item(0, kTimeA, 1000), item(0, 0, 5)}), 1, 4);
        playPackage(rig, 3, item(0, kTimeA, 64), 2, 4);
        // Flags 1 and 2 are sleep (11 deep, anything else light); 0 and 3 are skipped. The last two items fall
        // in one slot, 30 minutes after the first: the later item (deep) replaces the earlier one (light).
        playPackage(rig, 7,
                    joined({item(1, kSleepTime, 11), item(0, kSleepTime + 900, 11), item(3, kSleepTime + 1200, 11),
                            item(2, kSleepTime + 1800, 4), item(2, kSleepTime + 1900, 11)}),
                    3, 4);
        playPackage(rig, 5, item(1, kTimeA, 1), 4, 4);  // a type the kit does not know
        ASSERT_EQ(rig.app->syncs.size(), 1u);
        const auto& data = rig.app->syncs[0];
        EXPECT_EQ(dates(data.stepsData), c.steps);
        ASSERT_EQ(data.heartData.size(), 1u);
        EXPECT_EQ(data.heartData[0].date, Date{seconds{c.heartSeconds}});
        EXPECT_EQ(data.heartData[0].heartRate, 64);
        ASSERT_EQ(data.sleepData.size(), 2u);
        EXPECT_EQ(data.sleepData[0].description(),
                  "Date: " + std::string(c.sleepLocal) + "\nSleep duration: 10\nSleep deepness: 1\n");
        EXPECT_EQ(std::chrono::duration_cast<seconds>(*data.sleepData[1].date - *data.sleepData[0].date).count(), 1800);
        EXPECT_EQ(data.sleepData[1].sleepDeepness, 1);
        EXPECT_EQ(rig.driver->history().stepsCount() + rig.driver->history().sleepCount() +
                      rig.driver->history().heartRateCount(),
                  0u);
    }
}

// The header line is parsed only when a later notification brings its line end; a binary value or an empty text
// before that asks again for the current package.
TEST_F(BraceletHistoryTest, PackageBytesBeforeTheHeaderEndAskForThePackageAgain) {
    BraceletRig rig;
    rig.open();
    rig.driver->synchronizeHistoryData();
    rig.settle();
    rig.play("AT+DATA:" + fields(3, 6, 6, 1, 1) + "\r\n");
    rig.playBytes(item(0, kTimeA, 200));
    rig.play("");
    EXPECT_EQ(rig.commands(), (std::vector<std::string>{"AT+DATA=0\r\n", "AT+DATA=0\r\n", "AT+DATA=0\r\n"}));
    EXPECT_FALSE(rig.driver->transfer().isHeaderComplete());
    rig.play("\r\n");
    rig.playBytes(item(0, kTimeA, 200));
    EXPECT_EQ(rig.app->events, (std::vector<std::string>{"progress 1/1", "sync 0/0/0"}));
}

// A header line without exactly 7 fields completes the header but changes no field: with a total of 0 the
// bytes never complete a package, and the transfer stays open until the next "AT+DATA:".
TEST_F(BraceletHistoryTest, HeaderWithoutSevenFieldsLeavesTheTransferOpen) {
    for (const std::string& line :
         {std::string("3,6,6,1\r\n"), std::string("3,6,6,1,1,0,0,9\r\n"), std::string("\r\n")}) {
        SCOPED_TRACE(RecordingBraceletDelegate::visible(line));
        BraceletRig rig;
        rig.open();
        rig.driver->synchronizeHistoryData();
        rig.settle();
        rig.play("AT+DATA:");
        rig.play(line);
        EXPECT_TRUE(rig.driver->transfer().isHeaderComplete());
        EXPECT_EQ(rig.driver->transfer().header().currentPackageTotalLength, 0);
        rig.playBytes(item(0, kTimeA, 200));
        EXPECT_TRUE(rig.app->events.empty());
        EXPECT_TRUE(rig.driver->transfer().byteData().empty());
        rig.driver->synchronizeHistoryData();  // ignored while the transfer is open
        rig.executor->advance(seconds(6000));
        EXPECT_EQ(rig.commands(), std::vector<std::string>{"AT+DATA=0\r\n"});
        playPackage(rig, 3, item(0, kTimeA, 61), 1, 1);
        EXPECT_EQ(rig.app->events, (std::vector<std::string>{"progress 1/1", "sync 0/0/0"}));
    }
}

// Bytes beyond the announced total are counted, not kept: the package can no longer complete.
TEST_F(BraceletHistoryTest, PackageOverrunIsNeitherKeptNorCompleted) {
    BraceletRig rig;
    rig.open();
    rig.driver->synchronizeHistoryData();
    rig.settle();
    playHeader(rig, fields(3, 12, 12, 1, 1));
    const auto data = joined({item(0, kTimeA, 61), item(0, kTimeB, 62), item(0, kTimeB + 60, 63)});
    rig.playBytes(std::vector<std::uint8_t>(data.begin(), data.begin() + 10));
    rig.playBytes(std::vector<std::uint8_t>(data.begin() + 10, data.end()));
    rig.playBytes({0x81});
    EXPECT_EQ(rig.driver->transfer().byteData().size(), 12u);
    EXPECT_EQ(rig.driver->transfer().receivedLength(), 19u);
    EXPECT_TRUE(rig.app->events.empty());
    EXPECT_TRUE(rig.driver->isReceivingData());
}

TEST_F(BraceletHistoryTest, RefusedHeaderLeavesTheSlotToTheNextCommandsWait) {
    struct Case {
        std::string header;
        bool refused;
    };
    const Case cases[] = {
        {fields(3, 6, 65537, 1, 1), true}, {fields(3, 65537, 6, 1, 1), true}, {"3,-6,6,1,1,0,0", true},
        {"3,6,-1,1,1,0,0", true},          {"3,6,99999999999,1,1,0,0", true}, {fields(3, 65536, 65536, 1, 1), false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.header);
        BraceletRig rig;
        rig.open();
        rig.driver->synchronizeHistoryData();
        rig.settle();
        playHeader(rig, c.header);
        EXPECT_EQ(rig.driver->isReceivingData(), !c.refused);
        EXPECT_EQ(rig.logLines.size(), c.refused ? 1u : 0u);
        rig.driver->sendFindDevice();
        rig.executor->advance(milliseconds(59'900));
        EXPECT_EQ(rig.commands().size(), 1u);
        rig.executor->advance(milliseconds(100));
        EXPECT_EQ(rig.commands(), (std::vector<std::string>{"AT+DATA=0\r\n", "AT+FINDBT\r\n"}));
    }
}

TEST_F(BraceletHistoryTest, EndlessHeaderLineIsRefusedAtItsCap) {
    BraceletRig rig;
    rig.open();
    rig.driver->synchronizeHistoryData();
    rig.settle();
    rig.play("AT+DATA:");
    std::size_t longest = 0;
    for (int i = 0; i < 400; ++i) {
        rig.play("1234567890123456789,");
        longest = std::max(longest, rig.driver->transfer().receivedString().size());
    }
    EXPECT_LE(longest, BraceletTransfer::kMaxHeaderLineLength);
    EXPECT_GT(longest, BraceletTransfer::kMaxHeaderLineLength - 20);
    EXPECT_EQ(rig.logLines, std::vector<std::string>{"HalvoraSDKBracelet: history header too long, transfer dropped"});
    rig.driver->sendFindDevice();
    rig.executor->advance(seconds(60));
    EXPECT_EQ(rig.commands().back(), "AT+FINDBT\r\n");
}

// Whatever a bracelet sends, the buffers stay within their caps and the next command still goes out.
TEST_F(BraceletHistoryTest, RandomNotificationsStayWithinTheCaps) {
    const std::vector<std::string> starts = {
        "AT+DATA:", "AT+DATA:3,12,12,", "1,2,0,0\r\n", "AT+PACE:", "NT+RUN:", "AT+HEART:",
        "\r\n",     "AT+BAT:",          "AT+ALARM",    ""};
    for (unsigned seed : {1u, 2u, 3u, 4u}) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        BraceletRig rig;
        rig.open();
        for (int i = 0; i < 3000; ++i) {
            std::vector<std::uint8_t> value;
            if (random() % 2 == 0) {
                const auto& start = starts[random() % starts.size()];
                value.assign(start.begin(), start.end());
            }
            const std::size_t extra = random() % 24;
            for (std::size_t k = 0; k < extra; ++k) value.push_back(static_cast<std::uint8_t>(random()));
            rig.playBytes(value);
            ASSERT_LE(rig.driver->transfer().receivedString().size(), BraceletTransfer::kMaxHeaderLineLength);
            ASSERT_LE(rig.driver->transfer().byteData().size(),
                      static_cast<std::size_t>(BraceletTransfer::kMaxPackageLength));
        }
        rig.clearWrites();
        rig.driver->sendFindDevice();
        rig.executor->advance(seconds(60));
        const auto sent = rig.commands();
        EXPECT_NE(std::find(sent.begin(), sent.end(), "AT+FINDBT\r\n"), sent.end());
        EXPECT_EQ(rig.pendingCommands(), 0u);
    }
}

TEST_F(BraceletHistoryTest, AccumulatorsStopAtTheirCap) {
    BraceletRig rig;
    rig.open();
    rig.application->bracelet = nullptr;  // nothing is ever taken away
    rig.driver->synchronizeHistoryData();
    rig.settle();
    constexpr int kPackages = 6;
    constexpr std::uint32_t kItemsPerPackage = 10'000;
    for (int package = 1; package <= kPackages; ++package) {
        std::vector<std::uint8_t> items;
        for (std::uint32_t i = 0; i < kItemsPerPackage; ++i) {
            const auto one = item(0, 1'000'000 + static_cast<std::uint32_t>(package) * kItemsPerPackage + i, 60);
            items.insert(items.end(), one.begin(), one.end());
        }
        playHeader(rig, fields(3, items.size(), items.size(), package, kPackages));
        rig.playBytes(items);
    }
    EXPECT_EQ(rig.driver->history().heartRateCount(), BraceletHistory::kMaxRecords);
    ASSERT_FALSE(rig.logLines.empty());
    EXPECT_EQ(rig.logLines.back(), "HalvoraSDKBracelet: 10000 history records dropped, 50000 already held");
}

}  // namespace
}  // namespace halvora::test
