// The bracelet on real threads: the lab queue answers while the application's threads write commands and
// read the bracelet's state.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "../SerialDeviceBench.hpp"
#include "halvora/Runtime/ThreadedExecutor.hpp"
#include "lab/Devices/Bracelet/VirtualBracelet.hpp"
#include "lab/LabTransport.hpp"
#include "lab/Radio.hpp"

namespace halvora::lab::test {
namespace {

const std::string kIdentifier = "B5210000-0000-4000-8000-0000000000F1";

void downloadWhileReading(const std::shared_ptr<ThreadedExecutor>& executor) {
    auto radio = std::make_shared<Radio>(executor);
    LabTransport transport(radio);
    auto bracelet = VirtualBracelet::make(kIdentifier);
    BraceletScript script;
    script.history = BraceletHistory::seeded(2, BraceletTime::parse("2026-11-20 08:00").value(), 5);
    bracelet->setScript(script);
    radio->addPeripheral(bracelet);
    ThreadedSerialLink<VirtualBracelet> link(transport, executor, kIdentifier);
    auto& central = link.central;
    auto& peripheral = link.peripheral;
    auto& service = link.service;

    std::atomic<bool> done{false};
    std::thread reader([&] {
        while (!done) {
            (void)bracelet->settings();
            (void)bracelet->unsyncedHistory();
            (void)bracelet->commandsReceived();
        }
    });
    auto write = [&](const std::string& text) {
        peripheral->writeValue({text.begin(), text.end()}, service->characteristic(VirtualBracelet::kWrite),
                               WriteType::WithoutResponse);
    };
    // Every package of the download, asked for one after the other, while another thread sets the height.
    const int packages = static_cast<int>(BraceletHistory(script.history).packages(30).size());
    std::thread settings([&] {
        for (int i = 0; i < 50; ++i) write("AT+HEIGHT=" + std::to_string(150 + i) + "\r\n");
    });
    write("AT+DATA=0\r\n");
    for (int n = 2; n <= packages; ++n) write("AT+DATA=" + std::to_string(n) + "\r\n");
    settings.join();
    EXPECT_TRUE(waitRealTime([&] { return bracelet->commandsReceived().size() == 50U + packages; }));
    EXPECT_TRUE(waitRealTime([&] { return bracelet->unsyncedHistory().empty(); }));
    done = true;
    reader.join();
    EXPECT_EQ(bracelet->settings().height, 199);
    EXPECT_EQ(bracelet->packagesSent(), packages);
    central->cancelPeripheralConnection(peripheral);
}

TEST(VirtualBraceletThreaded, DownloadWhileTheApplicationReadsItsState) {
    auto executor = ThreadedExecutor::create();
    downloadWhileReading(executor);
    executor->shutdown();
}

}  // namespace
}  // namespace halvora::lab::test
