// A firmware upload to the RM830's bootloader over a modelled link runs exactly at the limit the link model
// states for it: the benchmark's yardstick must be what the lab really allows.
#include <gtest/gtest.h>

#include "RM830PhoneUploader.hpp"
#include "RM830UpdaterBench.hpp"

namespace halvora::lab::test {
namespace {

using std::chrono::milliseconds;

constexpr int kBurst = 10;

Duration ms(double value) {
    return std::chrono::duration_cast<Duration>(std::chrono::duration<double, std::milli>(value));
}

TEST(RM830UpdaterLink, UploadRunsAtTheLinkModelsLimit) {
    struct Case {
        double intervalMs;
        int perEvent;
        double latencyMs;
    };
    const std::vector<Case> cases = {
        {7.5, 4, 0}, {15, 4, 0}, {30, 4, 0},  {50, 4, 0},  // the benchmark's intervals
        {30, 10, 0}, {30, 3, 0}, {15, 6, 20}, {7.5, 4, 7.5},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message()
                     << c.intervalMs << " ms, " << c.perEvent << " per event, " << c.latencyMs << " ms latency");
        LinkModel model;
        model.connectionInterval = ms(c.intervalMs);
        model.packetsPerEvent = c.perEvent;
        model.notificationLatency = ms(c.latencyMs);

        RM830UpdaterBench bench;
        bench.switchAndConnect();
        auto& lab = bench.rm830.lab;
        lab.radio->setLinkModel(model);
        const Bytes image = RM830UpdaterBench::image(8000);
        auto phone = std::make_shared<RM830PhoneUploader>(lab.executor, image, kBurst, false);
        bench.peripheral->setDelegate(phone);
        phone->start(bench.peripheral, bench.controlPoint, bench.packet);
        ASSERT_TRUE(lab.executor->runUntil([&] { return phone->validated(); }, std::chrono::seconds(25)));

        EXPECT_EQ(bench.bootloader->image(), image);
        const auto receipts = phone->receipts();
        ASSERT_EQ(receipts.size(), image.size() / (20 * kBurst) - 1);
        // Between the first receipt and the last, every burst went at the pace of the steady state.
        const double seconds = std::chrono::duration<double>(receipts.back() - receipts.front()).count();
        const double bytes = static_cast<double>((receipts.size() - 1) * 20 * kBurst);
        const double limit = model.uploadLimit(kBurst);
        EXPECT_NEAR(bytes / seconds, limit, limit * 1e-9);
    }
}

}  // namespace
}  // namespace halvora::lab::test
