#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "DFU/DFURig.hpp"

namespace halvora::test {
namespace {

using Requests = std::vector<std::string>;
using std::chrono::milliseconds;
using std::chrono::seconds;

// 255 bytes of image (13 packets): the requests that start the new and the old procedure.
const Requests kNewStart = {"notify CP", "CP 01 04", "PK 00 00 00 00 00 00 00 00 FF 00 00 00", "read VER"};
const Requests kOldStart = {"notify CP", "CP 01", "PK FF 00 00 00"};
const Requests kSending = {"CP 08 0A 00", "CP 03",  "PK 20B", "PK 20B", "PK 20B", "PK 20B",
                           "PK 20B",      "PK 20B", "PK 20B", "PK 20B", "PK 20B", "PK 20B"};

// The whole update, new procedure: start, sizes, bursts per receipt, validation, activation.
TEST(DFUOperationsTest, UpdateRunsToActivation) {
    EngineRig rig;
    EXPECT_EQ(rig.start(), kNewStart);
    EXPECT_EQ(rig.play("10 01 01"), kSending);
    EXPECT_EQ(rig.play("11 C8 00 00 00"), packets(2, {"PK 15B"}));
    EXPECT_EQ(rig.play("11 FF 00 00 00"), Requests{});  // a receipt after the last packet writes nothing
    EXPECT_EQ(rig.play("10 03 01"), Requests{"CP 04"});
    rig.executor->advance(milliseconds(7900));
    EXPECT_EQ(rig.play("10 04 01"), Requests{"CP 05"});
    EXPECT_EQ(rig.peripheral->image, rig.image);
    EXPECT_EQ(rig.delegate.events, (Requests{"started", "success"}));
    EXPECT_EQ(rig.engine->uploadTimeInSeconds(), 7);
    EXPECT_FALSE(rig.engine->isUpdateRunning());
}

// Each response, from an update just started (after `before`): the requests it sets off and what the delegate
// hears.
TEST(DFUOperationsTest, ResponseTable) {
    struct Case {
        Requests before;
        std::string response;
        Requests requests;
        Requests events;
    };
    const std::string start = "error Error on StartDFU\n Message: ";
    const Case cases[] = {
        {{}, "10 01 01", kSending, {"started"}},
        {{}, "10 01 03", kOldStart, {}},
        {{"10 01 03"}, "10 01 03", {"CP 06"}, {start + "Operation Not Supported"}},
        {{"10 01 03"}, "10 01 01", kSending, {"started"}},
        {{}, "10 01 02", {"CP 06"}, {start + "Invalid Response"}},
        {{}, "10 01 00", {"CP 06"}, {start + "unknown Error"}},
        {{}, "10 02 01", kSending, {"started"}},
        {{}, "10 02 03", {"CP 06"}, {"error Error on Init Packet\n Message: Operation Not Supported"}},
        {{}, "10 02 06", {"CP 06"}, {"error Error on Init Packet\n Message: Operation Failed"}},
        {{}, "10 03 01", {"CP 04"}, {}},
        {{}, "10 03 05", {"CP 06"}, {"error Error on Receive Firmware Image\n Message: CRC Error"}},
        {{}, "10 03 04", {"CP 06"}, {"error Error on Receive Firmware Image\n Message: Data Size Exceeds"}},
        {{}, "10 04 01", {"CP 05"}, {"success"}},
        {{}, "10 04 03", {"CP 06"}, {"error Error on Validate Firmware Request\n Message: Operation Not Supported"}},
        {{}, "10 04 09", {"CP 06"}, {"error Error on Validate Firmware Request\n Message: unknown Error"}},
        {{}, "10 05 01", {}, {}},
        {{}, "10 06 03", {}, {}},
        {{}, "10 FF 03", {}, {}},
        {{}, "10 00 03", {}, {}},
        {{}, "10 01", {}, {}},
        {{}, "12 01 03", {}, {}},
        {{}, "", {}, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.response);
        EngineRig rig;
        rig.start();
        for (const auto& response : c.before) rig.play(response);
        rig.delegate.events.clear();
        EXPECT_EQ(rig.play(c.response), c.requests);
        EXPECT_EQ(rig.delegate.events, c.events);
    }
}

// Cancel, the switch to the bootloader and the bootloader's version.
TEST(DFUOperationsTest, OtherRequests) {
    EngineRig rig;
    rig.start();
    rig.engine->onReadDfuVersion(8);
    EXPECT_EQ(rig.peripheral->take(), Requests{});
    rig.engine->onReadDfuVersion(0);
    EXPECT_EQ(rig.peripheral->take(), Requests{"CP 06"});
    EXPECT_FALSE(rig.engine->isUpdateRunning());
    rig.engine->setAppToBootloaderMode();
    EXPECT_EQ(rig.peripheral->take(), (Requests{"notify CP", "CP 01 04"}));
    rig.engine->cancelDFU();
    EXPECT_EQ(rig.peripheral->take(), Requests{"CP 06"});
    EXPECT_EQ(rig.delegate.events, (Requests{"version 8", "cancelled"}));
    rig.engine->performOldDFUOnFile(std::nullopt);
    EXPECT_EQ(rig.peripheral->take(), Requests{});
}

// While one engine's update runs (here gone over to the old procedure, which keeps the slot) another engine's
// start is refused without a write; each way the update ends frees the slot.
TEST(DFUOperationsTest, OneUpdateAtATime) {
    const std::vector<std::pair<const char*, std::function<void(EngineRig&)>>> endings = {
        {"validated", [](EngineRig& r) { r.play("10 04 01"); }},
        {"error", [](EngineRig& r) { r.play("10 03 05"); }},
        {"old start refused", [](EngineRig& r) { r.play("10 01 03"); }},
        {"version 0", [](EngineRig& r) { r.engine->onReadDfuVersion(0); }},
        {"cancel", [](EngineRig& r) { r.engine->cancelDFU(); }},
        {"link ended", [](EngineRig& r) { r.engine->linkEnded(); }},
        {"destroyed", [](EngineRig& r) { r.engine.reset(); }},
    };
    for (const auto& [name, end] : endings) {
        SCOPED_TRACE(name);
        EngineRig first, second;
        first.start();
        EXPECT_EQ(first.play("10 01 03"), kOldStart);
        EXPECT_EQ(second.start(), Requests{});
        EXPECT_EQ(second.delegate.events, Requests{"error Another firmware update is running"});
        EXPECT_EQ(second.observer->events, Requests{"failed Another firmware update is running"});
        end(first);
        EXPECT_EQ(second.start(), kNewStart);
    }
}

}  // namespace
}  // namespace halvora::test
