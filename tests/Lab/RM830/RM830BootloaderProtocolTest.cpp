// The RM830's bootloader from the phone's side of the link: the requests it takes on the control point, the
// packets it takes, and what it answers, as byte scripts.
#include <gtest/gtest.h>

#include <functional>
#include <sstream>

#include "RM830UpdaterBench.hpp"

namespace halvora::lab::test {
namespace {

using halvora::test::bytes;
using State = VirtualRM830Bootloader::State;

enum class To { ControlPoint, Packet, ImagePackets };

/// One write of the phone and the notifications expected back ("" for none; frames separated by '|').
struct Step {
    To to;
    std::string value;      // hex, for the control point and single packets
    std::size_t first = 0;  // the scenario image's packets first..last, for ImagePackets
    std::size_t last = 0;
    std::string answer;
};

Step cp(std::string value, std::string answer) {
    return {To::ControlPoint, std::move(value), 0, 0, std::move(answer)};
}
Step pk(std::string value, std::string answer) {
    return {To::Packet, std::move(value), 0, 0, std::move(answer)};
}
Step img(std::size_t first, std::size_t last, std::string answer) {
    return {To::ImagePackets, "", first, last, std::move(answer)};
}

Frames framesOf(const std::string& answer) {
    Frames frames;
    std::stringstream in(answer);
    std::string frame;
    while (std::getline(in, frame, '|')) frames.push_back(bytes(frame));
    return frames;
}

struct Scenario {
    const char* what;
    std::function<void(RM830UpdaterFaults&)> faults;
    std::size_t imageSize;
    std::vector<Step> steps;
    State endState;
    std::size_t imageKept;  // the scenario image's first bytes the bootloader must hold at the end
    std::uint64_t bytesCounted;
    int receipts;
};

void run(const Scenario& scenario) {
    SCOPED_TRACE(scenario.what);
    RM830Script script;
    if (scenario.faults) scenario.faults(script.updater.faults);
    RM830UpdaterBench bench(script);
    bench.switchAndConnect();
    const Bytes image = RM830UpdaterBench::image(scenario.imageSize, std::array<std::uint8_t, 4>{0x36, 0x33, 0x39, 2});
    for (std::size_t i = 0; i < scenario.steps.size(); ++i) {
        const Step& step = scenario.steps[i];
        Frames got;
        switch (step.to) {
            case To::ControlPoint:
                got = bench.request(bytes(step.value));
                break;
            case To::Packet:
                got = bench.sendPacket(bytes(step.value));
                break;
            case To::ImagePackets:
                for (std::size_t n = step.first; n <= step.last; ++n) {
                    const Frames more = bench.sendPacket(RM830UpdaterBench::packetOf(image, n));
                    got.insert(got.end(), more.begin(), more.end());
                }
                break;
        }
        EXPECT_EQ(RM830Bench::hex(got), RM830Bench::hex(framesOf(step.answer)))
            << "step " << i << (step.to == To::ImagePackets ? " (image packets)" : ": " + step.value);
    }
    const auto& b = *bench.bootloader;
    EXPECT_EQ(b.state(), scenario.endState);
    EXPECT_EQ(
        halvora::test::hex(b.image()),
        halvora::test::hex(Bytes(image.begin(), image.begin() + static_cast<std::ptrdiff_t>(scenario.imageKept))));
    EXPECT_EQ(b.imageBytesReceived(), scenario.bytesCounted);
    EXPECT_EQ(b.receiptsSent(), scenario.receipts);
    EXPECT_EQ(b.requests().size(),
              static_cast<std::size_t>(std::count_if(scenario.steps.begin(), scenario.steps.end(),
                                                     [](const Step& s) { return s.to == To::ControlPoint; })));
    // Nothing makes the bootloader leave the air but 05, 06 and its inactivity time.
    EXPECT_TRUE(b.isPresent());
    EXPECT_EQ(bench.rm830.lab.recorder->count("disconnect"), 0U);
}

TEST(RM830Bootloader, NewProcedureTakesSizesImageAndValidation) {
    run({"receipts every 10 packets carry the bytes so far; the last packet is answered instead",
         nullptr,
         420,
         {
             cp("01 04", ""),
             pk("00 00 00 00 00 00 00 00 A4 01 00 00", "10 01 01"),
             cp("08 0A 00", ""),
             cp("03", ""),
             img(0, 9, "11 C8 00 00 00"),
             img(10, 19, "11 90 01 00 00"),
             img(20, 20, "10 03 01"),
             cp("04", "10 04 01"),
         },
         State::Validated,
         420,
         420,
         2});
}

TEST(RM830Bootloader, OldProcedureFollowsARefusedNewStart) {
    run({"the sizes already sent after the refused start are ignored; the old start takes one size",
         [](RM830UpdaterFaults& f) { f.refuseNewStart = true; },
         45,
         {
             cp("01 04", "10 01 03"),
             pk("00 00 00 00 00 00 00 00 2D 00 00 00", ""),
             cp("01", ""),
             pk("2D 00 00 00", "10 01 01"),
             cp("08 01 00", ""),
             cp("03", ""),
             img(0, 2, "11 14 00 00 00|11 28 00 00 00|10 03 01"),
             cp("04", "10 04 01"),
         },
         State::Validated,
         45,
         45,
         2});
}

TEST(RM830Bootloader, FaultsAndErrorsAreAnsweredWithTheirStatus) {
    const std::vector<Scenario> scenarios = {
        {"both starts refused",
         [](RM830UpdaterFaults& f) {
             f.refuseNewStart = true;
             f.refuseOldStart = true;
         },
         20,
         {cp("01 04", "10 01 03"), cp("01", "10 01 03"), cp("03", "10 03 02")},
         State::WaitingForStart,
         0,
         0,
         0},
        {"more bytes than announced: kept up to the size, counted past it",
         nullptr,
         60,
         {cp("01 04", ""), pk("00 00 00 00 00 00 00 00 1E 00 00 00", "10 01 01"), cp("03", ""), img(0, 0, ""),
          img(1, 1, "10 03 04"), img(2, 2, ""), cp("04", "10 04 05")},
         State::WaitingForStart,
         30,
         40,
         0},
        {"scripted start status",
         [](RM830UpdaterFaults& f) { f.startStatus = 6; },
         20,
         {cp("01 04", ""), pk("00 00 00 00 00 00 00 00 14 00 00 00", "10 01 06"), cp("03", "10 03 02")},
         State::WaitingForStart,
         0,
         0,
         0},
        {"scripted receive status",
         [](RM830UpdaterFaults& f) { f.receiveStatus = 6; },
         40,
         {cp("01 04", ""), pk("00 00 00 00 00 00 00 00 28 00 00 00", "10 01 01"), cp("03", ""), img(0, 1, "10 03 06"),
          cp("04", "10 04 05")},
         State::WaitingForStart,
         40,
         40,
         0},
        {"CRC error at validation",
         [](RM830UpdaterFaults& f) { f.crcError = true; },
         20,
         {cp("01 04", ""), pk("00 00 00 00 00 00 00 00 14 00 00 00", "10 01 01"), cp("03", ""), img(0, 0, "10 03 01"),
          cp("04", "10 04 05")},
         State::WaitingForStart,
         20,
         20,
         0},
        {"scripted validation status",
         [](RM830UpdaterFaults& f) { f.validateStatus = 6; },
         20,
         {cp("01 04", ""), pk("00 00 00 00 00 00 00 00 14 00 00 00", "10 01 01"), cp("03", ""), img(0, 0, "10 03 01"),
          cp("04", "10 04 06")},
         State::WaitingForStart,
         20,
         20,
         0},
        {"validation of a part of the image",
         nullptr,
         40,
         {cp("01 04", ""), pk("00 00 00 00 00 00 00 00 28 00 00 00", "10 01 01"), cp("03", ""), img(0, 0, ""),
          cp("04", "10 04 05"), img(1, 1, "")},
         State::WaitingForStart,
         20,
         20,
         0},
        {"the second receipt is lost",
         [](RM830UpdaterFaults& f) { f.loseReceipt = 2; },
         80,
         {cp("01 04", ""), pk("00 00 00 00 00 00 00 00 50 00 00 00", "10 01 01"), cp("08 01 00", ""), cp("03", ""),
          img(0, 3, "11 14 00 00 00|11 3C 00 00 00|10 03 01")},
         State::ImageReceived,
         80,
         80,
         2},
    };
    for (const auto& scenario : scenarios) run(scenario);
}

TEST(RM830Bootloader, MalformedAndOutOfOrderRequestsAreRefused) {
    run({"unknown opcodes, wrong lengths, requests out of order, bad sizes; then an init packet",
         nullptr,
         20,
         {
             cp("09", "10 09 03"),
             cp("01 02", "10 01 03"),     // an image type other than the application
             cp("01 04 00", "10 01 03"),  // a start of the wrong length
             cp("04 00", "10 04 03"),
             cp("08 0A", "10 08 03"),
             cp("02 00", "10 02 02"),  // no start yet
             cp("03", "10 03 02"),
             cp("", ""),
             cp("01 04", ""),
             pk("01 02 03", "10 01 06"),  // sizes of the wrong length
             cp("01 04", ""),
             pk("01 00 00 00 00 00 00 00 14 00 00 00", "10 01 06"),  // a soft device with the application
             cp("01 04", ""),
             pk("00 00 00 00 00 00 00 00 14 00 00 00", "10 01 01"),
             pk("AA BB CC DD", ""),  // data before 03 is not image data
             cp("02 01", "10 02 02"),
             cp("02 00", ""),
             pk("AA BB", ""),
             pk("CC", ""),
             cp("02 07", "10 02 03"),
             cp("02 01", "10 02 01"),
             cp("03", ""),
             img(0, 0, "10 03 01"),
         },
         State::ImageReceived,
         20,
         20,
         0});
}

TEST(RM830Bootloader, InitPacketAndVersionAreKept) {
    RM830Script script;
    script.updater.dfuVersion = {0x00, 0x07};
    RM830UpdaterBench bench(script);
    bench.switchAndConnect();
    bench.request("01 04");
    bench.sendPacket(RM830UpdaterBench::sizes(20));
    bench.request("02 00");
    bench.sendPacket(bytes("01 02 03"));
    bench.sendPacket(Bytes(2000, 0x5A));  // kept only up to the cap
    EXPECT_EQ(bench.request("02 01"), Frames{bytes("10 02 01")});
    const Bytes init = bench.bootloader->initPacket();
    ASSERT_EQ(init.size(), VirtualRM830Bootloader::kMaxInitPacketBytes);
    EXPECT_EQ(halvora::test::hex(Bytes(init.begin(), init.begin() + 4)), "01 02 03 5A");

    auto version = bench.peripheral->services().front()->characteristic(VirtualRM830Bootloader::kVersion);
    ASSERT_TRUE(version);
    auto recorder = std::make_shared<EventRecorder>();
    bench.peripheral->setDelegate(recorder);
    bench.peripheral->readValue(version);
    bench.rm830.lab.settle();
    EXPECT_EQ(recorder->lines(), Lines{"value 00001534-1212-EFDE-1523-785FEABCD123 0007"});
}

TEST(RM830Bootloader, IdentifierIsTheBraceletsWithItsMark) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"B8300000-0000-4000-8000-000000000830", "B8300000-0000-4000-8000-DF0000000830"},
        {"B8300000-0000-4000-8000-DF0000000830", "B8300000-0000-4000-8000-FD0000000830"},
        {"b8300000-0000-4000-8000-df0000000830", "b8300000-0000-4000-8000-FD0000000830"},
        {"A1", "DF"},
        {"bracelet", "bracelet-DFU"},
        {"X-1", "X-1-DFU"},
        {"", "-DFU"},
    };
    for (const auto& [bracelet, bootloader] : cases) {
        EXPECT_EQ(VirtualRM830Bootloader::identifierFor(bracelet), bootloader) << bracelet;
    }
}

}  // namespace
}  // namespace halvora::lab::test
