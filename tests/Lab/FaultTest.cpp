#include <gtest/gtest.h>

#include "LabBench.hpp"

namespace halvora::lab::test {
namespace {

using std::chrono::milliseconds;

LabFaults with(const std::function<void(LabFaults&)>& change) {
    LabFaults faults;
    change(faults);
    return faults;
}

TEST(LabFaultsTest, RefusedConnectionsFail) {
    const std::vector<std::pair<const char*, LabFaults>> cases = {
        {"failConnect", with([](LabFaults& f) { f.failConnect = true; })},
        {"out of range", with([](LabFaults& f) { f.inRange = false; })},
    };
    const std::vector<std::string> expected = {"fail Echo error 3", "fail Echo error 4"};
    for (std::size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(cases[i].first);
        LabBench bench;
        bench.device->setFaults(cases[i].second);
        auto peripheral = bench.echo();
        bench.central->connectPeripheral(peripheral, {});
        bench.settle();
        EXPECT_EQ(bench.recorder->lines(), Lines{expected[i]});
        EXPECT_EQ(peripheral->state(), PeripheralState::Disconnected);
        EXPECT_EQ(bench.device->connections(), 0);
    }
}

TEST(LabFaultsTest, DiscoveryErrorsAreReported) {
    LabBench bench;
    auto peripheral = bench.echo();
    bench.central->connectPeripheral(peripheral, {});
    bench.settle();
    bench.device->setFaults(with([](LabFaults& f) { f.discoveryError = true; }));
    peripheral->discoverServices(std::nullopt);
    bench.settle();
    EXPECT_TRUE(peripheral->services().empty());

    bench.device->setFaults(with([](LabFaults& f) { f.characteristicDiscoveryError = true; }));
    peripheral->discoverServices(std::vector<BLEUUID>{EchoDevice::kService});
    bench.settle();
    ASSERT_EQ(peripheral->services().size(), 1U);
    peripheral->discoverCharacteristics({}, peripheral->services().front());
    bench.settle();
    EXPECT_EQ(bench.recorder->lines(),
              (Lines{"connect Echo", "services error 10", "services FFF0", "characteristics error 10"}));
    EXPECT_TRUE(peripheral->services().front()->characteristics().empty());
}

struct NotificationCase {
    const char* what;
    LabFaults faults;
    Lines expected;
};

TEST(LabFaultsTest, NotificationFaultsShapeWhatArrives) {
    const std::vector<NotificationCase> cases = {
        {"none", {}, {"value FFF1 0102030405"}},
        {"duplicated",
         with([](LabFaults& f) { f.duplicateNotifications = true; }),
         {"value FFF1 0102030405", "value FFF1 0102030405"}},
        {"split", with([](LabFaults& f) { f.splitNotificationsAt = 2; }), {"value FFF1 0102", "value FFF1 030405"}},
        {"split beyond the end", with([](LabFaults& f) { f.splitNotificationsAt = 5; }), {"value FFF1 0102030405"}},
        {"always lost", with([](LabFaults& f) { f.dropNotificationProbability = 1.0; }), {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        LabBench bench;
        auto peripheral = bench.echo();
        auto gatt = bench.connectReady(peripheral);
        bench.device->setFaults(c.faults);
        peripheral->writeValue({1, 2, 3, 4, 5}, gatt.echo, WriteType::WithoutResponse);
        bench.settle();
        EXPECT_EQ(bench.recorder->lines(), c.expected);
    }
}

/// Forty echoes with half of the notifications lost; the trace depends on the seed only.
Lines lossyRun(std::uint64_t seed) {
    LabBench bench(seed);
    auto peripheral = bench.echo();
    auto gatt = bench.connectReady(peripheral);
    bench.device->setFaults(with([](LabFaults& f) { f.dropNotificationProbability = 0.5; }));
    for (std::uint8_t i = 0; i < 40; ++i) peripheral->writeValue({i}, gatt.echo, WriteType::WithoutResponse);
    bench.settle();
    return bench.recorder->lines();
}

TEST(LabFaultsTest, LostNotificationsFollowTheSeed) {
    const Lines first = lossyRun(7);
    EXPECT_GT(first.size(), 5U);
    EXPECT_LT(first.size(), 35U);
    EXPECT_EQ(lossyRun(7), first);
    EXPECT_NE(lossyRun(8), first);
}

TEST(LabFaultsTest, SameSeedSameTrace) {
    auto run = [](std::uint64_t seed) {
        VirtualPeripheralConfig config = EchoDevice::defaultConfig();
        config.rssiJitter = 6;
        LabBench bench(seed);
        bench.radio->removePeripheral(EchoDevice::kIdentifier);
        bench.radio->addPeripheral(std::make_shared<EchoDevice>(config));
        bench.central->scanForPeripheralsWithServices({}, ScanOptions{true});
        bench.executor->advance(milliseconds(2000));
        return bench.recorder->rssis();
    };
    const auto first = run(3);
    ASSERT_EQ(first.size(), 20U);
    for (int rssi : first) {
        EXPECT_GE(rssi, -66);
        EXPECT_LE(rssi, -54);
    }
    EXPECT_NE(std::count(first.begin(), first.end(), first.front()), 20);
    EXPECT_EQ(run(3), first);
}

TEST(LabFaultsTest, LinkLossIsADisconnectionWithAnError) {
    LabBench bench;
    auto peripheral = bench.echo();
    auto gatt = bench.connectReady(peripheral);
    bench.device->dropLink();
    // Made while the link was still up, this write is lost with it; the next one finds no link.
    peripheral->writeValue({0x01}, gatt.echo, WriteType::WithResponse);
    bench.settle();
    peripheral->writeValue({0x02}, gatt.echo, WriteType::WithResponse);
    bench.settle();
    EXPECT_EQ(bench.recorder->lines(), (Lines{"disconnect Echo error 5", "written FFF2 error 2"}));
    EXPECT_EQ(peripheral->state(), PeripheralState::Disconnected);
    EXPECT_EQ(bench.device->disconnections(), 1);
    EXPECT_TRUE(bench.device->writes().empty());
}

TEST(LabFaultsTest, DisconnectAfterEndsTheLinkOnTime) {
    LabBench bench;
    bench.device->setFaults(with([](LabFaults& f) { f.disconnectAfter = std::chrono::seconds(5); }));
    auto peripheral = bench.echo();
    bench.central->connectPeripheral(peripheral, {});
    ASSERT_TRUE(bench.executor->runUntil([&] { return bench.recorder->count("connect") == 1; }, milliseconds(100)));
    bench.executor->advance(std::chrono::seconds(5) - milliseconds(1));
    EXPECT_EQ(peripheral->state(), PeripheralState::Connected);
    bench.executor->advance(milliseconds(1));
    EXPECT_EQ(bench.recorder->lines(), (Lines{"connect Echo", "disconnect Echo error 5"}));
}

TEST(LabFaultsTest, ReplyDelayHoldsBackEveryAnswerInOrder) {
    LabBench bench;
    auto peripheral = bench.echo();
    auto gatt = bench.connectReady(peripheral);
    bench.device->setFaults(with([](LabFaults& f) { f.replyDelay = milliseconds(500); }));
    peripheral->writeValue({0x09}, gatt.echo, WriteType::WithResponse);
    bench.executor->advance(Radio::kDefaultGattLatency);  // the device has the write; its answers are delayed
    // Without the delay, the read's answer would be ready first; it may not overtake the delayed ones.
    bench.device->setFaults({});
    peripheral->readValue(gatt.info);
    bench.executor->advance(milliseconds(499));
    EXPECT_TRUE(bench.recorder->lines().empty());
    bench.executor->advance(milliseconds(1));
    EXPECT_EQ(bench.recorder->lines(), (Lines{"written FFF2", "value FFF1 09", "value FFF3 CAFE"}));
}

}  // namespace
}  // namespace halvora::lab::test
