#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Devices/RM830/RM830Rig.hpp"
#include "halvora/Devices/RM830/internal/RM830FirmwareVersion.hpp"

namespace halvora::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// The version answer's four signed bytes, the version text, and whether the firmware check switches the
// bracelet to its updater (its firmware is older than the kit's 54.51.56.1) after the opening time format.
TEST(RM830FirmwareTest, VersionAnswerRunsTheFirmwareCheck) {
    struct Case {
        std::string bytes;
        std::string version;
        bool update;
    };
    const Case cases[] = {
        {"36 33 38 01", "54.51.56.1", false},    {"36 33 38 02", "54.51.56.2", false},
        {"36 33 39 00", "54.51.57.0", false},    {"37 00 00 00", "55.0.0.0", false},
        {"36 33 39 80", "54.51.57.-128", false}, {"36 33 37 09", "54.51.55.9", true},
        {"36 33 38 00", "54.51.56.0", true},     {"36 33 38 FF", "54.51.56.-1", true},
        {"F4 03 04 05", "-12.3.4.5", true},      {"09 63 63 63", "9.99.99.99", true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.version);
        RM830Rig rig;
        rig.connect();
        rig.play("27 " + c.bytes + " 00 00");
        EXPECT_EQ(rig.driver->version(), c.version);
        std::vector<std::string> information = {"6 Version :" + c.version};
        if (!c.update) information.push_back("6 Firmware is already updated");
        EXPECT_EQ(rig.information->events, information);
        rig.play("37");
        const std::vector<std::string> sent =
            c.update ? std::vector<std::string>{"27", "37", "47"} : std::vector<std::string>{"27", "37"};
        EXPECT_EQ(rig.codes(), sent);
    }
}

// Switched to its updater, the bracelet is asked for in update mode exactly 3 s after the switch was sent,
// once, on the main queue, with a 30 s time-out.
TEST(RM830FirmwareTest, UpdaterIsAskedForThreeSecondsAfterTheSwitch) {
    RM830Rig rig;
    rig.connect();
    rig.play("27 36 33 37 09");  // 54.51.55.9: the switch waits for the time format's answer
    rig.executor->advance(seconds(10));
    rig.clear();
    rig.play("37");
    EXPECT_EQ(rig.frames(), std::vector<std::string>{"47 00 00 00 00 00 00 00 00 00 00 00 00 00 00 47"});
    rig.executor->advance(milliseconds(2900));
    EXPECT_TRUE(rig.connector->requests.empty());
    rig.executor->advance(milliseconds(100));
    ASSERT_EQ(rig.connector->requests.size(), 1u);
    EXPECT_EQ(rig.connector->requests[0], std::make_pair(DeviceKind{8}, std::int32_t{30}));
    EXPECT_EQ(rig.connector->onMainQueue, std::vector<bool>{true});
    rig.play("47");
    EXPECT_EQ(rig.permits(), 1);
    rig.executor->advance(seconds(60));
    EXPECT_EQ(rig.connector->requests.size(), 1u);
}

// The request still goes when the driver was dropped meanwhile (the bracelet restarts as its updater).
TEST(RM830FirmwareTest, UpdaterRequestOutlivesTheDriver) {
    RM830Rig rig;
    rig.connect();
    rig.play("27 36 33 37 09");
    rig.play("37");
    ASSERT_EQ(rig.codes().back(), "47");
    rig.driver->deinit();
    rig.driver.reset();
    rig.executor->advance(seconds(3));
    EXPECT_EQ(rig.connector->requests.size(), 1u);
    rig.driver = std::make_shared<HalvoraSDKBraceletRM830>();  // for the rig's own end
}

TEST(RM830FirmwareTest, UpdateOnRequestComparesWithTheVersionRead) {
    RM830Rig current;
    current.open();
    current.driver->updateFirmware();
    current.settle();
    EXPECT_EQ(current.information->events, std::vector<std::string>{"6 Firmware is already updated"});
    EXPECT_TRUE(current.frames().empty());

    RM830Rig unknown;  // no version answer yet: the version counts as older
    unknown.connect();
    unknown.driver->updateFirmware();
    unknown.play("27 36 33 38");  // too short: no version, no check, but the slot comes back
    EXPECT_EQ(unknown.driver->version(), "");
    EXPECT_TRUE(unknown.information->events.empty());
    unknown.play("37");
    EXPECT_EQ(unknown.codes(), (std::vector<std::string>{"27", "37", "47"}));
}

TEST(RM830FirmwareTest, VersionsCompareRunsOfDigitsAsNumbers) {
    struct Case {
        const char* a;
        const char* b;
        int order;
    };
    const Case cases[] = {
        {"54.51.56.1", "54.51.56.1", 0},
        {"54.51.56.10", "54.51.56.9", 1},
        {"54.51.56.1", "54.51.55.9", 1},
        {"1.02", "1.2", 0},
        {"1.2", "1.2.0", -1},
        {"", "0", -1},
        {"-12.3.4.5", "1.0.0.0", -1},
        {"54.51.56.1", "54.51.56.-1", 1},
        {"2.a", "2.B", 1},
        {"99999999999999999999", "99999999999999999998", 1},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(RM830FirmwareVersion::compareNumerically(c.a, c.b), c.order) << c.a << " vs " << c.b;
        EXPECT_EQ(RM830FirmwareVersion::compareNumerically(c.b, c.a), -c.order) << c.b << " vs " << c.a;
    }
}

}  // namespace
}  // namespace halvora::test
