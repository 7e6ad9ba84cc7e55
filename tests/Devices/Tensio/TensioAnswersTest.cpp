#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "Devices/Tensio/TensioRig.hpp"

namespace halvora::test {
namespace {

using Driver = HalvoraSDKTensioBracelet;
using Request = TensioBraceletRequest;

class TensioAnswersTest : public ::testing::Test {
protected:
    void SetUp() override {
        Calendar::setTimeZone("UTC");
        rig.open();
    }
    void TearDown() override { Calendar::setTimeZone(std::nullopt); }

    TensioRig rig;
};

// The count answers the first request; each later request gets one stored record, dated when it is read.
TEST_F(TensioAnswersTest, HistoryCountThenOneRecordPerRequest) {
    rig.run([](auto& d) {
        d.getBloodPressureHistory();
        d.getBloodPressureHistory();
        d.getBloodPressureHistory();
    });
    rig.play("5A 00 02 60 02 00");
    EXPECT_EQ(rig.driver->totalBloodPressureHistory(), 2);
    rig.play("5A 00 06 00 00 8C 5A 46 01 00");
    rig.executor->advance(std::chrono::seconds(1));
    rig.play("5A 00 06 00 01 02 5F 50 00 00");
    EXPECT_EQ(rig.reports->events, (std::vector<std::string>{"reading 140/90/70/1 at 2026-01-01 00:00:00",
                                                             "reading 258/95/80/0 at 2026-01-01 00:00:01"}));
    EXPECT_EQ(rig.frames().size(), 3u);
    EXPECT_EQ(rig.driver->request(), Request::kNone);
    EXPECT_EQ(rig.permits(), 1);

    // A count under another request is kept apart; an equal record read at the same instant is not delivered.
    rig.clear();
    rig.run([](auto& d) { d.getSmartwatchTime(); });
    rig.play("5A 00 02 60 07 00");
    EXPECT_EQ(rig.driver->totalStepsHistory(), 7);
    EXPECT_EQ(rig.driver->totalBloodPressureHistory(), 2);
    rig.run([](auto& d) { d.getBloodPressureHistory(); });
    rig.play("5A 00 06 00 01 02 5F 50 00 00");
    EXPECT_TRUE(rig.reports->events.empty());
    EXPECT_EQ(rig.driver->request(), Request::kNone);
}

// The ten-byte answers that become texts, and whether they end their request.
TEST_F(TensioAnswersTest, InformationTexts) {
    struct Case {
        std::function<void(Driver&)> call;
        std::string answer;
        std::string text;
        std::int32_t requestAfter;
    };
    auto clock = [](Driver& d) { d.getSmartwatchTime(); };
    auto info = [](Driver& d) { d.getBasicInfo(); };
    auto schedule = [](Driver& d) { d.getAmbulatoryBloodPressureTime(); };
    const std::vector<Case> cases = {
        {clock, "5A 00 06 13 01 16 0A 05 09 00", "TensioBracelet time: 19-1-22 10:5:9", 0},
        {clock, "5A 00 06 FF 0C 1F 17 3B 3B 00", "TensioBracelet time: 255-12-31 23:59:59", 0},
        {info, "5A 00 06 55 10 0F 00 07 00 00",
         "Battery level: 85\nABPM: 1 - ON\nUnit: 0 - mmHg\nHold: 15\nTotal saved blood pressure: 7\n", 0},
        {info, "5A 00 06 05 0F 10 00 FF 00 00",
         "Battery level: 5\nABPM: 0 - OFF\nUnit: 1 - kPa\nHold: 0\nTotal saved blood pressure: 255\n", 0},
        // b8 is a period: b7 is the serial byte (window 1 of 2, not the last).
        {schedule, "5A 00 06 08 00 0C 1E 12 3C 00",
         "Interval startTime 08:00\nendTime 12:30\nserialNo 1\ntotalTimeIntervals 2\nintervalMinutes 60", 5},
        // b8 is no period: b7 is the period, b8 the serial byte (window 2 of 2, the last).
        {schedule, "5A 00 06 0D 1E 12 00 1E 22 00",
         "Interval startTime 13:30\nendTime 18:00\nserialNo 2\ntotalTimeIntervals 2\nintervalMinutes 30", 0},
        {schedule, "5A 00 06 00 00 17 1E 11 E2 00",
         "Interval startTime 00:00\nendTime 23:30\nserialNo 1\ntotalTimeIntervals 1\nintervalMinutes 226", 0},
        {schedule, "5A 00 06 00 00 17 1E 3C 96 00",  // 150 is no period: serial 9 of 6
         "Interval startTime 00:00\nendTime 23:30\nserialNo 9\ntotalTimeIntervals 6\nintervalMinutes 60", 5},
        {schedule, "5A 00 06 06 00 07 00 33 00 00",  // a period of 0
         "Interval startTime 06:00\nendTime 07:00\nserialNo 3\ntotalTimeIntervals 3\nintervalMinutes 0", 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.answer);
        TensioRig fresh;
        fresh.open();
        fresh.run(c.call);
        fresh.play(c.answer);
        EXPECT_EQ(fresh.reports->events, std::vector<std::string>{"text " + c.text});
        EXPECT_EQ(fresh.driver->request(), c.requestAfter);
    }
}

// The six-byte events under request 1 (measuring): what each reports, and whether it ends the measurement.
TEST_F(TensioAnswersTest, EventsAndErrorSubCodes) {
    struct Case {
        std::string event;
        std::string report;
        bool measuringAfter;
    };
    const std::vector<Case> cases = {
        {"50 00 00", "error absent", false},  {"50 01 00", "error -8", false},     {"50 06 00", "error -13", false},
        {"50 07 00", "error absent", false},  {"51 03 00", "error absent", false}, {"52 00 00", "error absent", false},
        {"52 01 00", "error -14", false},     {"52 05 00", "error -18", false},    {"52 06 00", "error absent", false},
        {"52 FF 00", "error absent", false},  {"00 78 00", "pressure 120", true},  {"41 00 00", "pressure 16640", true},
        {"FF FF FF", "pressure 65535", true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.event);
        TensioRig fresh;
        fresh.open();
        fresh.run([](auto& d) { d.startMeasurement(); });
        fresh.play(kAck);
        fresh.clear();
        fresh.play("5A 00 02 " + c.event);
        EXPECT_EQ(fresh.reports->events, std::vector<std::string>{c.report});
        EXPECT_EQ(fresh.driver->measuring(), c.measuringAfter);
        EXPECT_EQ(fresh.driver->request(), c.measuringAfter ? Request::kStartMeasurement : Request::kNone);
    }
}

// An acknowledgement ends the settings' requests; it leaves the reads waiting for their answer. Only exactly
// 40 00 42 is reported to the application.
TEST_F(TensioAnswersTest, AcknowledgementsByRequest) {
    struct Case {
        std::function<void(Driver&)> call;
        std::string ack;
        std::vector<std::int32_t> executed;
        bool ends;
    };
    const std::vector<Case> cases = {
        {[](auto& d) { d.setConfig({}); }, kAck, {2}, true},
        {[](auto& d) { d.removeBloodPressureHistory(); }, kAck, {3}, true},
        {[](auto& d) { d.resetDefaults(); }, kAck, {7}, true},
        {[](auto& d) { d.setAmbulatoryBloodPressureTime({{}}); }, kAck, {8}, true},
        {[](auto& d) { d.setSmartwatchTime(); }, kAck, {9}, true},
        {[](auto& d) { d.getSmartwatchTime(); }, kAck, {4}, false},
        {[](auto& d) { d.getBloodPressureHistory(); }, kAck, {11}, false},
        {[](auto& d) { d.setConfig({}); }, "5A 00 02 40 01 42", {}, true},
        {[](auto& d) { d.setConfig({}); }, "5A 00 02 40 00 00", {}, true},
        {[](auto& d) { d.setConfig({}); }, "5A 00 02 33 01 42", {}, true},  // b5 42 answers too (and is a pressure)
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.ack);
        TensioRig fresh;
        fresh.open();
        fresh.run(c.call);
        const std::int32_t request = fresh.driver->request();
        fresh.run([](auto& d) { d.getBasicInfo(); });  // waits for the slot
        fresh.play(c.ack);
        EXPECT_EQ(fresh.app->executed, c.executed);
        EXPECT_EQ(fresh.driver->request(), c.ends ? Request::kGetBasicInfo : request);
        EXPECT_EQ(fresh.frames().size(), c.ends ? 2u : 1u);
    }
}

// Bytes nobody asked for, frames of other lengths and bytes that make no frame touch neither the request nor
// the slot; the bracelet's next frame is still understood.
TEST_F(TensioAnswersTest, BadInputIsDropped) {
    const std::string info = "5A 00 06 55 10 0F 00 07 00 00";
    rig.play(kResult);  // no request: a result, a pressure, the start of a frame
    rig.play("5A 00 02 00 50 52");
    rig.play("5A 00 0A");
    EXPECT_TRUE(rig.reports->events.empty());
    EXPECT_EQ(rig.driver->pendingFrameBytes(), 0u);
    rig.run([](auto& d) { d.getBasicInfo(); });
    struct Case {
        std::vector<std::string> notifications;
        std::size_t logLines;
    };
    const std::vector<Case> cases = {
        {{"5A 00 00 00"}, 0},                                         // four bytes: no such frame
        {{"5A 00 03 00 00 00 00"}, 0},                                // seven bytes
        {{"5A 00 FF", std::string(256 * 2, '0')}, 0},                 // the longest frame, not one the bracelet uses
        {{"5A 00 02 40 00 42 5A 00 02 40 00 42"}, 1},                 // two frames in one notification
        {{"5A 00 0A 13 01", "16 0A 05 00 78 50 48 00 00 00 00"}, 1},  // runs past its length
        {{"5A", std::string(300 * 2, 'F')}, 1},                       // past the cap
        {{""}, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.notifications.front());
        rig.clear();
        for (const auto& notification : c.notifications) rig.play(notification);
        EXPECT_TRUE(rig.reports->events.empty());
        EXPECT_EQ(rig.logLines.size(), c.logLines);
        EXPECT_EQ(rig.driver->pendingFrameBytes(), 0u);
        EXPECT_EQ(rig.driver->request(), Request::kGetBasicInfo);
        EXPECT_EQ(rig.permits(), 0);
    }
    rig.play("5A 00");  // the answer, cut after its second byte
    rig.play(info.substr(6));
    EXPECT_EQ(rig.reports->events.size(), 1u);
    EXPECT_EQ(rig.permits(), 1);

    // Notifications with an error, from another characteristic, or after the manager let the driver go.
    rig.run([](auto& d) { d.getBasicInfo(); });
    rig.clear();
    const auto value = bytes(info);
    rig.driver->peripheralDidUpdateValueForCharacteristic(
        rig.peripheral, rig.peripheral->characteristic(Driver::readCharacteristicUUID()), value,
        BLEError{BLEErrorUnknown, "failed"});
    rig.driver->peripheralDidUpdateValueForCharacteristic(
        rig.peripheral, rig.peripheral->characteristic(Driver::sendCharacteristicUUID()), value, std::nullopt);
    rig.driver->release();
    rig.play(info);
    EXPECT_TRUE(rig.reports->events.empty());
    EXPECT_EQ(rig.driver->pendingFrameBytes(), 0u);
}

}  // namespace
}  // namespace halvora::test
