#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "Devices/RM830/RM830Rig.hpp"
#include "halvora/Core/Calendar.hpp"

namespace halvora::test {
namespace {

using std::chrono::seconds;
using Driver = HalvoraSDKBraceletRM830;

class RM830CommandsTest : public ::testing::Test {
protected:
    void SetUp() override { Calendar::setTimeZone("UTC"); }
    void TearDown() override { Calendar::setTimeZone(std::nullopt); }
};

Date utc(std::int64_t epochSeconds) {
    return Date{seconds{epochSeconds}};
}

const Date kJuly15 = utc(1531650600);    // 2018-07-15 10:30:00 UTC
const Date kBorn1995 = utc(801964800);   // 1995-06-01: 30 on the rig's 2026-01-01
const Date kBorn1966 = utc(-126230400);  // 1966-01-01: 60 that very day
const Date kBorn2030 = utc(1893456000);  // in the future

HalvoraSDKRM830TimeRange range(int startHour, int startMinute, int endHour, int endMinute,
                               void (HalvoraSDKRM830TimeRange::*days)() = nullptr) {
    HalvoraSDKRM830TimeRange r;
    r.startHour = startHour;
    r.startMinute = startMinute;
    r.endHour = endHour;
    r.endMinute = endMinute;
    if (days) (r.*days)();
    return r;
}

// Each command on an open bracelet ("HR1638", which also takes monitoring windows): the one frame it writes.
TEST_F(RM830CommandsTest, EveryCommandWritesItsFrame) {
    using R = HalvoraSDKRM830TimeRange;
    struct Case {
        const char* name;
        std::function<void(Driver&)> call;
        std::string frame;
    };
    const std::vector<Case> cases = {
        {"date and time", [](auto& d) { d.synchronizeDateTime(kJuly15); },
         "01 18 07 15 10 30 00 01 00 00 00 00 00 00 00 76"},
        {"read date and time", [](auto& d) { d.readDateTime(); }, "41 00 00 00 00 00 00 00 00 00 00 00 00 00 00 41"},
        {"read date", [](auto& d) { d.readDate(); }, "41 00 00 00 00 00 00 00 00 00 00 00 00 00 00 41"},
        {"time format ignores its flag", [](auto& d) { d.synchronizeTimeFormat(0); },
         "37 01 00 00 00 00 00 00 00 00 00 00 00 00 00 38"},
        {"read time format", [](auto& d) { d.readTimeFormat(); }, "38 00 00 00 00 00 00 00 00 00 00 00 00 00 00 38"},
        {"personal data", [](auto& d) { d.synchronizePersonalInformation(180, 75, 0, kBorn1995, true); },
         "02 01 1E B4 4B 4A 00 00 00 00 00 00 00 00 00 6A"},
        {"personal data, birthday today",
         [](auto& d) { d.synchronizePersonalInformation(175, 80, 0, kBorn1966, false); },
         "02 01 3C AF 50 48 00 00 00 00 00 00 00 00 00 86"},
        {"personal data without height, gender 0",
         [](auto& d) { d.synchronizePersonalInformation(std::nullopt, 75, 0, kBorn1995, false); },
         "02 01 1E 00 4B 4E 00 00 00 00 00 00 00 00 00 BA"},
        {"personal data without height or weight, gender 1",
         [](auto& d) { d.synchronizePersonalInformation(std::nullopt, std::nullopt, 1, kBorn1995, false); },
         "02 00 1E 00 00 46 00 00 00 00 00 00 00 00 00 66"},
        {"personal data with nothing",
         [](auto& d) { d.synchronizePersonalInformation(std::nullopt, std::nullopt, 0, std::nullopt, false); },
         "02 01 00 00 00 4E 00 00 00 00 00 00 00 00 00 51"},
        {"height and weight at 255 and above are FF",
         [](auto& d) { d.synchronizePersonalInformation(255, 300, 0, std::nullopt, false); },
         "02 01 00 FF FF 69 00 00 00 00 00 00 00 00 00 6A"},
        {"height 254 still fits", [](auto& d) { d.synchronizePersonalInformation(254, 0, 0, std::nullopt, false); },
         "02 01 00 FE 00 69 00 00 00 00 00 00 00 00 00 6A"},
        {"negative values are FF, a future birthday age 0",
         [](auto& d) { d.synchronizePersonalInformation(-5, -1, 1, kBorn2030, false); },
         "02 00 00 FF FF FF 00 00 00 00 00 00 00 00 00 FF"},
        {"step goal", [](auto& d) { d.synchronizeTargets(10000); }, "0B 00 27 10 00 00 00 00 00 00 00 00 00 00 00 42"},
        {"step goal above 24 bits", [](auto& d) { d.synchronizeTargets(0x1234567); },
         "0B FF FF FF 00 00 00 00 00 00 00 00 00 00 00 08"},
        {"negative step goal", [](auto& d) { d.synchronizeTargets(-5); },
         "0B 00 00 00 00 00 00 00 00 00 00 00 00 00 00 0B"},
        {"dates with info", [](auto& d) { d.getDatesWithInfo(); }, "46 00 00 00 00 00 00 00 00 00 00 00 00 00 00 46"},
        {"start real time", [](auto& d) { d.startRealTime(); }, "09 00 00 00 00 00 00 00 00 00 00 00 00 00 00 09"},
        {"stop real time", [](auto& d) { d.stopRealtime(0); }, "0A 00 00 00 00 00 00 00 00 00 00 00 00 00 00 0A"},
        {"read personal data", [](auto& d) { d.readPersonalInformation(); },
         "42 00 00 00 00 00 00 00 00 00 00 00 00 00 00 42"},
        {"day three days back", [](auto& d) { d.synchronizeDataDaysAgo(3); },
         "43 03 00 00 00 00 00 00 00 00 00 00 00 00 00 46"},
        {"firmware version", [](auto& d) { d.getFirmwareVersion(); },
         "27 00 00 00 00 00 00 00 00 00 00 00 00 00 00 27"},
        {"heart rate once", [](auto& d) { d.getHeartRateBasicValue(); },
         "6D 00 00 00 00 00 00 00 00 00 00 00 00 00 00 6D"},
        {"heart-rate packet 0", [](auto& d) { d.getHeartRateValue(0); },
         "2F 00 00 00 00 00 00 00 00 00 00 00 00 00 00 2F"},
        {"heart-rate packet 5", [](auto& d) { d.getHeartRateValue(5); },
         "2F 05 00 00 00 00 00 00 00 00 00 00 00 00 00 34"},
        {"heart-rate packet 7 without lock", [](auto& d) { d.getHeartRateValueNoLock(7); },
         "2F 07 00 00 00 00 00 00 00 00 00 00 00 00 00 36"},
        {"real-time heart rate on", [](auto& d) { d.setRealtimeHREnabled(true); },
         "2C 01 00 00 00 00 00 00 00 00 00 00 00 00 00 2D"},
        {"real-time heart rate off", [](auto& d) { d.setRealtimeHREnabled(false); },
         "2C 00 00 00 00 00 00 00 00 00 00 00 00 00 00 2C"},
        {"monitoring on", [](auto& d) { d.setMonitoringHREnabled(true); },
         "19 01 00 00 00 00 00 00 00 00 00 00 00 00 00 1A"},
        {"monitoring off", [](auto& d) { d.setMonitoringHREnabled(false); },
         "19 00 00 00 00 00 00 00 00 00 00 00 00 00 00 19"},
        {"window on weekdays", [](auto& d) { d.setMonitoringHRAuto(true, range(8, 0, 20, 30, &R::setOnlyWeekDays)); },
         "2A 01 08 00 20 30 3E 00 00 00 00 00 00 00 00 C1"},
        {"window at night on the weekend",
         [](auto& d) { d.setMonitoringHRAuto(true, range(22, 15, 6, 45, &R::setOnlyWeekend)); },
         "2A 01 22 15 06 45 41 00 00 00 00 00 00 00 00 EE"},
        {"window off, default range", [](auto& d) { d.setMonitoringHRAuto(false, R{}); },
         "2A 00 00 00 23 59 7F 00 00 00 00 00 00 00 00 25"},
        {"window without range", [](auto& d) { d.setMonitoringHRAuto(true, std::nullopt); },
         "2A 01 00 00 00 00 00 00 00 00 00 00 00 00 00 2B"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        RM830Rig rig(Driver::getThirdName());
        rig.open();
        c.call(*rig.driver);
        rig.settle();
        EXPECT_EQ(rig.frames(), std::vector<std::string>{c.frame});
    }
}

TEST_F(RM830CommandsTest, DateAndTimeAreTheLocalOnes) {
    Calendar::setTimeZone("JST-9");
    RM830Rig rig;
    rig.open();
    rig.driver->synchronizeDateTime(kJuly15);  // 10:30 UTC is 19:30 in Tokyo
    rig.settle();
    EXPECT_EQ(rig.frames(), std::vector<std::string>{"01 18 07 15 19 30 00 01 00 00 00 00 00 00 00 7F"});
}

// Only "HR1638" takes monitoring windows; on the others the call does nothing at all, not even take the slot.
TEST_F(RM830CommandsTest, MonitoringWindowOnlyOnHR1638) {
    for (const std::string& name : {Driver::getName(), Driver::getSecondName(), std::string("hr1638")}) {
        SCOPED_TRACE(name);
        RM830Rig rig(name);
        rig.open();
        rig.driver->setMonitoringHRAuto(true, HalvoraSDKRM830TimeRange{});
        rig.driver->readTimeFormat();
        rig.settle();
        EXPECT_EQ(rig.codes(), std::vector<std::string>{"38"});
    }
    RM830Rig gone(Driver::getThirdName());
    gone.open();
    gone.driver->didDisconnect();
    gone.driver->setMonitoringHRAuto(true, std::nullopt);
    gone.settle();
    EXPECT_EQ(gone.permits(), 1);
}

TEST_F(RM830CommandsTest, TimeRangeDaysAndMask) {
    HalvoraSDKRM830TimeRange range;
    EXPECT_EQ(range.startHour * 100 + range.startMinute, 0);
    EXPECT_EQ(range.endHour * 100 + range.endMinute, 2359);
    EXPECT_EQ(range.dayMask(), 0x7F);
    range.setOnlyWeekend();
    EXPECT_EQ(range.dayMask(), 0x41);
    EXPECT_FALSE(range.monday || range.friday);
    range.setOnlyWeekDays();
    EXPECT_EQ(range.dayMask(), 0x3E);
    range.wednesday = false;
    EXPECT_EQ(range.dayMask(), 0x36);
}

TEST_F(RM830CommandsTest, ChecksumAndBcdHelpers) {
    EXPECT_EQ(Driver::crcCalculation({0x43, 0xF0, 0x70}), 0x1A3);  // the frame keeps A3
    EXPECT_EQ(Driver::crcCalculation({}), 0);
    const std::pair<int, int> bcd[] = {{0, 0x00}, {7, 0x07}, {25, 0x25}, {59, 0x59}, {99, 0x99}};
    for (const auto& [decimal, byte] : bcd) {
        EXPECT_EQ(Driver::intToHexa(decimal), byte) << decimal;
        EXPECT_EQ(Driver::hexaToInt(static_cast<std::uint8_t>(byte)), decimal) << decimal;
    }
    EXPECT_EQ(Driver::byteToString(0x07), "07");
    EXPECT_EQ(Driver::byteToString(0x59), "59");
    EXPECT_EQ(Driver::byteToString(0x1A), "110");
}

TEST_F(RM830CommandsTest, RecognisesItsThreeNamesExactly) {
    const std::pair<std::optional<std::string>, bool> names[] = {
        {"J-Style", true},  {"HalVora", true},  {"HR1638", true},   {"j-style", false},
        {"HALVORA", false}, {"HR1638 ", false}, {"HR16380", false}, {std::nullopt, false},
    };
    for (const auto& [name, expected] : names) {
        EXPECT_EQ(Driver::matchDevice(std::make_shared<FakePeripheral>("A", name)), expected)
            << name.value_or("(none)");
    }
    EXPECT_FALSE(Driver::matchDevice(nullptr));
    EXPECT_EQ(Driver{}.getType(), 6);
    EXPECT_EQ(Driver::rsServiceUUID(), BLEUUID("FFF0"));
    EXPECT_EQ(Driver::readCharacteristicUUID(), BLEUUID("FFF7"));
    EXPECT_EQ(Driver::sendCharacteristicUUID(), BLEUUID("FFF6"));
}

// Discovery: ready (twice), the bracelet remembered, then the version read and, once it is answered, the time
// format; the time format is set once per driver.
TEST_F(RM830CommandsTest, ConnectingReadsTheVersionThenSetsTheTimeFormatOnce) {
    RM830Rig rig;
    rig.connect();
    EXPECT_EQ(rig.reports->events(), (std::vector<std::string>{"connected", "ready", "ready"}));
    ASSERT_EQ(rig.peripheral->characteristicDiscoveries.size(), 1u);
    EXPECT_EQ(rig.peripheral->characteristicDiscoveries[0].first, Driver::rsServiceUUID());
    EXPECT_EQ(rig.peripheral->characteristicDiscoveries[0].second,
              (std::vector<BLEUUID>{Driver::readCharacteristicUUID(), Driver::sendCharacteristicUUID()}));
    EXPECT_EQ(rig.peripheral->notified, std::vector<BLEUUID>{Driver::readCharacteristicUUID()});
    EXPECT_EQ(rig.preferences->getBraceletUUID(), rig.peripheral->identifier());
    EXPECT_EQ(rig.codes(), std::vector<std::string>{"27"});
    rig.play("27 36 33 38 01");
    EXPECT_EQ(rig.codes(), (std::vector<std::string>{"27", "37"}));
    rig.play("37");
    EXPECT_EQ(rig.app->events, std::vector<std::string>{"finished true"});
    rig.clear();
    rig.driver->synchronizeParams(1);
    rig.settle();
    EXPECT_TRUE(rig.frames().empty());
    EXPECT_EQ(rig.permits(), 1);
}

TEST_F(RM830CommandsTest, DiscoveryWithAnErrorLeavesTheBraceletUnready) {
    RM830Rig rig;
    rig.driver->didConnect();
    rig.peripheral->playServicesDiscovered();
    rig.peripheral->playCharacteristicsDiscovered(Driver::rsServiceUUID(), BLEError{BLEErrorUnknown, "failed"});
    rig.settle();
    EXPECT_EQ(rig.reports->events(), std::vector<std::string>{"connected"});
    EXPECT_TRUE(rig.frames().empty());
}

}  // namespace
}  // namespace halvora::test
