#include <gtest/gtest.h>

#include "LabBench.hpp"

namespace halvora::lab::test {
namespace {

using std::chrono::milliseconds;

/// A second device: advertises slower, with a heart-rate service and manufacturer data.
std::shared_ptr<EchoDevice> makeBeta() {
    VirtualPeripheralConfig config;
    config.identifier = "0000BE7A-0000-4000-8000-000000000002";
    config.localName = "Beta";  // and no GAP name
    config.rssi = -75;
    config.advertisingInterval = milliseconds(250);
    config.manufacturerData = std::vector<std::uint8_t>{0x4C, 0x00};
    config.advertisedServices = {BLEUUID("180D")};
    return std::make_shared<EchoDevice>(config);
}

struct ScanCase {
    const char* what;
    bool allowDuplicates;
    std::vector<BLEUUID> services;
    std::size_t echoReports;
    std::size_t betaReports;
};

TEST(LabScan, ReportsAdvertisementsPerScanOptions) {
    const std::vector<ScanCase> cases = {
        {"duplicates", true, {}, 10, 4},  // one second: every 100 ms and every 250 ms
        {"once per scan", false, {}, 1, 1},
        {"filtered by service", true, {BLEUUID("180D")}, 0, 4},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        LabBench bench;
        bench.radio->addPeripheral(makeBeta());
        bench.central->scanForPeripheralsWithServices(c.services, ScanOptions{c.allowDuplicates});
        EXPECT_TRUE(bench.central->isScanning());
        bench.executor->advance(milliseconds(1000));
        EXPECT_EQ(bench.recorder->count("discover Echo LE"), c.echoReports);
        EXPECT_EQ(bench.recorder->count("discover Beta"), c.betaReports);
    }
}

TEST(LabScan, DiscoveryCarriesTheAdvertisementAndTheSamePeripheral) {
    LabBench bench;
    auto beta = makeBeta();
    bench.radio->addPeripheral(beta);
    AdvertisementData seen;
    int seenRssi = 0;
    struct Capture : EventRecorder {
        AdvertisementData* data = nullptr;
        int* rssi = nullptr;
        void centralManagerDidDiscoverPeripheral(Central& c, const std::shared_ptr<Peripheral>& p,
                                                 const AdvertisementData& d, int r) override {
            EventRecorder::centralManagerDidDiscoverPeripheral(c, p, d, r);
            if (d.localName == "Beta") {
                *data = d;
                *rssi = r;
            }
        }
    };
    auto capture = std::make_shared<Capture>();
    capture->data = &seen;
    capture->rssi = &seenRssi;
    bench.central->setDelegate(capture);
    bench.central->scanForPeripheralsWithServices({}, ScanOptions{true});
    bench.executor->advance(milliseconds(600));

    EXPECT_EQ(seen.manufacturerData, (std::vector<std::uint8_t>{0x4C, 0x00}));
    EXPECT_EQ(seen.serviceUUIDs, std::vector<BLEUUID>{BLEUUID("180D")});
    EXPECT_EQ(seenRssi, -75);
    auto peripheral = capture->discovered(beta->identifier());
    ASSERT_TRUE(peripheral);
    EXPECT_FALSE(peripheral->name().has_value());
    EXPECT_EQ(bench.central->retrievePeripheralsWithIdentifiers({beta->identifier()}).front(), peripheral);
}

TEST(LabScan, StoppingTheScanSilencesTheAirAndLeavesNothingPending) {
    LabBench bench;
    bench.central->scanForPeripheralsWithServices({}, ScanOptions{true});
    bench.executor->advance(milliseconds(300));
    bench.central->stopScan();
    const auto reported = bench.recorder->count("discover");
    bench.executor->advance(milliseconds(1000));
    EXPECT_EQ(reported, 3U);
    EXPECT_EQ(bench.recorder->count("discover"), reported);
    EXPECT_EQ(bench.executor->pendingCount(), 0U);
}

TEST(LabScan, ConnectedOrOutOfRangeDevicesDoNotAdvertise) {
    LabBench bench;
    auto peripheral = bench.echo();
    bench.central->connectPeripheral(peripheral, {});
    bench.settle();
    bench.central->scanForPeripheralsWithServices({}, ScanOptions{true});
    bench.settle();
    EXPECT_EQ(bench.recorder->count("discover"), 0U);

    bench.central->cancelPeripheralConnection(peripheral);
    LabFaults faults;
    faults.inRange = false;
    bench.device->setFaults(faults);
    bench.settle();
    EXPECT_EQ(bench.recorder->count("discover"), 0U);

    bench.device->setFaults(LabFaults{});
    bench.settle();
    EXPECT_EQ(bench.recorder->count("discover"), 10U);
}

}  // namespace
}  // namespace halvora::lab::test
