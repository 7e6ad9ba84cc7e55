#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "Devices/Tensio/TensioRig.hpp"

namespace halvora::test {
namespace {

using Driver = HalvoraSDKTensioBracelet;
using Interval = HalvoraSDKTensioBraceletInterval;
using Request = TensioBraceletRequest;

/// 2019-01-22 10:05:09 UTC.
const Date kClockExample = Date{std::chrono::seconds{1548151509}};

class TensioCommandsTest : public ::testing::Test {
protected:
    void SetUp() override { Calendar::setTimeZone("UTC"); }
    void TearDown() override { Calendar::setTimeZone(std::nullopt); }
};

Interval window(int startHour, int startHalf, int endHour, int endHalf, int period = 0) {
    return Interval{startHour, startHalf, endHour, endHalf, period};
}

// Each command on a connected bracelet: the one frame it writes and the request it starts.
TEST_F(TensioCommandsTest, EveryCommandWritesItsFrameAndStartsItsRequest) {
    struct Case {
        const char* name;
        std::function<void(Driver&)> call;
        std::string frame;
        std::int32_t request;
    };
    const std::vector<Case> cases = {
        {"start", [](auto& d) { d.startMeasurement(); }, "5A 00 02 00 00 02", 1},
        {"stop", [](auto& d) { d.stopMeasurement(); }, "5A 00 02 00 01 03", 10},
        {"history", [](auto& d) { d.getBloodPressureHistory(); }, "5A 00 02 01 00 03", 11},
        {"remove history", [](auto& d) { d.removeBloodPressureHistory(); }, "5A 00 02 02 00 00", 3},
        {"read clock", [](auto& d) { d.getSmartwatchTime(); }, "5A 00 02 03 00 01", 4},
        {"read schedule", [](auto& d) { d.getAmbulatoryBloodPressureTime(); }, "5A 00 02 03 01 00", 5},
        {"basic info", [](auto& d) { d.getBasicInfo(); }, "5A 00 02 04 00 06", 6},
        {"return measurement", [](auto& d) { d.returnMeasurement(); }, "5A 00 02 06 00 04", 12},
        {"reset is a fixed frame", [](auto& d) { d.resetDefaults(); }, "5A 00 02 13 AA A8", 7},
        {"set clock", [](auto& d) { d.setSmartwatchTime(); }, "5A 00 07 20 13 01 16 0A 05 09 05", 9},
        {"config, left hand, schedule on",
         [](auto& d) {
             d.setConfig({1, true});
         },
         "5A 00 07 22 01 01 00 00 01 00 06", 2},
        {"config, hand 2, schedule off",
         [](auto& d) {
             d.setConfig({2, false});
         },
         "5A 00 07 22 00 01 00 00 02 00 04", 2},
        {"config check is (A + 6) XOR H",
         [](auto& d) {
             d.setConfig({0x10, true});
         },
         "5A 00 07 22 01 01 00 00 10 00 17", 2},
        {"one window, period code 7", [](auto& d) { d.setAmbulatoryBloodPressureTime({window(6, 0, 7, 0, 7)}); },
         "5A 00 07 21 06 00 07 00 11 F0 E7", 8},
        {"one window, period code 0", [](auto& d) { d.setAmbulatoryBloodPressureTime({window(6, 0, 7, 0, 0)}); },
         "5A 00 07 21 06 00 07 00 11 1E 09", 8},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TensioRig rig(kClockExample);
        rig.open();
        rig.run(c.call);
        EXPECT_EQ(rig.frames(), std::vector<std::string>{c.frame});
        EXPECT_EQ(rig.driver->request(), c.request);
    }
}

// The clock is the executor's date in the pinned zone, read when the command goes out: here after a
// minute's wait for the slot.
TEST_F(TensioCommandsTest, ClockIsTheLocalDateWhenTheCommandGoesOut) {
    Calendar::setTimeZone("JST-9");
    TensioRig rig(kClockExample - std::chrono::hours(9));  // 10:05:09 in Tokyo
    rig.open();
    rig.run([](auto& d) {
        d.getBasicInfo();  // never answered: the clock waits its 60 seconds
        d.setSmartwatchTime();
    });
    rig.clear();
    rig.executor->advance(Driver::kCommandWaitLimit);
    EXPECT_EQ(rig.frames(), std::vector<std::string>{"5A 00 07 20 13 01 16 0A 06 09 06"});
}

// Three windows go one at a time, each after the previous one's acknowledgement, numbered 1 to 3 of 3.
TEST_F(TensioCommandsTest, ScheduleWindowsShareTheirSerialAndGoOneAtATime) {
    TensioRig rig;
    rig.open();
    rig.run([](auto& d) {
        d.setAmbulatoryBloodPressureTime({window(8, 0, 12, 1, 1), window(13, 1, 18, 0, 8), window(20, 0, 22, 0, -2)});
    });
    EXPECT_EQ(rig.frames(), std::vector<std::string>{"5A 00 07 21 08 00 0C 1E 13 3C 32"});  // period 60
    rig.play(kAck);
    rig.play(kAck);
    EXPECT_EQ(rig.frames(), (std::vector<std::string>{"5A 00 07 21 08 00 0C 1E 13 3C 32",
                                                      "5A 00 07 21 0D 1E 12 00 23 00 25",  // code 8: 0
                                                      "5A 00 07 21 14 00 16 00 33 E2 D4"}));
    rig.play(kAck);
    EXPECT_EQ(rig.app->executed, (std::vector<std::int32_t>{8, 8, 8}));
    EXPECT_EQ(rig.driver->request(), Request::kNone);
    EXPECT_EQ(rig.permits(), 1);
}

TEST_F(TensioCommandsTest, CheckIntervalCorrect) {
    struct Case {
        const char* name;
        std::vector<Interval> windows;
        bool accepted;
    };
    const std::vector<Case> cases = {
        {"second starts inside the first", {window(8, 0, 12, 1), window(12, 0, 18, 0)}, false},
        {"touching ends", {window(8, 0, 12, 0), window(12, 0, 18, 0)}, true},
        {"touching at half past", {window(8, 0, 12, 1), window(12, 1, 18, 0)}, true},
        {"second ends inside the first", {window(10, 0, 14, 0), window(6, 0, 10, 1)}, false},
        {"third overlaps the first", {window(6, 0, 8, 0), window(9, 0, 10, 0), window(7, 1, 9, 0)}, false},
        {"a later window around an earlier one is not inside it", {window(10, 0, 11, 0), window(8, 0, 18, 0)}, true},
        {"a single window always", {window(18, 0, 6, 0)}, true},
        {"no window", {}, true},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Driver::checkIntervalCorrect(c.windows), c.accepted) << c.name;
    }
}

TEST_F(TensioCommandsTest, IdentityAndDiscovery) {
    const std::pair<std::optional<std::string>, bool> names[] = {
        {"BPW1", true}, {"bpw1", false}, {"BPW1 ", false}, {"BPW10", false}, {std::nullopt, false}};
    for (const auto& [name, expected] : names) {
        EXPECT_EQ(Driver::matchDevice(std::make_shared<FakePeripheral>("A", name)), expected)
            << name.value_or("(none)");
    }
    EXPECT_FALSE(Driver::matchDevice(nullptr));
    EXPECT_EQ(Driver{}.getType(), 5);
    EXPECT_EQ(Driver::rsServiceUUID().toLongString(), "69400001-B5A3-F393-E0A9-E50E24DCCA99");

    TensioRig rig;
    rig.connect();
    EXPECT_EQ(rig.reports->events, (std::vector<std::string>{"connected", "ready", "ready"}));
    EXPECT_EQ(rig.peripheral->notified, std::vector<BLEUUID>{Driver::readCharacteristicUUID()});
}

// A command holds the slot until its request ends (see the answers' tests), or until the next command has
// waited its 60 seconds.
TEST_F(TensioCommandsTest, NextCommandGoesAfterItsWait) {
    TensioRig rig;
    rig.open();
    rig.run([](auto& d) {
        d.getBasicInfo();
        d.getSmartwatchTime();
    });
    rig.play("5A 00 02 00 50 52");  // a pressure answers nothing
    rig.clear();
    rig.executor->advance(Driver::kCommandWaitLimit - std::chrono::milliseconds(1));
    EXPECT_TRUE(rig.frames().empty());
    rig.executor->advance(std::chrono::milliseconds(2));
    EXPECT_EQ(rig.frames(), std::vector<std::string>{"5A 00 02 03 00 01"});
}

// Stop and the schedule read go at once, past a command that holds the slot; a stop's end gives that slot
// back, a schedule read with the slot free does not add a second permit.
TEST_F(TensioCommandsTest, StopAndScheduleReadBypassTheSlot) {
    TensioRig rig;
    rig.open();
    rig.run([](auto& d) { d.getAmbulatoryBloodPressureTime(); });
    rig.play("5A 00 06 08 00 0C 00 11 3C 00");  // the only window
    EXPECT_EQ(rig.permits(), 1);
    EXPECT_FALSE(rig.driver->holdsSlot());

    rig.run([](auto& d) {
        d.startMeasurement();
        d.getBasicInfo();
    });
    rig.play(kAck);
    rig.run([](auto& d) { d.stopMeasurement(); });
    EXPECT_EQ(rig.frames().back(), "5A 00 02 00 01 03");
    rig.clear();
    rig.play(kAck);
    EXPECT_EQ(rig.reports->events, std::vector<std::string>{"error -19"});
    EXPECT_EQ(rig.app->executed, std::vector<std::int32_t>{10});
    EXPECT_FALSE(rig.driver->measuring());
    EXPECT_EQ(rig.frames(), std::vector<std::string>{"5A 00 02 04 00 06"});  // the slot came back
}

// Without a peripheral: queued commands give the slot back and send nothing; a stop does nothing; a schedule
// read sets its request, writes nothing and says so in the log.
TEST_F(TensioCommandsTest, WithoutAPeripheralNothingIsWritten) {
    TensioRig rig;
    rig.open();
    rig.driver->didDisconnect();
    rig.clear();
    rig.run([](auto& d) {
        d.getBasicInfo();
        d.setSmartwatchTime();
        d.stopMeasurement();
    });
    EXPECT_EQ(rig.driver->request(), Request::kNone);
    EXPECT_EQ(rig.permits(), 1);
    rig.run([](auto& d) { d.getAmbulatoryBloodPressureTime(); });
    EXPECT_EQ(rig.driver->request(), Request::kGetAmbulatoryBloodPressureTime);
    EXPECT_TRUE(rig.frames().empty());
    EXPECT_EQ(rig.logLines.size(), 1u);
}

// deinit lets the waiting commands go without writing them.
TEST_F(TensioCommandsTest, DeinitSendsNothingMore) {
    TensioRig rig;
    rig.open();
    rig.run([](auto& d) {
        d.getBasicInfo();
        d.getSmartwatchTime();
        d.resetDefaults();
    });
    rig.driver->deinit();
    rig.settle();
    EXPECT_EQ(rig.frames(), std::vector<std::string>{"5A 00 02 04 00 06"});
    EXPECT_EQ(rig.driver->commandQueue().pendingCount(), 0u);
}

}  // namespace
}  // namespace halvora::test
