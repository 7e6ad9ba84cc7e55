// The virtual Vital bracelet's electrocardiogram, from the phone's side: the start, the live frames and
// their pace, the status with the summary, and the stored waveforms paged back.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "VitalBench.hpp"

namespace halvora::lab::test {
namespace {

using halvora::test::bytes;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int kSampleRate = 512;
constexpr std::size_t kLiveLength = 19;  // 0xAA and nine samples
const BraceletTime kClock{2026, 11, 20, 9, 30, 0};

VitalScript ecgScript(int seconds, int storedRecords = 1) {
    VitalScript script;
    script.clock = kClock;
    script.ecg.heartRate = 75;
    script.ecg.hrv = 50;
    script.ecg.breathingRate = 14;
    script.ecg.duration = std::chrono::seconds(seconds);
    script.ecg.storedRecords = storedRecords;
    return script;
}

Frames withCode(const Frames& frames, std::uint8_t code) {
    Frames out;
    std::copy_if(frames.begin(), frames.end(), std::back_inserter(out),
                 [code](const Bytes& f) { return !f.empty() && f[0] == code; });
    return out;
}

/// The samples of frames or pages whose samples start at byte `first`, low byte first.
std::vector<int> samplesOf(const Frames& frames, std::size_t first) {
    std::vector<int> out;
    for (const auto& f : frames) {
        for (std::size_t i = first; i + 1 < f.size(); i += 2)
            out.push_back(static_cast<std::int16_t>(f[i] | f[i + 1] << 8));
    }
    return out;
}

TEST(VitalECGLab, MeasurementStreamsAtTheSampleRateAndEndsWithTheSummary) {
    VitalBench bench(ecgScript(2));
    const BraceletTime start = bench.bracelet->settings().clock;
    const Bytes startBcd = {0x26, 0x11, 0x20,
                            0x09, 0x30, static_cast<std::uint8_t>(start.second / 10 * 16 + start.second % 10)};
    ASSERT_EQ(start.minute, 30);
    const Frames started = bench.ask(VitalBench::frame(0x99));
    ASSERT_FALSE(started.empty());
    EXPECT_EQ(VitalBench::hex({started[0]}), VitalBench::hex({VitalBench::frame(0x99, {1})}));

    // In the first second: one frame every 9/512 s.
    Frames live = withCode(started, 0xAA);
    const Frames firstSecond = bench.after(seconds(1) - VitalBench::kRoundTrip);
    const Frames firstLive = withCode(firstSecond, 0xAA);
    live.insert(live.end(), firstLive.begin(), firstLive.end());
    EXPECT_EQ(live.size(), static_cast<std::size_t>(kSampleRate / 9));  // 56 whole frames in a second
    const Frames asked = bench.ask(VitalBench::frame(0x9C));
    // A heart-rate status once the first second is over (the second one ends with the measurement).
    EXPECT_EQ(VitalBench::hex(withCode(asked, 0x83)), VitalBench::hex({VitalBench::frame(0x83, {75, 50})}));
    EXPECT_EQ(VitalBench::hex(withCode(asked, 0x9C)), VitalBench::hex({VitalBench::frame(0x9C, {1})}));  // measuring
    for (const Frames& more : {withCode(asked, 0xAA), withCode(bench.after(seconds(2)), 0xAA)}) {
        live.insert(live.end(), more.begin(), more.end());
    }
    EXPECT_EQ(live.size(), static_cast<std::size_t>(std::ceil(2.0 * kSampleRate / 9)));
    for (const auto& f : live) {
        EXPECT_EQ(f.size(), kLiveLength);
        EXPECT_EQ(std::count(f.begin(), f.end(), 0), 0) << halvora::test::hex(f);
    }
    EXPECT_TRUE(bench.after(seconds(1)).empty()) << "frames after the duration";

    // Finished: byte 2 HRV, 4 heart rate, 9 breathing rate, 10 to 15 the BCD start.
    Bytes finished = bytes("9C 03 32 00 4B 00 00 00 00 0E");
    finished.insert(finished.end(), startBcd.begin(), startBcd.end());
    EXPECT_EQ(VitalBench::hex(bench.ask(VitalBench::frame(0x9C))), VitalBench::hex({finished}));

    // Stored as record 2 (record 1 was there before): its samples are the live ones.
    const Frames pages = bench.ask(VitalBench::frame(0x71, {2}));
    ASSERT_GE(pages.size(), 3U);
    const Bytes& header = pages.front();
    Bytes expectedHeader = {0x71, 0x02, 0x00};
    expectedHeader.insert(expectedHeader.end(), startBcd.begin(), startBcd.end());
    for (std::uint8_t b : {0x00, 0x00, 0x32, 0x4B, 0x0E}) expectedHeader.push_back(b);
    EXPECT_EQ(halvora::test::hex(Bytes(header.begin(), header.begin() + 14)), halvora::test::hex(expectedHeader));
    EXPECT_EQ(halvora::test::hex(pages.back()), "71 FF FF");
    std::vector<int> paged = samplesOf({header}, 27);
    const auto later = samplesOf(Frames(pages.begin() + 1, pages.end() - 1), 3);
    paged.insert(paged.end(), later.begin(), later.end());
    EXPECT_EQ(paged, samplesOf(live, 1));
}

TEST(VitalECGLab, SamplesLookLikeAHeartAtTheScriptedRate) {
    VitalBench bench(ecgScript(10));
    Frames frames = bench.ask(VitalBench::frame(0x99));
    const Frames later = bench.after(seconds(11));
    frames.insert(frames.end(), later.begin(), later.end());
    const auto samples = samplesOf(withCode(frames, 0xAA), 1);
    ASSERT_GE(samples.size(), 10U * kSampleRate);
    // R waves: the bracelet's raw trace is upside down, so they are local minima well below the offset, at
    // least 0.25 s apart.
    const int top = *std::max_element(samples.begin(), samples.end());
    const int bottom = *std::min_element(samples.begin(), samples.end());
    EXPECT_GT(bottom, 0xFF);                 // the high byte is never 0
    EXPECT_NEAR(top - bottom, 10500, 2500);  // about 1.5 mV from the R wave to the S wave
    std::vector<std::size_t> peaks;
    for (std::size_t i = 1; i + 1 < samples.size(); ++i) {
        const bool deep = samples[i] < top - (top - bottom) * 6 / 10;
        const bool apart = peaks.empty() || i - peaks.back() > kSampleRate / 4;
        if (deep && apart && samples[i] <= samples[i - 1] && samples[i] <= samples[i + 1]) peaks.push_back(i);
    }
    EXPECT_NEAR(static_cast<double>(peaks.size()), 75.0 / 6, 1.5);  // 75 beats a minute over 10 s
    double squares = 0;
    for (std::size_t i = 2; i < peaks.size(); ++i) {
        const double d =
            static_cast<double>(peaks[i] - peaks[i - 1]) - static_cast<double>(peaks[i - 1] - peaks[i - 2]);
        squares += d * d;
    }
    const double rmssdMs = std::sqrt(squares / static_cast<double>(peaks.size() - 2)) * 1000.0 / kSampleRate;
    EXPECT_GT(rmssdMs, 10.0);
    EXPECT_LT(rmssdMs, 150.0);
}

TEST(VitalECGLab, StoredRecordsAndUnknownOnes) {
    VitalBench bench(ecgScript(3, 2));
    for (std::uint8_t number : {1, 2}) {
        const Frames pages = bench.ask(VitalBench::frame(0x71, {number}));
        ASSERT_GE(pages.size(), 2U);
        EXPECT_EQ(pages[0][1], number);
        EXPECT_EQ(pages[0][4], 0x11);  // November, a day before the other
        EXPECT_EQ(halvora::test::hex(pages.back()), "71 FF FF");
        std::size_t count = samplesOf({pages[0]}, 27).size();
        for (std::size_t i = 1; i + 1 < pages.size(); ++i) {
            EXPECT_LE(pages[i].size(), 244U);
            EXPECT_EQ(pages[i].size() % 2, 1U);
            count += samplesOf({pages[i]}, 3).size();
        }
        EXPECT_EQ(count, static_cast<std::size_t>(std::ceil(3.0 * kSampleRate / 9)) * 9);
    }
    EXPECT_EQ(VitalBench::hex(bench.ask(VitalBench::frame(0x71, {7}))), VitalBench::hex({bytes("71 FF FF")}));
    EXPECT_EQ(VitalBench::hex(bench.ask(VitalBench::frame(0x71, {0}))), VitalBench::hex({bytes("71 FF FF")}));
}

TEST(VitalECGLab, ScriptedRefusalStartsNothing) {
    VitalScript script = ecgScript(2);
    script.ecg.refuseWith = 2;
    VitalBench bench(script);
    EXPECT_EQ(VitalBench::hex(bench.ask(VitalBench::frame(0x99))), VitalBench::hex({VitalBench::frame(0x99, {2})}));
    EXPECT_TRUE(bench.after(seconds(3)).empty());
    EXPECT_EQ(VitalBench::hex(bench.ask(VitalBench::frame(0x9C))), VitalBench::hex({VitalBench::frame(0x9C, {0})}));
}

TEST(VitalECGLab, LostLinkDropsTheMeasurement) {
    VitalBench bench(ecgScript(5));
    bench.ask(VitalBench::frame(0x99));
    bench.bracelet->dropLink();
    bench.lab.settle();
    bench.connect();
    bench.startNotifications();
    bench.lab.settle();
    bench.log->take();
    EXPECT_TRUE(withCode(bench.after(seconds(6)), 0xAA).empty());
    EXPECT_EQ(bench.bracelet->ecgRecords().size(), 1U);
}

}  // namespace
}  // namespace halvora::lab::test
