#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Devices/Tensio/TensioRig.hpp"

namespace halvora::test {
namespace {

using Request = TensioBraceletRequest;

const std::string kReading = "reading 120/80/72/0 at 2019-01-22 10:05:00";
constexpr const char* kBasicInfo = "5A 00 06 55 00 00 00 00 00 00";

class TensioMeasurementTest : public ::testing::Test {
protected:
    void SetUp() override {
        Calendar::setTimeZone("UTC");
        rig.open();
    }
    void TearDown() override { Calendar::setTimeZone(std::nullopt); }

    /// Starts a measurement and plays its acknowledgement; nothing recorded.
    void startMeasuring() {
        rig.run([](auto& d) { d.startMeasurement(); });
        rig.play(kAck);
        rig.clear();
    }
    /// Asks for the basic information, which makes the driver forget its last reading; nothing recorded.
    void forgetLastReading() {
        rig.run([](auto& d) { d.getBasicInfo(); });
        rig.play(kBasicInfo);
        rig.clear();
    }

    TensioRig rig;
};

TEST_F(TensioMeasurementTest, AcknowledgementPressuresThenResult) {
    rig.run([](auto& d) {
        d.startMeasurement();
        d.getBasicInfo();
    });
    rig.play(kAck);
    EXPECT_TRUE(rig.driver->measuring());
    EXPECT_EQ(rig.app->executed, std::vector<std::int32_t>{Request::kStartMeasurement});
    rig.play("5A 00 02 00 50 52");
    rig.play("5A 00 02 01 0A 09");
    rig.play(kResult);
    EXPECT_EQ(rig.reports->events, (std::vector<std::string>{"pressure 80", "pressure 266", kReading}));
    EXPECT_FALSE(rig.driver->measuring());
    EXPECT_EQ(rig.frames().back(), "5A 00 02 04 00 06");  // the result ended the request
}

// However the result is cut, it is handled once, when its fourteenth byte arrives.
TEST_F(TensioMeasurementTest, ResultSplitOverTwoNotificationsIsHandledOnce) {
    const std::string result = kResult;
    for (std::size_t firstBytes : {1u, 2u, 3u, 7u, 13u}) {
        SCOPED_TRACE(firstBytes);
        startMeasuring();
        const std::size_t cut = firstBytes * 3;  // "5A " per byte
        rig.play(result.substr(0, cut));
        EXPECT_TRUE(rig.reports->events.empty());
        EXPECT_EQ(rig.driver->pendingFrameBytes(), firstBytes);
        rig.play(result.substr(cut));
        EXPECT_EQ(rig.reports->events, std::vector<std::string>{kReading});
        EXPECT_EQ(rig.driver->pendingFrameBytes(), 0u);
        forgetLastReading();
    }
}

// A result equal to the last reading is not delivered again; the basic information makes it forgotten.
TEST_F(TensioMeasurementTest, RepeatedResultIsDeliveredOnce) {
    startMeasuring();
    rig.play(kResult);
    rig.play(kResult);  // no request in progress any more: dropped
    rig.run([](auto& d) { d.returnMeasurement(); });
    rig.play(kAck);
    rig.play(kResult);  // the bracelet's last result again
    EXPECT_EQ(rig.reports->events, std::vector<std::string>{kReading});
    EXPECT_EQ(rig.driver->request(), Request::kNone);
    EXPECT_EQ(rig.permits(), 1);

    forgetLastReading();
    rig.run([](auto& d) { d.returnMeasurement(); });
    rig.play(kAck);
    rig.play(kResult);
    EXPECT_EQ(rig.reports->events, std::vector<std::string>{kReading});
}

// The result's date: each field printed "%2d", blanks to "0", read as "yy-MM-dd HH:mm"; bytes are signed.
TEST_F(TensioMeasurementTest, ResultFieldsAndDate) {
    struct Case {
        std::string frame;
        std::string reading;
    };
    const std::vector<Case> cases = {
        {"5A 00 0A 00 01 01 00 00 00 78 50 48 00 00", "120/80/72/0 at 2000-01-01 00:00:00"},
        {"5A 00 0A 63 0C 1F 17 3B 00 78 50 48 01 00", "120/80/72/1 at 2099-12-31 23:59:00"},
        {"5A 00 0A 14 02 1D 08 00 01 00 50 48 00 00", "256/80/72/0 at 2020-02-29 08:00:00"},
        {"5A 00 0A 13 02 1D 08 00 00 78 50 48 00 00", "120/80/72/0 at -"},  // 2019 has no 29 February
        {"5A 00 0A 13 0D 01 08 00 00 78 50 48 00 00", "120/80/72/0 at -"},  // month 13
        {"5A 00 0A 13 01 00 08 00 00 78 50 48 00 00", "120/80/72/0 at -"},  // day 0
        {"5A 00 0A 13 01 01 18 00 00 78 50 48 00 00", "120/80/72/0 at -"},  // hour 24
        {"5A 00 0A 13 01 01 08 3C 00 78 50 48 00 00", "120/80/72/0 at -"},  // minute 60
        {"5A 00 0A 64 01 01 08 00 00 78 50 48 00 00", "120/80/72/0 at -"},  // year 100: three digits
        {"5A 00 0A FB 01 01 08 00 00 78 50 48 00 00", "120/80/72/0 at -"},  // year -5
        {"5A 00 0A 13 01 16 0A 05 00 87 50 48 FF 00", "-121/80/72/-1 at 2019-01-22 10:05:00"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.frame);
        forgetLastReading();
        startMeasuring();
        rig.play(c.frame);
        EXPECT_EQ(rig.reports->events, std::vector<std::string>{"reading " + c.reading});
    }
}

TEST_F(TensioMeasurementTest, ResultDateIsLocalTime) {
    Calendar::setTimeZone("JST-9");
    startMeasuring();
    rig.play(kResult);
    ASSERT_TRUE(rig.driver->lastData() && rig.driver->lastData()->date);
    EXPECT_EQ(*rig.driver->lastData()->date, Date{std::chrono::seconds{1548119100}});  // 01:05 UTC
}

}  // namespace
}  // namespace halvora::test
