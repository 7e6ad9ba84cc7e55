#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "Devices/Vital/VitalFrameTest.hpp"
#include "Devices/Vital/VitalRig.hpp"
#include "halvora/Core/Calendar.hpp"
#include "halvora/Devices/Vital/internal/VitalECGFilter.hpp"
#include "halvora/Devices/Vital/internal/VitalECGParser.hpp"

namespace halvora::test {
namespace {

// ------------------------------------------------------------------------------------ the filter

/// The band-pass section written as a textbook direct form with full five-tap arrays (b, a with a[0] = 1) over
/// the whole input history, independent of the kit's sliding slots: y[n] = sum b[k] x[n-k] - sum a[k] y[n-k].
std::vector<double> directForm(const std::vector<std::int16_t>& raw) {
    const std::array<double, 5> b = {0.012493658738073, 0.0, -0.024987317476146, 0.0, 0.012493658738073};
    const std::array<double, 5> a = {1.0, -3.658469528008591, 5.026987876570873, -3.078346646055655, 0.709828779797188};
    std::vector<double> x, y, handedOn;
    for (std::int16_t r : raw) {
        x.push_back(r * 18.3 / 128.0 + 0.06);
        double out = 0;
        const std::size_t n = x.size() - 1;
        for (std::size_t k = 0; k < 5 && k <= n; ++k) out += b[k] * x[n - k];
        for (std::size_t k = 1; k < 5 && k <= n; ++k) out -= a[k] * y[n - k];
        y.push_back(out);
        handedOn.push_back(-out);
    }
    return handedOn;
}

std::vector<double> runFilter(VitalECGFilter& filter, const std::vector<std::int16_t>& raw) {
    std::vector<double> out;
    for (std::int16_t r : raw) out.push_back(filter.filter(r));
    return out;
}

TEST(VitalECGFilterTest, ZeroSampleAfterResetIsTheScaledOffset) {
    VitalECGFilter filter;
    runFilter(filter, {1200, -800, 30000});
    filter.reset();
    EXPECT_DOUBLE_EQ(filter.filter(0), -0.06 * 0.012493658738073);
}

TEST(VitalECGFilterTest, MatchesTheDirectFormOverShortSequences) {
    struct Row {
        const char* name;
        std::vector<std::int16_t> raw;
    };
    std::vector<std::int16_t> impulse(24, 0);
    impulse[0] = 1000;
    std::vector<std::int16_t> extremes = {32767, -32768, 32767, -32768, 0, 0, 0, 0, 0, 0, 0, 0};
    std::vector<std::int16_t> wave;
    for (int i = 0; i < 400; ++i) wave.push_back(static_cast<std::int16_t>((i * 37 % 200 - 100) * 20));
    const std::vector<Row> rows = {{"impulse", impulse}, {"extremes", extremes}, {"sawtooth", wave}};
    for (const auto& row : rows) {
        VitalECGFilter filter;
        const auto kit = runFilter(filter, row.raw);
        const auto reference = directForm(row.raw);
        ASSERT_EQ(kit.size(), reference.size());
        for (std::size_t i = 0; i < kit.size(); ++i) {
            EXPECT_NEAR(kit[i], reference[i], 1e-12 * std::max(1.0, std::abs(reference[i])))
                << row.name << " sample " << i;
        }
    }
}

// ------------------------------------------------------------------------------------ samples

TEST(VitalECGParserTest, SamplePairsKeepTheZeroByteRule) {
    struct Row {
        std::string bytes;
        std::int16_t sample;
    };
    const std::vector<Row> rows = {
        {"10 00", 0},       // a zero high byte ends the number before it starts
        {"00 10", 16},      // a zero low byte leaves the high byte alone, unsigned
        {"34 12", 0x1234},  // low byte first
        {"FE FF", -2},      // signed
    };
    for (const auto& row : rows) {
        EXPECT_EQ(VitalECGParser::sample(bytes(row.bytes), 0), row.sample) << row.bytes;
    }
}

// ------------------------------------------------------------------------------------ driver

const HalvoraSDKVitalECGData& ecgAt(const VitalRig& rig, std::size_t index) {
    return std::get<HalvoraSDKVitalECGData>(rig.app->responses.at(index).data);
}

std::vector<double> filtered(const std::vector<std::int16_t>& raw) {
    VitalECGFilter filter;
    return runFilter(filter, raw);
}

TEST(VitalECGTest, StartStatusDecidesWhetherLiveFramesAreDecoded) {
    struct Row {
        std::string startReply;  // empty: no upload started
        bool decoded;
    };
    const std::vector<Row> rows = {{"", false}, {"99 00", true}, {"99 01", true}, {"99 02", false}};
    for (const auto& row : rows) {
        VitalRig rig;
        rig.open();
        if (!row.startReply.empty()) {
            rig.driver->getECGStartDataUploading();
            rig.settle();
            EXPECT_EQ(rig.frames(), std::vector<std::string>{frame16("99")});
            rig.play(row.startReply);
            ASSERT_EQ(rig.app->events, std::vector<std::string>{"info 28 -1"}) << row.startReply;
            EXPECT_EQ(std::get<HalvoraSDKVitalECGStatus>(rig.app->responses[0].data).status, bytes(row.startReply)[1]);
            EXPECT_EQ(rig.permits(), 1) << row.startReply;
            rig.clear();
        }
        rig.driver->getTime();  // a request holds the permit: live frames must not free it
        rig.settle();
        rig.clear();
        rig.play("AA 10 00 00 10 34 12 05");  // the unpaired last byte is not read
        EXPECT_EQ(rig.permits(), 0) << row.startReply;
        if (!row.decoded) {
            EXPECT_TRUE(rig.app->events.empty()) << row.startReply;
            continue;
        }
        ASSERT_EQ(rig.app->events, std::vector<std::string>{"info 31 -1"}) << row.startReply;
        EXPECT_EQ(ecgAt(rig, 0).ecgData, filtered({0, 16, 0x1234})) << row.startReply;
    }
}

TEST(VitalECGTest, StatusFinishedReportsTheSummaryThenTheStatus) {
    Calendar::setTimeZone("UTC");
    struct Row {
        std::string reply;
        std::vector<std::string> events;
        bool stillWaiting;
    };
    const std::vector<Row> rows = {
        {"9C 02", {"info 29 -1"}, true},
        {"9C 03 2A 00 48 00 00 00 00 10 24 06 15 12 30 45", {"info 30 -1", "info 29 -1"}, false},
        {"9C 03 2A 00 48", {"info 29 -1"}, false},  // finished, but the summary is cut off
        {"9C", {}, true},
    };
    for (const auto& row : rows) {
        VitalRig rig;
        rig.open();
        rig.driver->getECGStartDataUploading();
        rig.settle();
        rig.play("99 01");
        rig.driver->getECGMeasurementStatus();
        rig.settle();
        EXPECT_EQ(rig.permits(), 1) << row.reply;  // freed as soon as the poll is written
        EXPECT_EQ(rig.frames().back(), frame16("9C"));
        rig.driver->getTime();
        rig.settle();
        rig.clear();
        rig.play(row.reply);
        EXPECT_EQ(rig.app->events, row.events) << row.reply;
        EXPECT_EQ(rig.permits(), 0) << row.reply;  // the status never frees the permit
        if (row.events.size() == 2) {
            const auto& summary = std::get<HalvoraSDKVitalECGConstantsData>(rig.app->responses[0].data);
            EXPECT_EQ(summary.hrv, 42);
            EXPECT_EQ(summary.heartRate, 72);
            EXPECT_EQ(summary.breathingRate, 16);
            EXPECT_EQ(summary.date, Date{std::chrono::seconds{1718454645}});
            const auto& status = std::get<HalvoraSDKVitalECGStatus>(rig.app->responses[1].data);
            EXPECT_EQ(status.status, 3);
            ASSERT_TRUE(status.data.has_value());
            EXPECT_EQ(status.data->heartRate, 72);
        }
        rig.clear();
        rig.play("AA 01 00");
        EXPECT_EQ(rig.app->events.size(), row.stillWaiting ? 1U : 0U) << row.reply;
    }
    Calendar::setTimeZone(std::nullopt);
}

TEST(VitalECGTest, HeartRateStatusIsDecoded) {
    VitalRig rig;
    rig.open();
    rig.play("83 48");  // too short: nothing
    rig.play("83 48 20");
    ASSERT_EQ(rig.app->events, std::vector<std::string>{"info 31 -1"});
    const auto& status = std::get<HalvoraSDKVitalECGConstantsData>(rig.app->responses[0].data);
    EXPECT_EQ(status.heartRate, 0x48);
    EXPECT_EQ(status.hrv, 0x20);
}

/// A header page of record bytes `id` (two bytes), dated 2024-06-15 12:30:45, bytes 9 and 10 unused, HRV 42,
/// 60 bpm, 16 breaths, zeros up to byte 26 and `samples` (hex) from byte 27.
std::vector<std::uint8_t> header(const std::string& id, const std::string& samples) {
    auto page = bytes("71 " + id + " 24 06 15 12 30 45 09 0A 2A 3C 10");
    page.resize(27, 0);
    const auto tail = bytes(samples);
    page.insert(page.end(), tail.begin(), tail.end());
    return page;
}

TEST(VitalECGTest, WaveformPagesBuildOneRecord) {
    Calendar::setTimeZone("UTC");
    VitalRig rig;
    rig.open();
    rig.driver->getECGWaveform(5);
    rig.settle();
    EXPECT_EQ(rig.frames(), std::vector<std::string>{frame16("71 05")});
    rig.playBytes(header("07 01", "34 12 00 10 FF"));  // the lone FF has no partner
    rig.play("71 00 01 10 00 FE FF 05");
    rig.play("71 01 02 03");  // a pair cut short: nothing
    rig.play("71 09");        // a short later page: ignored
    EXPECT_TRUE(rig.app->events.empty());
    EXPECT_EQ(rig.permits(), 0);
    rig.play("71 00 00");
    Calendar::setTimeZone(std::nullopt);
    ASSERT_EQ(rig.app->events, std::vector<std::string>{"info 32 -1"});
    EXPECT_EQ(rig.permits(), 1);
    const auto& record = ecgAt(rig, 0);
    EXPECT_EQ(record.identifier, 0x0107);
    EXPECT_EQ(record.date, Date{std::chrono::seconds{1718454645}});
    EXPECT_EQ(record.hrv, 42);
    EXPECT_EQ(record.heartRate, 60);
    EXPECT_EQ(record.breathRate, 16);
    EXPECT_DOUBLE_EQ(record.trs, 1000.0);
    EXPECT_DOUBLE_EQ(record.qt, 410.0);
    EXPECT_DOUBLE_EQ(record.qtc, 410.0);
    EXPECT_DOUBLE_EQ(record.pr, 160.0);
    EXPECT_EQ(record.ecgData, filtered({0x1234, 16, 0, -2}));
}

TEST(VitalECGTest, HeaderPageVariants) {
    struct Row {
        std::vector<std::uint8_t> page;
        std::int32_t identifier;
        std::size_t samples;
    };
    auto headerOnly = header("05 00", "");
    auto exactly28 = header("05 00", "7F");
    const std::vector<Row> rows = {
        {header("00 01", "01 00"), 0, 1},  // a zero low byte ends the number
        {header("05 00", "01 00"), 5, 1},
        {headerOnly, 5, 0},  // 27 bytes: no samples
        {exactly28, 5, 0},   // 28 bytes: the first pair has no second byte
    };
    for (const auto& row : rows) {
        VitalRig rig;
        rig.open();
        rig.driver->getECGWaveform(0);
        rig.settle();
        rig.playBytes(row.page);
        rig.play("71 00 00");
        ASSERT_EQ(rig.app->events, std::vector<std::string>{"info 32 -1"}) << hex(row.page);
        EXPECT_EQ(ecgAt(rig, 0).identifier, row.identifier) << hex(row.page);
        EXPECT_EQ(ecgAt(rig, 0).ecgData.size(), row.samples) << hex(row.page);
    }
    // A first page too short for its header is ignored; the next page is taken as the header.
    VitalRig rig;
    rig.open();
    rig.driver->getECGWaveform(0);
    rig.settle();
    rig.play("71 07 01 24 06");
    rig.playBytes(header("09 00", ""));
    rig.play("71 00 00");
    ASSERT_EQ(rig.app->events, std::vector<std::string>{"info 32 -1"});
    EXPECT_EQ(ecgAt(rig, 0).identifier, 9);
}

TEST(VitalECGTest, WaveformRecordNumbersOutsideAByteAreRefused) {
    struct Row {
        std::int32_t record;
        bool sent;
    };
    const std::vector<Row> rows = {{-1, false}, {0, true}, {255, true}, {256, false}};
    for (const auto& row : rows) {
        VitalRig rig;
        rig.open();
        rig.driver->getECGWaveform(row.record);
        rig.settle();
        EXPECT_EQ(rig.frames().size(), row.sent ? 1U : 0U) << row.record;
        EXPECT_EQ(rig.app->events, row.sent ? std::vector<std::string>{} : std::vector<std::string>{"error 2 32"})
            << row.record;
        EXPECT_EQ(rig.permits(), row.sent ? 0 : 1) << row.record;
    }
}

// Each start of an upload and of a download runs the same bytes through a fresh filter.
TEST(VitalECGTest, EveryStartResetsTheFilter) {
    VitalRig rig;
    rig.open();
    for (int round = 0; round < 2; ++round) {
        rig.driver->getECGWaveform(3);
        rig.settle();
        rig.playBytes(header("03 00", "01 20 FF DF"));
        rig.play("71 00 01 41 1F BF E0");
        rig.play("71 00 00");
        rig.driver->getECGStartDataUploading();
        rig.settle();
        rig.play("99 01");
        rig.play("AA 01 20 FF DF");
    }
    ASSERT_EQ(rig.app->events, (std::vector<std::string>{"info 32 -1", "info 28 -1", "info 31 -1", "info 32 -1",
                                                         "info 28 -1", "info 31 -1"}));
    EXPECT_EQ(ecgAt(rig, 0).ecgData, filtered({0x2001, -0x2001, 0x1F41, -0x1F41}));
    EXPECT_EQ(ecgAt(rig, 3).ecgData, ecgAt(rig, 0).ecgData);
    EXPECT_EQ(ecgAt(rig, 2).ecgData, filtered({0x2001, -0x2001}));
    EXPECT_EQ(ecgAt(rig, 5).ecgData, ecgAt(rig, 2).ecgData);
}

TEST(VitalECGTest, WaveformRecordStopsAtItsCap) {
    VitalRig rig;
    rig.open();
    rig.driver->getECGWaveform(0);
    rig.settle();
    rig.playBytes(header("01 00", ""));
    const std::size_t pageSamples = HalvoraSDKBraceletVital::kMaxECGSamples / 2 + 3;
    std::vector<std::uint8_t> page = {0x71, 0x00, 0x01};
    for (std::size_t i = 0; i < pageSamples; ++i) {
        page.push_back(0x01);
        page.push_back(0x02);
    }
    rig.playBytes(page);
    rig.playBytes(page);  // 6 samples past the cap
    rig.playBytes(page);  // and a whole page more
    EXPECT_TRUE(rig.app->events.empty());
    rig.play("71 00 00");
    ASSERT_EQ(rig.app->events, std::vector<std::string>{"info 32 -1"});
    EXPECT_EQ(ecgAt(rig, 0).ecgData.size(), HalvoraSDKBraceletVital::kMaxECGSamples);
    EXPECT_EQ(std::count(rig.logLines.begin(), rig.logLines.end(),
                         "HalvoraSDKBraceletVital: ECG waveform record full, further samples are dropped"),
              1);
    const std::string dropped =
        "HalvoraSDKBraceletVital: ECG waveform record 1: " + std::to_string(pageSamples + 6) + " samples dropped";
    EXPECT_EQ(std::count(rig.logLines.begin(), rig.logLines.end(), dropped), 1);
}

TEST(VitalECGDataTest, IntervalsFollowTheHeartRate) {
    struct Row {
        std::int32_t heartRate;
        double trs, qt, qtc, pr;
    };
    const std::vector<Row> rows = {
        {0, 0, 0, 0, 0},
        {60, 1000, 410, 410, 160},
        {100, 600, 328, 328 / std::sqrt(0.6), 160},
    };
    for (const auto& row : rows) {
        HalvoraSDKVitalECGData data;
        data.heartRate = row.heartRate;
        data.calculateValues();
        EXPECT_DOUBLE_EQ(data.trs, row.trs) << row.heartRate;
        EXPECT_DOUBLE_EQ(data.qt, row.qt) << row.heartRate;
        EXPECT_DOUBLE_EQ(data.qtc, row.qtc) << row.heartRate;
        EXPECT_DOUBLE_EQ(data.pr, row.pr) << row.heartRate;
    }
}

}  // namespace
}  // namespace halvora::test
