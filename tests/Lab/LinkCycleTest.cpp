#include <gtest/gtest.h>

#include "LabBench.hpp"
#include "lab/SimulatedCentral.hpp"

namespace halvora::lab::test {
namespace {

using std::chrono::milliseconds;

TEST(LabLinkCycle, FirstEventIsTheStateReport) {
    auto executor = VirtualExecutor::create();
    auto radio = std::make_shared<Radio>(executor);
    LabTransport transport(radio);
    auto recorder = std::make_shared<EventRecorder>();
    auto central = transport.makeCentral(recorder, executor->makeQueue("cb"), {});
    EXPECT_EQ(central->state(), CentralState::Unknown);
    executor->runUntilIdle();
    EXPECT_EQ(recorder->lines(), Lines{"state PoweredOn"});
    EXPECT_EQ(transport.name(), "lab");
}

TEST(LabLinkCycle, FullCycleEventsArriveInOrder) {
    LabBench bench;
    auto peripheral = bench.echo();
    ASSERT_TRUE(peripheral);
    EXPECT_EQ(peripheral->identifier(), EchoDevice::kIdentifier);
    EXPECT_EQ(peripheral->name(), "Echo");

    bench.central->connectPeripheral(peripheral, {});
    EXPECT_EQ(peripheral->state(), PeripheralState::Connecting);
    const auto start = bench.executor->elapsed();
    ASSERT_TRUE(bench.executor->runUntil([&] { return bench.recorder->count("connect") == 1; }, milliseconds(100)));
    EXPECT_EQ(bench.executor->elapsed() - start, Radio::kDefaultConnectLatency);
    EXPECT_EQ(peripheral->state(), PeripheralState::Connected);

    auto gatt = LabBench::discover(peripheral, *bench.executor);
    ASSERT_TRUE(gatt.notify && gatt.echo && gatt.info);
    EXPECT_EQ(gatt.echo->properties(), CharacteristicPropertyWrite | CharacteristicPropertyWriteWithoutResponse);
    peripheral->setNotifyValue(true, gatt.notify);
    bench.settle();
    EXPECT_TRUE(gatt.notify->isNotifying());

    // Issued back to back: the write's response comes before the echo it causes, and the read after both.
    peripheral->writeValue({0x01, 0x02}, gatt.echo, WriteType::WithResponse);
    peripheral->readValue(gatt.info);
    bench.settle();
    EXPECT_EQ(gatt.info->value(), (std::vector<std::uint8_t>{0xCA, 0xFE}));

    bench.central->cancelPeripheralConnection(peripheral);
    EXPECT_EQ(peripheral->state(), PeripheralState::Disconnecting);
    bench.settle();

    EXPECT_EQ(bench.recorder->lines(),
              (Lines{"connect Echo", "services FFF0", "characteristics FFF1 FFF2 FFF3", "descriptor FFF1",
                     "written FFF2", "value FFF1 0102", "value FFF3 CAFE", "disconnect Echo"}));
    EXPECT_EQ(peripheral->state(), PeripheralState::Disconnected);
    EXPECT_TRUE(peripheral->services().empty());
    EXPECT_EQ(bench.device->connections(), 1);
    EXPECT_EQ(bench.device->disconnections(), 1);
    EXPECT_FALSE(bench.device->isConnected());
    EXPECT_EQ(bench.executor->pendingCount(), 0U);
}

TEST(LabLinkCycle, ConnectingAConnectedPeripheralReportsTheConnectionAgain) {
    LabBench bench;
    auto peripheral = bench.echo();
    bench.connectReady(peripheral);
    bench.central->connectPeripheral(peripheral, {});
    bench.settle();
    EXPECT_EQ(bench.recorder->lines(), Lines{"connect Echo"});
    EXPECT_EQ(bench.device->connections(), 1);
}

TEST(LabLinkCycle, CancellingAPendingConnectionReportsADisconnection) {
    LabBench bench;
    auto peripheral = bench.echo();
    bench.central->connectPeripheral(peripheral, {});
    bench.central->cancelPeripheralConnection(peripheral);
    bench.settle();
    EXPECT_EQ(bench.recorder->lines(), Lines{"disconnect Echo"});
    EXPECT_EQ(bench.device->connections(), 0);
    // Cancelling what is not connected reports nothing.
    bench.central->cancelPeripheralConnection(peripheral);
    bench.settle();
    EXPECT_EQ(bench.recorder->lines().size(), 1U);
}

TEST(LabLinkCycle, ImpossibleRequestsAreAnsweredWithErrors) {
    LabBench bench;
    auto peripheral = bench.echo();
    auto gatt = bench.connectReady(peripheral);
    auto stranger = std::make_shared<Characteristic>(BLEUUID("FFF9"), CharacteristicPropertyWrite);

    peripheral->writeValue({0x01}, stranger, WriteType::WithResponse);
    peripheral->writeValue({0x02}, gatt.notify, WriteType::WithResponse);
    peripheral->writeValue({0x03}, gatt.info, WriteType::WithoutResponse);  // dropped: no property
    peripheral->setNotifyValue(true, gatt.info);
    peripheral->readValue(gatt.echo);
    peripheral->discoverCharacteristics({}, std::make_shared<Service>(BLEUUID("180A")));
    bench.settle();
    EXPECT_EQ(bench.recorder->lines(), (Lines{"written FFF9 error 6", "written FFF1 error 7", "descriptor FFF3 error 7",
                                              "value FFF2 error 7", "characteristics error 6"}));
    EXPECT_TRUE(bench.device->writes().empty());

    bench.central->cancelPeripheralConnection(peripheral);
    bench.settle();
    bench.recorder->clear();
    peripheral->discoverServices(std::nullopt);
    peripheral->readValue(gatt.info);
    peripheral->writeValue({0x04}, gatt.echo, WriteType::WithResponse);
    peripheral->setNotifyValue(true, gatt.notify);
    bench.settle();
    EXPECT_EQ(bench.recorder->lines(),
              (Lines{"services error 2", "value FFF3 error 2", "written FFF2 error 2", "descriptor FFF1 error 2"}));
}

TEST(LabLinkCycle, ForeignPeripheralFailsToConnect) {
    LabBench bench;
    auto otherRecorder = std::make_shared<EventRecorder>();
    auto other = bench.makeCentral(otherRecorder);
    bench.settle();
    auto foreign = bench.echo(other, otherRecorder);
    bench.central->connectPeripheral(foreign, {});
    bench.central->connectPeripheral(nullptr, {});
    bench.settle();
    EXPECT_EQ(bench.recorder->lines(), Lines{"fail Echo error 1"});
    EXPECT_FALSE(bench.device->isConnected());
}

TEST(LabLinkCycle, EventsForVanishedDelegatesAreDropped) {
    LabBench bench;
    auto peripheral = bench.echo();
    auto gatt = bench.connectReady(peripheral);

    auto gone = std::make_shared<EventRecorder>();
    peripheral->setDelegate(gone);
    peripheral->writeValue({0x05}, gatt.echo, WriteType::WithResponse);
    gone.reset();
    bench.settle();
    EXPECT_EQ(bench.device->writes().size(), 1U);

    // A central dropped with events on their way: nothing is delivered, nothing breaks, its links end.
    peripheral->readValue(gatt.info);
    bench.central.reset();
    bench.settle();
    EXPECT_TRUE(bench.recorder->lines().empty());
    EXPECT_FALSE(bench.device->isConnected());
    EXPECT_EQ(bench.device->disconnections(), 1);
}

}  // namespace
}  // namespace halvora::lab::test
