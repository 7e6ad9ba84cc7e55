// The RM830's switch into its bootloader (0x47) and back: who is on the air when, and which firmware the
// bracelet runs afterwards.
#include <gtest/gtest.h>

#include <optional>

#include "RM830PhoneUploader.hpp"
#include "RM830UpdaterBench.hpp"

namespace halvora::lab::test {
namespace {

using halvora::test::bytes;
using std::chrono::milliseconds;
using std::chrono::seconds;
using State = VirtualRM830Bootloader::State;

constexpr const char* kOldVersion = "54.51.55.9";
/// The 0x27 answer for kOldVersion.
constexpr const char* kOldVersionAnswer = "27 36 33 37 09 00 00 00 00 00 00 00 00 00 00 D0";
constexpr auto kGattLatency = Radio::kDefaultGattLatency;

RM830Script oldFirmware() {
    RM830Script script;
    script.version = kOldVersion;
    return script;
}

void advanceTo(RM830UpdaterBench& bench, MonotonicTime time) {
    auto& executor = *bench.rm830.lab.executor;
    ASSERT_GE(time, executor.now());
    executor.advance(time - executor.now());
}

/// Sends the whole of `image` by hand (new procedure, no receipts) and asks for validation; returns the
/// validation's answer.
Frames sendWholeImage(RM830UpdaterBench& bench, const Bytes& image) {
    bench.request("01 04");
    EXPECT_EQ(bench.sendPacket(RM830UpdaterBench::sizes(static_cast<std::uint32_t>(image.size()))),
              Frames{bytes("10 01 01")});
    bench.request("03");
    Frames last;
    for (std::size_t n = 0; n * 20 < image.size(); ++n) last = bench.sendPacket(RM830UpdaterBench::packetOf(image, n));
    EXPECT_EQ(last, Frames{bytes("10 03 01")});
    return bench.request("04");
}

/// Connects the bracelet again once it is back and returns its answer to 0x27.
std::string versionAnswer(RM830UpdaterBench& bench) {
    bench.rm830.connect();
    bench.rm830.startNotifications();
    bench.rm830.lab.settle();
    bench.rm830.log->take();
    return RM830Bench::hex(bench.rm830.ask(RM830Bench::command(0x27)));
}

/// Lets the bootloader's exit at `left` be followed by the restart delay, checking the bracelet returns
/// exactly then.
void expectBackAfterRestartDelay(RM830UpdaterBench& bench, MonotonicTime left) {
    const MonotonicTime back = left + bench.rm830.bracelet->script().updater.restartDelay;
    advanceTo(bench, back - milliseconds(1));
    EXPECT_FALSE(bench.rm830.bracelet->isPresent());
    advanceTo(bench, back + milliseconds(1));
    EXPECT_TRUE(bench.rm830.bracelet->isPresent());
    EXPECT_FALSE(bench.bootloader->isPresent());
    EXPECT_EQ(bench.bootloader->state(), State::Off);
}

TEST(RM830UpdateSwitch, BraceletLeavesTheAirAndItsBootloaderTakesItsPlace) {
    RM830UpdaterBench bench;
    auto& lab = bench.rm830.lab;
    lab.recorder->clear();
    const MonotonicTime asked = lab.executor->now();
    EXPECT_EQ(RM830Bench::hex(bench.rm830.ask(RM830Bench::command(0x47))),
              RM830Bench::hex({bytes("47 00 00 00 00 00 00 00 00 00 00 00 00 00 00 47")}));
    const MonotonicTime switchAt = asked + kGattLatency + RM830UpdaterScript{}.switchDelay;

    advanceTo(bench, switchAt - milliseconds(1));
    EXPECT_EQ(bench.rm830.peripheral->state(), PeripheralState::Connected);
    EXPECT_FALSE(bench.bootloader->isPresent());
    EXPECT_EQ(lab.radio->peripheral(bench.bootloader->identifier()), nullptr);

    advanceTo(bench, switchAt + milliseconds(1));
    EXPECT_EQ(lab.recorder->lines(), Lines{"disconnect J-Style error 5"});
    EXPECT_FALSE(bench.rm830.bracelet->isPresent());
    EXPECT_TRUE(bench.bootloader->isPresent());
    EXPECT_EQ(bench.bootloader->identifier(), "B8300000-0000-4000-8000-DF0000000830");
    EXPECT_EQ(lab.radio->peripheral(bench.bootloader->identifier()), bench.bootloader);
    EXPECT_EQ(bench.bootloader->state(), State::WaitingForStart);

    // On the air: the bootloader advertises, the bracelet neither advertises nor takes connections.
    lab.recorder->clear();
    lab.central->scanForPeripheralsWithServices({}, ScanOptions{true});
    lab.settle();
    lab.central->stopScan();
    EXPECT_GT(lab.recorder->count("discover DfuTarg"), 0U);
    EXPECT_EQ(lab.recorder->count("discover J-Style"), 0U);
    lab.central->connectPeripheral(bench.rm830.peripheral, {});
    lab.settle();
    EXPECT_EQ(lab.recorder->count("fail J-Style error 4"), 1U);

    bench.connect();
    EXPECT_EQ(bench.peripheral->state(), PeripheralState::Connected);
    EXPECT_EQ(bench.peripheral->name(), std::optional<std::string>("DfuTarg"));
}

TEST(RM830UpdateSwitch, ActivationBringsTheBraceletBackRunningTheNewImage) {
    struct Case {
        const char* what;
        std::optional<std::array<std::uint8_t, 4>> header;
        std::optional<std::string> versionAfterUpdate;
        const char* version;
        const char* answer;
    };
    const std::vector<Case> cases = {
        {"the image's header", std::array<std::uint8_t, 4>{0x36, 0x33, 0x39, 0x02}, std::nullopt, "54.51.57.2",
         "27 36 33 39 02 00 00 00 00 00 00 00 00 00 00 CB"},
        {"a header with a negative part", std::array<std::uint8_t, 4>{0x37, 0x00, 0x01, 0xFF}, "60.1.2.3", "55.0.1.-1",
         "27 37 00 01 FF 00 00 00 00 00 00 00 00 00 00 5E"},
        {"no header: the default", std::nullopt, std::nullopt, "54.51.56.1",
         "27 36 33 38 01 00 00 00 00 00 00 00 00 00 00 C9"},
        {"no header: the scripted version", std::nullopt, "60.1.2.3", "60.1.2.3",
         "27 3C 01 02 03 00 00 00 00 00 00 00 00 00 00 69"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        RM830Script script = oldFirmware();
        if (c.versionAfterUpdate) script.updater.versionAfterUpdate = *c.versionAfterUpdate;
        RM830UpdaterBench bench(script);
        bench.switchAndConnect();
        const Bytes image = RM830UpdaterBench::image(100, c.header);
        EXPECT_EQ(sendWholeImage(bench, image), Frames{bytes("10 04 01")});
        EXPECT_EQ(bench.bootloader->image(), image);

        const MonotonicTime activated = bench.rm830.lab.executor->now() + kGattLatency;
        EXPECT_TRUE(bench.request("05").empty());
        EXPECT_EQ(bench.rm830.lab.recorder->lines(), Lines{"disconnect DfuTarg error 5"});
        EXPECT_FALSE(bench.bootloader->isPresent());
        expectBackAfterRestartDelay(bench, activated);
        EXPECT_EQ(bench.rm830.bracelet->firmwareVersion(), c.version);
        EXPECT_EQ(versionAnswer(bench), RM830Bench::hex({bytes(c.answer)}));
    }
}

TEST(RM830UpdateSwitch, ResetsBringTheBraceletBackAsItWas) {
    struct Case {
        const char* what;
        std::function<void(RM830UpdaterBench&)> beforeTheRequest;
        const char* request;
    };
    const std::vector<Case> cases = {
        {"06 after a validated image",
         [](RM830UpdaterBench& bench) {
             sendWholeImage(bench, RM830UpdaterBench::image(40, {{1, 2, 3, 4}}));
         },
         "06"},
        {"05 without a validated image", [](RM830UpdaterBench& bench) { bench.request("01 04"); }, "05"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        RM830UpdaterBench bench(oldFirmware());
        bench.switchAndConnect();
        c.beforeTheRequest(bench);
        const MonotonicTime left = bench.rm830.lab.executor->now() + kGattLatency;
        EXPECT_TRUE(bench.request(c.request).empty());
        EXPECT_EQ(bench.rm830.lab.recorder->lines(), Lines{"disconnect DfuTarg error 5"});
        expectBackAfterRestartDelay(bench, left);
        EXPECT_EQ(bench.rm830.bracelet->firmwareVersion(), kOldVersion);
        EXPECT_EQ(versionAnswer(bench), RM830Bench::hex({bytes(kOldVersionAnswer)}));
    }
}

TEST(RM830UpdateSwitch, BootloaderGivesUpAfterItsInactivityTime) {
    RM830Script script = oldFirmware();
    script.updater.inactivityTime = seconds(10);

    // Nobody connects: counted from its appearance.
    {
        RM830UpdaterBench bench(script);
        const MonotonicTime asked = bench.rm830.lab.executor->now();
        bench.switchToUpdater();
        const MonotonicTime appeared = asked + kGattLatency + script.updater.switchDelay;
        advanceTo(bench, appeared + seconds(10) - milliseconds(1));
        EXPECT_TRUE(bench.bootloader->isPresent());
        advanceTo(bench, appeared + seconds(10) + milliseconds(1));
        EXPECT_FALSE(bench.bootloader->isPresent());
        expectBackAfterRestartDelay(bench, appeared + seconds(10));
        EXPECT_EQ(bench.rm830.bracelet->firmwareVersion(), kOldVersion);
    }
    // Connected: counted from the phone's last write; the phone sees the link drop once.
    {
        RM830UpdaterBench bench(script);
        const MonotonicTime asked = bench.rm830.lab.executor->now();
        bench.switchAndConnect();
        const MonotonicTime appeared = asked + kGattLatency + script.updater.switchDelay;
        const MonotonicTime written = bench.rm830.lab.executor->now() + kGattLatency;
        ASSERT_GT(written, appeared + seconds(1));
        bench.request("01 04");
        advanceTo(bench, appeared + seconds(10) + milliseconds(1));  // the write moved the deadline
        EXPECT_TRUE(bench.bootloader->isPresent());
        advanceTo(bench, written + seconds(10) - milliseconds(1));
        EXPECT_EQ(bench.peripheral->state(), PeripheralState::Connected);
        EXPECT_TRUE(bench.bootloader->isPresent());
        advanceTo(bench, written + seconds(10) + milliseconds(1));
        EXPECT_EQ(bench.rm830.lab.recorder->lines(), Lines{"disconnect DfuTarg error 5"});
        expectBackAfterRestartDelay(bench, written + seconds(10));
        bench.rm830.lab.executor->advance(seconds(60));
        EXPECT_EQ(bench.rm830.lab.recorder->lines(), Lines{"disconnect DfuTarg error 5"});
        EXPECT_TRUE(bench.rm830.bracelet->isPresent());
        EXPECT_EQ(bench.rm830.bracelet->firmwareVersion(), kOldVersion);
    }
}

TEST(RM830UpdateSwitch, LostReceiptStallsTheUploadUntilTheBootloaderGivesUp) {
    RM830Script script = oldFirmware();
    script.updater.faults.loseReceipt = 3;
    RM830UpdaterBench bench(script);
    bench.switchAndConnect();
    auto& lab = bench.rm830.lab;
    auto phone = std::make_shared<RM830PhoneUploader>(lab.executor, RM830UpdaterBench::image(2000), 10, true);
    bench.peripheral->setDelegate(phone);
    const MonotonicTime started = lab.executor->now();
    phone->start(bench.peripheral, bench.controlPoint, bench.packet);

    // Bursts of 10 until the third receipt, which never comes: the phone waits, the bootloader too.
    lab.executor->advance(seconds(29));
    EXPECT_EQ(phone->receipts().size(), 2U);
    EXPECT_EQ(bench.bootloader->packetsReceived(), 30);
    EXPECT_EQ(bench.bootloader->receiptsSent(), 2);
    EXPECT_EQ(bench.peripheral->state(), PeripheralState::Connected);
    // The last write came within the first second: 30 s later the bootloader has reset.
    advanceTo(bench, started + seconds(31));
    EXPECT_EQ(lab.recorder->lines(), Lines{"disconnect DfuTarg error 5"});
    EXPECT_FALSE(phone->validated());
    lab.executor->advance(seconds(2));
    EXPECT_TRUE(bench.rm830.bracelet->isPresent());
    EXPECT_EQ(bench.rm830.bracelet->firmwareVersion(), kOldVersion);
}

TEST(RM830UpdateSwitch, LinkDropsOnceAfterTheScriptedBytes) {
    RM830Script script;
    script.updater.faults.dropLinkAfterBytes = 50;
    RM830UpdaterBench bench(script);
    bench.switchAndConnect();
    const Bytes image = RM830UpdaterBench::image(100);
    bench.request("01 04");
    bench.sendPacket(RM830UpdaterBench::sizes(100));
    bench.request("03");
    EXPECT_TRUE(bench.sendPacket(RM830UpdaterBench::packetOf(image, 0)).empty());
    EXPECT_TRUE(bench.sendPacket(RM830UpdaterBench::packetOf(image, 1)).empty());
    EXPECT_TRUE(bench.rm830.lab.recorder->lines().empty());
    EXPECT_TRUE(bench.sendPacket(RM830UpdaterBench::packetOf(image, 2)).empty());
    EXPECT_EQ(bench.rm830.lab.recorder->lines(), Lines{"disconnect DfuTarg error 5"});
    EXPECT_EQ(bench.bootloader->imageBytesReceived(), 60U);
    // Still the bootloader, on the air: the phone may connect again and start over, without another drop.
    EXPECT_TRUE(bench.bootloader->isPresent());
    bench.connect();
    EXPECT_EQ(bench.bootloader->state(), State::WaitingForStart);
    EXPECT_EQ(sendWholeImage(bench, image), Frames{bytes("10 04 01")});
    EXPECT_TRUE(bench.rm830.lab.recorder->lines().empty());
}

TEST(RM830UpdateSwitch, SwitchRepeatsOnceTheBraceletIsBack) {
    RM830UpdaterBench bench(oldFirmware());
    // A second 0x47 while the first switch is under way is answered but switches nothing more.
    bench.rm830.ask(RM830Bench::command(0x47));
    bench.switchToUpdater();
    EXPECT_EQ(bench.rm830.bracelet->updateModeRequests(), 2);
    EXPECT_EQ(bench.bootloader->visits(), 1);
    bench.connect();
    bench.request("06");
    bench.rm830.lab.executor->advance(bench.rm830.bracelet->script().updater.restartDelay);
    ASSERT_TRUE(bench.rm830.bracelet->isPresent());

    EXPECT_EQ(versionAnswer(bench), RM830Bench::hex({bytes(kOldVersionAnswer)}));
    bench.switchToUpdater();
    EXPECT_EQ(bench.bootloader->visits(), 2);
    EXPECT_TRUE(bench.bootloader->isPresent());
    EXPECT_FALSE(bench.rm830.bracelet->isPresent());
    bench.connect();
    EXPECT_EQ(sendWholeImage(bench, RM830UpdaterBench::image(20)), Frames{bytes("10 04 01")});
}

}  // namespace
}  // namespace halvora::lab::test
