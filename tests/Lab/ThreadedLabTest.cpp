#include <gtest/gtest.h>

#include <thread>

#include "EchoDevice.hpp"
#include "EventRecorder.hpp"
#include "halvora/Runtime/ThreadedExecutor.hpp"
#include "lab/LabTransport.hpp"
#include "lab/Radio.hpp"

namespace halvora::lab::test {
namespace {

using Lines = std::vector<std::string>;

/// The full cycle on real threads: the lab queue, the central's queue and the test's own threads.
void runFullCycle(const std::shared_ptr<ThreadedExecutor>& executor) {
    auto radio = std::make_shared<Radio>(executor);
    LabTransport transport(radio);
    auto device = std::make_shared<EchoDevice>();
    radio->addPeripheral(device);
    auto recorder = std::make_shared<EventRecorder>();
    auto central = transport.makeCentral(recorder, executor->makeQueue("halvora.cb"), {});
    ASSERT_TRUE(recorder->waitForLines(1));

    auto peripheral = central->retrievePeripheralsWithIdentifiers({EchoDevice::kIdentifier}).front();
    peripheral->setDelegate(recorder);
    central->connectPeripheral(peripheral, {});
    ASSERT_TRUE(recorder->waitForLines(2));
    peripheral->discoverServices(std::nullopt);
    ASSERT_TRUE(recorder->waitForLines(3));
    auto service = peripheral->services().front();
    peripheral->discoverCharacteristics({}, service);
    ASSERT_TRUE(recorder->waitForLines(4));
    peripheral->setNotifyValue(true, service->characteristic(EchoDevice::kNotify));
    ASSERT_TRUE(recorder->waitForLines(5));
    peripheral->writeValue({0x01, 0x02}, service->characteristic(EchoDevice::kEcho), WriteType::WithResponse);
    peripheral->readValue(service->characteristic(EchoDevice::kInfo));
    ASSERT_TRUE(recorder->waitForLines(8));

    // Two application threads writing at once: every echo comes back.
    auto writer = [&](std::uint8_t tag) {
        for (int i = 0; i < 20; ++i) {
            peripheral->writeValue({tag}, service->characteristic(EchoDevice::kEcho), WriteType::WithoutResponse);
        }
    };
    std::thread first(writer, 0xA1);
    std::thread second(writer, 0xB2);
    first.join();
    second.join();
    ASSERT_TRUE(recorder->waitForLines(48));

    central->cancelPeripheralConnection(peripheral);
    ASSERT_TRUE(recorder->waitForLines(49));
    const Lines lines = recorder->lines();
    EXPECT_EQ(Lines(lines.begin(), lines.begin() + 8),
              (Lines{"state PoweredOn", "connect Echo", "services FFF0", "characteristics FFF1 FFF2 FFF3",
                     "descriptor FFF1", "written FFF2", "value FFF1 0102", "value FFF3 CAFE"}));
    EXPECT_EQ(recorder->count("value FFF1 A1"), 20U);
    EXPECT_EQ(recorder->count("value FFF1 B2"), 20U);
    EXPECT_EQ(lines.back(), "disconnect Echo");
    EXPECT_EQ(device->disconnections(), 1);
}

TEST(LabThreaded, FullCycleOnRealThreads) {
    auto executor = ThreadedExecutor::create();
    runFullCycle(executor);
    executor->shutdown();
}

}  // namespace
}  // namespace halvora::lab::test
