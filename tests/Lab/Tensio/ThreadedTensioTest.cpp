// The blood-pressure bracelet on real threads: the lab queue answers, streams a measurement and sends stray
// frames while the application's threads write commands, replace the script and read the bracelet's state.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "TensioBench.hpp"
#include "halvora/Runtime/ThreadedExecutor.hpp"
#include "lab/LabTransport.hpp"

namespace halvora::lab::test {
namespace {

const std::string kThreadedIdentifier = "B9700000-0000-4000-8000-0000000000F5";

TensioScript quickScript() {
    TensioScript script;
    script.seededReadings = 5;
    script.inflateTo = 40;
    script.deflateTo = 20;
    script.pressureInterval = std::chrono::milliseconds(10);
    script.faults.strayEvery = std::chrono::milliseconds(10);
    return script;
}

void measureWhileReading(const std::shared_ptr<ThreadedExecutor>& executor) {
    auto radio = std::make_shared<Radio>(executor);
    LabTransport transport(radio);
    auto bracelet = VirtualTensioBracelet::make(kThreadedIdentifier);
    bracelet->setScript(quickScript());
    radio->addPeripheral(bracelet);
    ThreadedSerialLink<VirtualTensioBracelet> link(transport, executor, kThreadedIdentifier);
    auto log = std::make_shared<NotificationLog>(VirtualTensioBracelet::kNotify);
    link.peripheral->setDelegate(log);

    std::atomic<bool> done{false};
    std::thread reader([&] {
        while (!done) {
            (void)bracelet->settings();
            (void)bracelet->memory();
            (void)bracelet->framesReceived();
            (void)bracelet->measurementsStarted();
        }
    });
    std::thread scripter([&] {
        for (int i = 0; i < 20; ++i) bracelet->setScript(quickScript());
    });
    auto write = [&](const Bytes& frame) {
        link.peripheral->writeValue(frame, link.service->characteristic(VirtualTensioBracelet::kWrite),
                                    WriteType::WithoutResponse);
    };
    write(TensioBench::setting(0x21, {8, 0, 12, 0, 0x11, 60}));
    for (int i = 0; i < 7; ++i) write(TensioBench::command(0x01, 0x00));
    write(TensioBench::command(0x00, 0x00));
    scripter.join();
    EXPECT_TRUE(waitRealTime([&] { return bracelet->framesReceived().size() == 9U; }));
    EXPECT_TRUE(waitRealTime([&] { return !bracelet->settings().measuring; }));  // the result is out
    done = true;
    reader.join();
    EXPECT_EQ(bracelet->measurementsStarted(), 1);
    EXPECT_EQ(bracelet->settings().windows.size(), 1U);
    std::size_t received = 0;  // answers, pressures and strays
    EXPECT_TRUE(waitRealTime([&] { return (received += log->take().size()) > 10U; }));
    link.central->cancelPeripheralConnection(link.peripheral);
}

TEST(VirtualTensioBraceletThreaded, MeasureWhileTheApplicationReadsAndScripts) {
    auto executor = ThreadedExecutor::create();
    measureWhileReading(executor);
    executor->shutdown();
}

}  // namespace
}  // namespace halvora::lab::test
