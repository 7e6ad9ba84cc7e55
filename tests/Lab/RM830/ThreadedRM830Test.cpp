// The RM830 on real threads: the lab queue answers and runs its streams while the application's threads
// write frames and read the bracelet's state.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "../SerialDeviceBench.hpp"
#include "RM830Bench.hpp"
#include "RM830PhoneUploader.hpp"
#include "halvora/Runtime/ThreadedExecutor.hpp"
#include "lab/LabTransport.hpp"

namespace halvora::lab::test {
namespace {

const std::string kThreadedIdentifier = "B8300000-0000-4000-8000-0000000008F1";

void downloadWhileReading(const std::shared_ptr<ThreadedExecutor>& executor) {
    auto radio = std::make_shared<Radio>(executor);
    LabTransport transport(radio);
    auto bracelet = VirtualRM830::make(kThreadedIdentifier);
    RM830Script script;
    script.clock = timeAt("2026-11-20 10:00");
    script.seededDays = 3;
    script.seededHeartPackets = 5;
    script.heartRateInterval = std::chrono::milliseconds(10);
    bracelet->setScript(script);
    radio->addPeripheral(bracelet);
    auto log = std::make_shared<NotificationLog>(VirtualRM830::kNotify);
    ThreadedSerialLink<VirtualRM830> link(transport, executor, kThreadedIdentifier);
    auto& central = link.central;
    auto& peripheral = link.peripheral;
    auto& service = link.service;
    peripheral->setDelegate(log);

    std::atomic<bool> done{false};
    std::thread reader([&] {
        while (!done) {
            (void)bracelet->settings();
            (void)bracelet->framesReceived();
            (void)bracelet->updateModeRequests();
        }
    });
    auto write = [&](const Bytes& frame) {
        peripheral->writeValue(frame, service->characteristic(VirtualRM830::kWrite), WriteType::WithoutResponse);
    };
    // A heart-rate stream runs while three days and five packets are asked for and another thread sets
    // the step goal.
    std::thread settings([&] {
        for (int i = 0; i < 50; ++i) write(RM830Bench::command(0x0B, {0x00, 0x03, static_cast<std::uint8_t>(i)}));
    });
    write(RM830Bench::command(0x2C, {0x01}));
    for (std::uint8_t d = 0; d < 3; ++d) write(RM830Bench::command(0x43, {d}));
    for (std::uint8_t n = 0; n < 5; ++n) write(RM830Bench::command(0x2F, {n}));
    settings.join();
    EXPECT_TRUE(waitRealTime([&] { return bracelet->framesReceived().size() == 59U; }));
    write(RM830Bench::command(0x2C, {0x00}));
    EXPECT_TRUE(waitRealTime([&] { return !bracelet->settings().realTimeHeartRate; }));
    done = true;
    reader.join();
    EXPECT_EQ(bracelet->settings().stepGoal, 0x0331);
    EXPECT_EQ(bracelet->rejectedFrames(), 0);
    // Every day frame and packet arrived, whatever the stream sent between them.
    Frames received;
    auto count = [&](std::uint8_t code) {
        return std::count_if(received.begin(), received.end(), [&](const Bytes& f) { return f.at(0) == code; });
    };
    EXPECT_TRUE(waitRealTime([&] {
        const auto more = log->take();
        received.insert(received.end(), more.begin(), more.end());
        return count(0x43) == 3 * 96 && count(0x2F) == 5;
    }));
    EXPECT_GT(count(0x2C), 0);
    central->cancelPeripheralConnection(peripheral);
}

// Switches the bracelet into its bootloader over a modelled link and updates it, while another thread reads
// the bracelet's and the bootloader's state.
void updateWhileReading(const std::shared_ptr<ThreadedExecutor>& executor) {
    auto radio = std::make_shared<Radio>(executor);
    LinkModel model;
    model.connectionInterval = std::chrono::microseconds(7500);
    radio->setLinkModel(model);
    LabTransport transport(radio);
    auto bracelet = VirtualRM830::make(kThreadedIdentifier);
    RM830Script script;
    script.version = "54.51.55.9";
    script.updater.switchDelay = std::chrono::milliseconds(20);
    script.updater.restartDelay = std::chrono::milliseconds(20);
    bracelet->setScript(script);
    radio->addPeripheral(bracelet);
    auto bootloader = bracelet->bootloader();
    ThreadedSerialLink<VirtualRM830> link(transport, executor, kThreadedIdentifier);

    std::atomic<bool> done{false};
    std::thread reader([&] {
        while (!done) {
            (void)bracelet->firmwareVersion();
            (void)bracelet->isPresent();
            (void)bootloader->state();
            (void)bootloader->image();
            (void)bootloader->packetsReceived();
            (void)bootloader->receiptsSent();
            (void)bootloader->requests();
        }
    });
    link.peripheral->writeValue(RM830Bench::command(0x47), link.service->characteristic(VirtualRM830::kWrite),
                                WriteType::WithoutResponse);
    EXPECT_TRUE(waitRealTime([&] { return bootloader->isPresent(); }));

    auto events = std::make_shared<EventRecorder>();
    auto target = link.central->retrievePeripheralsWithIdentifiers({bootloader->identifier()}).front();
    target->setDelegate(events);
    link.central->connectPeripheral(target, {});
    EXPECT_TRUE(waitRealTime([&] { return link.recorder->count("connect DfuTarg") == 1; }));
    target->discoverServices(std::vector<BLEUUID>{VirtualRM830Bootloader::kService});
    EXPECT_TRUE(events->waitForLines(1));
    auto service = target->services().front();
    target->discoverCharacteristics({}, service);
    EXPECT_TRUE(events->waitForLines(2));
    auto controlPoint = service->characteristic(VirtualRM830Bootloader::kControlPoint);
    target->setNotifyValue(true, controlPoint);
    EXPECT_TRUE(events->waitForLines(3));

    const Bytes image = {'J', '0', '5', '5', 0x36, 0x33, 0x39, 0x02, 1, 2, 3, 4, 5, 6, 7, 8};
    Bytes whole = image;
    while (whole.size() < 2000) whole.insert(whole.end(), image.begin() + 8, image.end());
    auto phone = std::make_shared<RM830PhoneUploader>(executor, whole, 10, true);
    target->setDelegate(phone);
    phone->start(target, controlPoint, service->characteristic(VirtualRM830Bootloader::kPacket));
    EXPECT_TRUE(waitRealTime([&] { return bracelet->isPresent() && bracelet->firmwareVersion() == "54.51.57.2"; }));
    done = true;
    reader.join();
    EXPECT_TRUE(phone->validated());
    EXPECT_EQ(bootloader->image(), whole);
    EXPECT_EQ(bootloader->state(), VirtualRM830Bootloader::State::Off);
}

TEST(VirtualRM830Threaded, UpdateWhileTheApplicationReadsTheBootloader) {
    auto executor = ThreadedExecutor::create();
    updateWhileReading(executor);
    executor->shutdown();
}

TEST(VirtualRM830Threaded, DownloadWhileTheApplicationReadsItsState) {
    auto executor = ThreadedExecutor::create();
    downloadWhileReading(executor);
    executor->shutdown();
}

}  // namespace
}  // namespace halvora::lab::test
