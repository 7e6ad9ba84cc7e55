#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "Devices/Vital/VitalFrameTest.hpp"
#include "Devices/Vital/VitalRig.hpp"
#include "halvora/Core/Calendar.hpp"

namespace halvora::test {
namespace {

// Each reply code while a request holds the permit: what reaches the application and whether the permit
// is free afterwards.
TEST(VitalReplies, DispatchTableRowByRow) {
    struct Row {
        std::string reply;
        std::vector<std::string> events;
        bool frees;
    };
    const std::vector<Row> rows = {
        {"01", {"info 0 -1"}, true},
        {"02", {"info 12 -1"}, true},
        {"06", {"info 10 -1"}, true},
        {"07 81", {"info 11 -1"}, true},
        {"09 10 27 00 00 48 6A 01", {"info 2 -1"}, true},
        {"0B", {"info 4 -1"}, true},
        {"13 55", {"info 14 -1"}, true},
        {"15", {"info 36 -1"}, true},
        {"19", {"info 35 -1"}, true},
        {"22 01 02 03 04 05 06", {"info 8 -1"}, true},
        {"23", {"info 34 -1"}, true},
        {"25", {"info 7 -1"}, true},
        {"26 08 00 20 00 1F 3C 64 01", {"info 6 -1"}, true},
        {"28 01", {"info 16 0"}, true},
        {"2A", {"info 15 0"}, true},
        {"2B 00 00 00 00 00 00 00 00 01", {"info 5 0"}, true},
        {"41 24 06 15 12 30 45", {"info 1 -1"}, true},
        {"42 00 1E B4 46 05", {"info 13 -1"}, true},
        {"4B 10 27 00 00", {"info 3 -1"}, true},
        {"81", {"error 0 0"}, true},
        {"82", {"error 0 12"}, true},
        {"84", {"error 0 11"}, true},
        {"87", {"error 0 11"}, true},
        {"86", {"error 0 10"}, true},
        {"89", {"error 0 9"}, true},
        {"8B", {"error 0 4"}, true},
        {"93", {"error 0 14"}, true},
        {"A2", {"error 0 8"}, true},
        {"A5", {"error 0 7"}, true},
        {"A6", {"error 0 6"}, true},
        {"AB", {"error 0 5"}, true},
        {"B0", {"info 33 -1"}, true},
        {"C1", {"error 0 1"}, true},
        {"C2", {"error 0 13"}, true},
        {"CB", {"error 0 3"}, true},
        {"83 48 20", {"info 31 -1"}, false},  // heart-rate status, never a refusal
        {"AA 01 02", {}, false},              // no ECG upload: dropped
        {"FE", {"sos"}, false},
        {"16 07", {"operation 7"}, false},
        {"18", {"info 39 -1"}, false},
        {"18 00 00", {"info 39 -1"}, false},
        {"18 05 01", {"info 38 -1"}, false},
        {"17", {}, true},  // the reply to the phone's heartbeat
        {"51 FF", {"info 17 -1"}, true},
        {"66 FF", {"info 23 -1"}, true},
        {"71 00 00", {}, true},
        {"99 01", {"info 28 -1"}, true},
        {"9C 02", {"info 29 -1"}, false},  // the status poll freed the permit when it was written
        {"57", {}, true},
        {"FF", {}, true},
        {"C3", {}, true},
    };
    for (const auto& row : rows) {
        VitalRig rig;
        rig.open();
        rig.driver->getTime();
        rig.settle();
        rig.clear();
        rig.play(row.reply);
        EXPECT_EQ(rig.app->events, row.events) << row.reply;
        EXPECT_EQ(rig.permits(), row.frees ? 1 : 0) << row.reply;
    }
}

TEST(VitalReplies, DecodedValues) {
    Calendar::setTimeZone("UTC");
    VitalRig rig;
    rig.open();
    rig.play("41 24 06 15 12 30 45");
    rig.play("22 0A 1B 2C 3D 4E 5F");
    rig.play("13 55");
    rig.play("42 00 1E B4 46 05");
    rig.play("09 10 27 00 00 48 6A 01");
    rig.play("18 05 01");
    Calendar::setTimeZone(std::nullopt);
    ASSERT_EQ(rig.app->responses.size(), 6U);
    EXPECT_EQ(std::get<Date>(rig.app->responses[0].data), Date{std::chrono::seconds{1718454645}});
    EXPECT_EQ(std::get<std::string>(rig.app->responses[1].data), "0A:1B:2C:3D:4E:5F");
    EXPECT_EQ((std::get<std::map<std::string, std::int32_t>>(rig.app->responses[2].data)),
              (std::map<std::string, std::int32_t>{{"batteryLevel", 0x55}}));
    const auto& user = std::get<HalvoraSDKUser>(rig.app->responses[3].data);
    EXPECT_EQ(user.sex, 1);
    EXPECT_EQ(user.age, 30);
    EXPECT_EQ(user.height, 180);
    EXPECT_EQ(user.weight, 70);
    const auto& live = std::get<HalvoraSDKRealtimeData>(rig.app->responses[4].data);
    EXPECT_EQ(live.steps, 10000);
    EXPECT_EQ(live.heartRate, 72);
    EXPECT_DOUBLE_EQ(live.temperature, 36.2);
    EXPECT_EQ(std::get<std::vector<std::uint8_t>>(rig.app->responses[5].data), (std::vector<std::uint8_t>{5, 1}));
}

TEST(VitalReplies, EventsLogAndTheHeartbeatIsAnswered) {
    VitalRig rig;
    rig.open();
    rig.play("FE");
    rig.play("18");
    EXPECT_NE(std::find(rig.logLines.begin(), rig.logLines.end(), "SOSFunctionCommandPacket received"),
              rig.logLines.end());
    EXPECT_NE(std::find(rig.logLines.begin(), rig.logLines.end(), "braceletHeartBeatPacket received"),
              rig.logLines.end());
    EXPECT_EQ(rig.frames(), std::vector<std::string>{frame16("18")});
    EXPECT_EQ(rig.app->identifiers, (std::vector<std::string>{VitalRig::kIdentifier, VitalRig::kIdentifier}));
}

// Replies too short for their decoder report nothing; where their row frees the permit they still do.
TEST(VitalReplies, ShortRepliesAreIgnoredAndStillFreeThePermit) {
    struct Row {
        std::string reply;
        bool frees;
    };
    const std::vector<Row> rows = {
        {"41 24 06 15 12 30", true},
        {"4B 10 27 00", true},
        {"22 01 02 03 04 05", true},
        {"13", true},
        {"42 00 1E B4 46", true},
        {"26 08 00 20 00 1F 3C 64", true},
        {"2B 00 00 00 00 00 00 00 00", true},
        {"09 10 27 00 00 48 6A", true},
        {"16", false},
    };
    for (const auto& row : rows) {
        VitalRig rig;
        rig.open();
        rig.driver->getTime();
        rig.settle();
        rig.clear();
        rig.play(row.reply);
        EXPECT_TRUE(rig.app->events.empty()) << row.reply;
        EXPECT_EQ(rig.permits(), row.frees ? 1 : 0) << row.reply;
    }
    // An empty notification, and a short first parameter reply: the second read still goes and ends it.
    VitalRig rig;
    rig.open();
    rig.playBytes({});
    rig.driver->getDeviceParameters();
    rig.settle();
    rig.play("04 80");
    rig.play("07");
    EXPECT_EQ(rig.codes(), (std::vector<std::string>{"04", "07"}));
    EXPECT_EQ(rig.app->events, std::vector<std::string>{"info 11 -1"});
    EXPECT_EQ(rig.permits(), 1);
}

}  // namespace
}  // namespace halvora::test
