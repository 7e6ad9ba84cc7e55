#include <gtest/gtest.h>

#include "LabBench.hpp"

namespace halvora::lab::test {
namespace {

TEST(LabPower, PowerOffDropsLinksWithoutDisconnectionEvents) {
    LabBench bench;
    auto peripheral = bench.echo();
    bench.connectReady(peripheral);
    bench.central->scanForPeripheralsWithServices({}, ScanOptions{true});

    bench.radio->setPoweredOn(false);
    bench.settle();
    EXPECT_EQ(bench.recorder->lines(), Lines{"state PoweredOff"});
    EXPECT_EQ(bench.central->state(), CentralState::PoweredOff);
    EXPECT_EQ(peripheral->state(), PeripheralState::Disconnected);
    EXPECT_FALSE(bench.central->isScanning());
    EXPECT_FALSE(bench.device->isConnected());
    EXPECT_EQ(bench.device->disconnections(), 1);

    // While off, a connection attempt fails at once and a scan is ignored.
    bench.central->connectPeripheral(peripheral, {});
    bench.central->scanForPeripheralsWithServices({}, ScanOptions{true});
    bench.settle();
    EXPECT_EQ(bench.recorder->lines(), (Lines{"state PoweredOff", "fail Echo error 9"}));
    EXPECT_FALSE(bench.central->isScanning());

    bench.radio->setPoweredOn(true);
    bench.settle();
    bench.central->connectPeripheral(peripheral, {});
    bench.settle();
    EXPECT_EQ(bench.recorder->lines(),
              (Lines{"state PoweredOff", "fail Echo error 9", "state PoweredOn", "connect Echo"}));
    EXPECT_EQ(bench.device->connections(), 2);
}

TEST(LabPower, PowerOffAbandonsAPendingConnection) {
    LabBench bench;
    auto peripheral = bench.echo();
    bench.central->connectPeripheral(peripheral, {});
    bench.radio->setPoweredOn(false);
    bench.settle();
    EXPECT_EQ(bench.recorder->lines(), Lines{"state PoweredOff"});
    EXPECT_EQ(peripheral->state(), PeripheralState::Disconnected);
    EXPECT_EQ(bench.device->connections(), 0);
}

TEST(LabRestore, NewCentralWithTheRestoreIdentifierTakesOverTheLink) {
    LabBench bench;
    auto first = std::make_shared<EventRecorder>();
    auto central = bench.makeCentral(first, "app");
    bench.settle();
    auto peripheral = bench.echo(central, first);
    central->connectPeripheral(peripheral, {});
    bench.settle();
    ASSERT_EQ(first->count("connect Echo"), 1U);
    EXPECT_EQ(bench.transport.rememberedPeripherals("app"), std::vector<std::string>{EchoDevice::kIdentifier});

    // The application goes away; the system keeps the link.
    central.reset();
    peripheral.reset();
    bench.settle();
    EXPECT_TRUE(bench.device->isConnected());

    auto second = std::make_shared<EventRecorder>();
    auto relaunched = bench.makeCentral(second, "app");
    bench.settle();
    ASSERT_EQ(second->lines(), (Lines{"restore Echo", "state PoweredOn"}));
    auto restored = second->restored().front();
    EXPECT_EQ(restored->state(), PeripheralState::Connected);

    restored->setDelegate(second);
    relaunched->connectPeripheral(restored, {});
    bench.settle();
    auto gatt = LabBench::discover(restored, *bench.executor);
    restored->setNotifyValue(true, gatt.notify);
    bench.settle();
    restored->writeValue({0x07}, gatt.echo, WriteType::WithoutResponse);
    bench.settle();
    EXPECT_EQ(second->count("connect Echo"), 1U);
    EXPECT_EQ(second->count("value FFF1 07"), 1U);
    EXPECT_EQ(bench.device->connections(), 1);

    // Only centrals made with that identifier are handed the peripherals.
    auto plain = std::make_shared<EventRecorder>();
    auto other = bench.makeCentral(plain, "another");
    bench.settle();
    EXPECT_EQ(plain->lines(), Lines{"state PoweredOn"});
}

TEST(LabRestore, CancelledPeripheralsAreNotRestored) {
    LabBench bench;
    auto first = std::make_shared<EventRecorder>();
    auto central = bench.makeCentral(first, "app");
    bench.settle();
    auto peripheral = bench.echo(central, first);
    central->connectPeripheral(peripheral, {});
    bench.settle();
    central->cancelPeripheralConnection(peripheral);
    bench.settle();
    EXPECT_TRUE(bench.transport.rememberedPeripherals("app").empty());
}

TEST(LabRetrieve, RetrievesKnownAndSystemConnectedPeripherals) {
    LabBench bench;
    auto peripheral = bench.echo();
    auto byLowerCase = bench.central->retrievePeripheralsWithIdentifiers(
        {"6e400001-b5a3-f393-e0a9-e50e24dcca9e", "00000000-0000-0000-0000-000000000000", "not a uuid"});
    ASSERT_EQ(byLowerCase.size(), 1U);
    EXPECT_EQ(byLowerCase.front(), peripheral);

    auto otherRecorder = std::make_shared<EventRecorder>();
    auto other = bench.makeCentral(otherRecorder);
    bench.settle();
    EXPECT_TRUE(other->retrieveConnectedPeripheralsWithServices({EchoDevice::kService}).empty());

    bench.central->connectPeripheral(peripheral, {});
    bench.settle();
    auto connected = other->retrieveConnectedPeripheralsWithServices({BLEUUID("180D"), EchoDevice::kService});
    ASSERT_EQ(connected.size(), 1U);
    EXPECT_EQ(connected.front(), bench.echo(other, otherRecorder));
    EXPECT_NE(connected.front(), peripheral);
    EXPECT_TRUE(other->retrieveConnectedPeripheralsWithServices({BLEUUID("180D")}).empty());

    // The device takes one link at a time.
    other->connectPeripheral(connected.front(), {});
    bench.settle();
    EXPECT_EQ(otherRecorder->lines(), (Lines{"state PoweredOn", "fail Echo error 3"}));

    // A device out of range is no longer known.
    bench.radio->removePeripheral(EchoDevice::kIdentifier);
    bench.settle();
    EXPECT_TRUE(other->retrievePeripheralsWithIdentifiers({EchoDevice::kIdentifier}).empty());
    EXPECT_EQ(bench.recorder->lines().back(), "disconnect Echo error 5");
}

}  // namespace
}  // namespace halvora::lab::test
