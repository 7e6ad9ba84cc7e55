// The virtual Vital bracelet from the phone's side of the link: the frames it takes, what it answers and
// what it keeps.
#include <gtest/gtest.h>

#include <algorithm>

#include "VitalBench.hpp"

namespace halvora::lab::test {
namespace {

using halvora::test::bytes;
using std::chrono::milliseconds;
using std::chrono::seconds;

struct Exchange {
    const char* what;
    Bytes command;  // the phone's frame
    Frames answer;  // what comes back
};

void run(VitalBench& bench, const std::vector<Exchange>& exchanges) {
    for (const auto& e : exchanges) {
        EXPECT_EQ(VitalBench::hex(bench.ask(e.command)), VitalBench::hex(e.answer)) << e.what;
    }
}

Frames one(std::uint8_t code, const Bytes& payload = {}) {
    return {VitalBench::frame(code, payload)};
}

TEST(VirtualVitalBracelet, SettingsAreKeptAndReadBack) {
    VitalBench bench;
    const Bytes activity = {0x08, 0x30, 0x20, 0x00, 0x1F, 45, 200, 1};  // 8:30 to 20:00 on weekdays
    run(bench, {
                   {"clock 2024-02-29 23:59:58",
                    bytes("01 24 02 29 23 59 58 00 00 00 00 00 00 00 00 24"),
                    {bytes("01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01")}},
                   {"step goal 12345", bytes("0B 39 30 00 00 00 00 00 00 00 00 00 00 00 00 74"), one(0x0B)},
                   {"wearer", VitalBench::frame(0x02, {0x00, 41, 255, 80, 7}), one(0x02)},
                   {"activity period", VitalBench::frame(0x25, activity), one(0x25)},
                   {"sport mode 6 level 3", VitalBench::frame(0x19, {1, 6, 3, 30}), one(0x19)},
                   {"QR shown", VitalBench::frame(0xB0, {0x80}), one(0xB0, {0x80})},
                   {"measure quantity code 2", VitalBench::frame(0x28, {2, 1}), one(0x28, {2, 1})},
                   {"battery", VitalBench::frame(0x13), one(0x13, {85})},
                   {"MAC", VitalBench::frame(0x22), one(0x22, {0xC8, 0x4A, 0x20, 0x25, 0x0E, 0x10})},
                   // Read back in the layout they were set with (well within the clock's first second).
                   {"read clock", VitalBench::frame(0x41), one(0x41, {0x24, 0x02, 0x29, 0x23, 0x59, 0x58})},
                   {"read goal", VitalBench::frame(0x4B), one(0x4B, {0x39, 0x30, 0x00, 0x00})},
                   {"read wearer", VitalBench::frame(0x42), one(0x42, {0x00, 41, 255, 80, 7})},
                   {"read activity period", VitalBench::frame(0x26), one(0x26, activity)},
               });
    const VitalSettings s = bench.bracelet->settings();
    EXPECT_TRUE(s.clockSetByPhone);
    EXPECT_EQ(s.stepGoal, 12345U);
    EXPECT_EQ(s.user.height, 255);
    EXPECT_EQ(s.activity.window.startMinute, 30);
    EXPECT_EQ(s.activity.minimumSteps, 200);
    EXPECT_EQ(s.sport.level, 3);
    EXPECT_TRUE(s.qrShown);
    EXPECT_EQ(s.measurements.at(2), 1);

    // The clock runs on from where it was set, across the leap day (twelve round trips and 3 s later).
    bench.after(seconds(3));
    EXPECT_EQ(bench.bracelet->settings().clock.text(), "2024-03-01 00:00:02");
}

TEST(VirtualVitalBracelet, MalformedAndUnknownFrames) {
    VitalBench bench;
    run(bench,
        {
            {"30 February", VitalBench::frame(0x01, {0x24, 0x02, 0x30, 0x10, 0x00, 0x00}), one(0x81)},
            {"minute not BCD", VitalBench::frame(0x01, {0x24, 0x02, 0x10, 0x10, 0x3A, 0x00}), one(0x81)},
            {"activity ending at 24:00", VitalBench::frame(0x25, {0x08, 0x00, 0x24, 0x00, 0x1F}), one(0xA5)},
            {"detection window not BCD", VitalBench::frame(0x2A, {1, 0x0A, 0, 0x20, 0, 0x7F, 0, 0, 1}), one(0xAA)},
            {"unknown code", VitalBench::frame(0x50, {1}), one(0xD0)},
            {"sleep of today, nothing stored", VitalBench::frame(0x53, {1}), {bytes("53 FF FF")}},
            {"ECG status before any measurement", VitalBench::frame(0x9C), one(0x9C, {0})},
            {"the phone's answer to a heartbeat", VitalBench::frame(0x18), {}},
            // Not trusted at all: no answer.
            {"wrong checksum", bytes("0B 39 30 00 00 00 00 00 00 00 00 00 00 00 00 75"), {}},
            {"15 bytes", bytes("0B 39 30 00 00 00 00 00 00 00 00 00 00 00 74"), {}},
            {"17 bytes", bytes("0B 39 30 00 00 00 00 00 00 00 00 00 00 00 00 74 00"), {}},
            {"nothing", {}, {}},
        });
    const VitalSettings s = bench.bracelet->settings();
    EXPECT_FALSE(s.clockSetByPhone);
    EXPECT_EQ(s.stepGoal, VitalSettings{}.stepGoal);
    EXPECT_EQ(s.activity.window.endHour, VitalSettings{}.activity.window.endHour);
    EXPECT_TRUE(s.detection.empty());
    EXPECT_EQ(s.heartbeatAnswers, 1);
    EXPECT_EQ(bench.bracelet->rejectedFrames(), 4);
    EXPECT_EQ(bench.bracelet->framesReceived().size(), 12U);
}

TEST(VirtualVitalBracelet, ParametersAreSetAndReadInTwoSteps) {
    VitalBench bench;
    const VitalSettings::Parameters before = bench.bracelet->parameters();
    // km, 24 h and Celsius true (0x80 in bytes 1, 2, 4), wrist sense true (0x81), night mode and ANCS false;
    // notifications 0x12 0x34 swapped; heart-rate base 60 | 0x80, brightness 15 ^ 0x80, dial 9 ^ 0x80, language 2.
    const Bytes first = {0x80, 0x80, 0x81, 0x80, 0x80, 0x80, 0x34, 0x12, 0xBC, 0x00, 0x8F, 0x89, 0x00, 0x80};
    run(bench, {{"first half", VitalBench::frame(0x03, first), one(0x03)}});
    EXPECT_TRUE(bench.bracelet->settings().parametersPending);
    EXPECT_EQ(bench.bracelet->parameters().brightness, before.brightness);  // not applied yet
    run(bench, {{"read before applying", VitalBench::frame(0x04),
                 one(0x04, {0x80, 0x80, 0x81, 0x80, 0x80, 0x80, 0x00, 0x00, 0x3C, 0x8A, 0x80, 0x81})}});

    run(bench, {
                   {"second half", VitalBench::frame(0x06, {0x80}), one(0x06)},
                   // Read back: the rest follows the notification bytes, the base without its marker bit.
                   {"read first half", VitalBench::frame(0x04),
                    one(0x04, {0x80, 0x80, 0x81, 0x80, 0x80, 0x80, 0x34, 0x12, 0x3C, 0x8F, 0x89, 0x80})},
                   {"read second half", VitalBench::frame(0x07), one(0x07, {0x80})},
               });
    const VitalSettings::Parameters p = bench.bracelet->parameters();
    EXPECT_FALSE(bench.bracelet->settings().parametersPending);
    EXPECT_EQ(p.notificationsFirst, 0x12);
    EXPECT_EQ(p.notificationsSecond, 0x34);
    EXPECT_EQ(p.brightness, 0x8F);
    EXPECT_EQ(p.dial, 0x89);
    EXPECT_EQ(p.language, 0x80);
    EXPECT_EQ(p.further, 0x80);
}

TEST(VirtualVitalBracelet, DetectionIsKeptPerQuantity) {
    VitalBench bench;
    // Type code 1 at an interval of 300 minutes from 7:00 to 22:30 every day; type code 3 off.
    const Bytes interval = {2, 0x07, 0x00, 0x22, 0x30, 0x7F, 0x2C, 0x01, 1};
    run(bench, {
                   {"type 1 at an interval", VitalBench::frame(0x2A, interval), one(0x2A, {1})},
                   {"type 3 off", VitalBench::frame(0x2A, {0, 0, 0, 0, 0, 0, 0, 0, 3}), one(0x2A, {3})},
                   {"read type 1", VitalBench::frame(0x2B, {1}), one(0x2B, interval)},
                   {"read type 3", VitalBench::frame(0x2B, {3}), one(0x2B, {0, 0, 0, 0, 0, 0, 0, 0, 3})},
                   {"read type 2, never set", VitalBench::frame(0x2B, {2}),
                    one(0x2B, {0, 0x00, 0x00, 0x23, 0x59, 0x7F, 0, 0, 2})},
               });
    EXPECT_EQ(bench.bracelet->settings().detection.at(1).interval, 300);
}

/// The alarm list the phone writes: a 39-byte block per alarm (hour and minute in BCD), then 23 FF.
Bytes alarmList(const std::vector<std::array<std::uint8_t, 5>>& alarms) {
    Bytes list;
    for (std::size_t i = 0; i < alarms.size(); ++i) {
        Bytes block(39, 0);
        block[0] = 0x23;
        block[1] = static_cast<std::uint8_t>(alarms.size());
        block[2] = static_cast<std::uint8_t>(i);
        for (std::size_t k = 0; k < 5; ++k) block[3 + k] = alarms[i][k];
        const Bytes text = {0x05, '1', '2', '3', '4', '5'};
        std::copy(text.begin(), text.end(), block.begin() + 8);
        list.insert(list.end(), block.begin(), block.end());
    }
    list.push_back(0x23);
    list.push_back(0xFF);
    return list;
}

TEST(VirtualVitalBracelet, AlarmsArriveInPiecesAndAreAnsweredOnceWhole) {
    VitalBench bench;
    const Bytes two = alarmList({{1, 0, 0x07, 0x30, 0x1F}, {0, 2, 0x21, 0x05, 0x60}});
    ASSERT_EQ(two.size(), 80U);
    // Nothing comes back before the last piece.
    EXPECT_TRUE(bench.ask(Bytes(two.begin(), two.begin() + 20)).empty());
    EXPECT_TRUE(bench.ask(Bytes(two.begin() + 20, two.begin() + 60)).empty());
    EXPECT_EQ(VitalBench::hex(bench.ask(Bytes(two.begin() + 60, two.end()))), VitalBench::hex(one(0x23)));
    auto alarms = bench.bracelet->alarms();
    ASSERT_EQ(alarms.size(), 2U);
    EXPECT_EQ(alarms[0].enabled, 1);
    EXPECT_EQ(alarms[0].hour, 7);
    EXPECT_EQ(alarms[0].minute, 30);
    EXPECT_EQ(alarms[0].weekDays, 0x1F);
    EXPECT_EQ(alarms[0].text, "12345");
    EXPECT_EQ(alarms[1].index, 1);
    EXPECT_EQ(alarms[1].type, 2);
    EXPECT_EQ(alarms[1].hour, 21);

    std::vector<std::array<std::uint8_t, 5>> ten(10, {1, 0, 0x06, 0x45, 0x7F});
    EXPECT_EQ(VitalBench::hex(bench.askInPieces(alarmList(ten))), VitalBench::hex(one(0x23)));
    EXPECT_EQ(bench.bracelet->alarms().size(), 10U);
    // The empty list clears them; a frame after a list is a command again.
    EXPECT_EQ(VitalBench::hex(bench.ask(bytes("23 FF"))), VitalBench::hex(one(0x23)));
    EXPECT_TRUE(bench.bracelet->alarms().empty());
    EXPECT_EQ(VitalBench::hex(bench.ask(VitalBench::frame(0x13))), VitalBench::hex(one(0x13, {85})));
}

TEST(VirtualVitalBracelet, AlarmListsThatAreNoListsAreRefused) {
    struct Case {
        const char* what;
        Bytes list;
    };
    Bytes wrongIndex = alarmList({{1, 0, 0x07, 0x30, 0x1F}, {1, 0, 0x08, 0x00, 0x1F}});
    wrongIndex[39 + 2] = 0;
    Bytes badHour = alarmList({{1, 0, 0x25, 0x30, 0x1F}});
    Bytes badTrailer = alarmList({{1, 0, 0x07, 0x30, 0x1F}});
    badTrailer.back() = 0x00;
    Bytes tooMany = alarmList({{1, 0, 0x07, 0x30, 0x1F}});
    tooMany[1] = VirtualVitalBracelet::kMaxAlarms + 1;
    const std::vector<Case> cases = {
        {"second block with index 0", wrongIndex}, {"hour 25", badHour}, {"no 23 FF at the end", badTrailer}};
    for (const auto& c : cases) {
        VitalBench bench;
        bench.ask(bytes("23 FF"));
        EXPECT_EQ(VitalBench::hex(bench.askInPieces(c.list)), VitalBench::hex(one(0xA3))) << c.what;
        EXPECT_TRUE(bench.bracelet->alarms().empty()) << c.what;
    }
    // A list announcing too many alarms is refused at its first piece; the rest are no frames.
    VitalBench bench;
    EXPECT_EQ(VitalBench::hex(bench.ask(Bytes(tooMany.begin(), tooMany.begin() + 20))), VitalBench::hex(one(0xA3)));
    EXPECT_TRUE(bench.ask(Bytes(tooMany.begin() + 20, tooMany.end())).empty());
}

TEST(VirtualVitalBracelet, PartialAlarmListIsDroppedAfterItsTimeOut) {
    VitalBench bench;
    const Bytes list = alarmList({{1, 0, 0x07, 0x30, 0x1F}});
    bench.ask(Bytes(list.begin(), list.begin() + 20));
    EXPECT_TRUE(
        bench.after(VirtualVitalBracelet::kAlarmPieceTimeout - VitalBench::kRoundTrip - milliseconds(1)).empty());
    EXPECT_EQ(bench.bracelet->rejectedFrames(), 0);
    bench.after(VitalBench::kRoundTrip);  // the piece reached the bracelet within its round trip
    EXPECT_EQ(bench.bracelet->rejectedFrames(), 1);
    // The next frame is a command, not the list's next piece.
    EXPECT_EQ(VitalBench::hex(bench.ask(VitalBench::frame(0x13))), VitalBench::hex(one(0x13, {85})));
}

TEST(VirtualVitalBracelet, WeatherIsTakenWithoutChecksum) {
    VitalBench bench;
    // Status 4, 20 °C, max 24, min -3, air quality 90, "BARCELONA" (9) of which 8 characters arrive.
    const Bytes weather = bytes("15 04 14 18 FD 5A 00 09 42 41 52 43 45 4C 4F 4E");
    EXPECT_EQ(VitalBench::hex(bench.ask(weather)), VitalBench::hex(one(0x15)));
    const auto w = bench.bracelet->weather();
    ASSERT_TRUE(w);
    EXPECT_EQ(w->status, 4);
    EXPECT_EQ(w->temperature, 20);
    EXPECT_EQ(w->maxTemperature, 24);
    EXPECT_EQ(w->minTemperature, -3);
    EXPECT_EQ(w->airQuality, 90);
    EXPECT_EQ(w->locationLength, 9);
    EXPECT_EQ(w->location, "BARCELON");
    // A short location leaves the rest out.
    bench.ask(bytes("15 01 00 00 00 00 00 03 4F 53 4C 00 00 00 00 00"));
    EXPECT_EQ(bench.bracelet->weather()->location, "OSL");
}

/// Steps, heart rate and temperature of a real-time frame.
std::array<int, 3> realTime(const Bytes& frame) {
    if (frame.size() != 16 || frame[0] != 0x09) return {-1, -1, -1};
    return {frame[1] | frame[2] << 8 | frame[3] << 16 | frame[4] << 24, frame[5], frame[6] | frame[7] << 8};
}

TEST(VirtualVitalBracelet, RealTimeDataStreamUntilStopped) {
    VitalScript script;
    script.steps = 5000;
    script.stepsPerUpdate = 7;
    script.heartRate = 80;
    script.heartRateSpread = 4;
    script.temperature = 366;
    script.temperatureSpread = 3;
    VitalBench bench(script);

    const Frames first = bench.ask(VitalBench::frame(0x09, {1, 1}));
    ASSERT_EQ(first.size(), 1U);
    EXPECT_EQ(realTime(first[0])[0], 5000);
    EXPECT_TRUE(bench.bracelet->settings().realTime);
    EXPECT_TRUE(bench.after(milliseconds(850)).empty());  // the next one a second after the first
    Frames frames = bench.after(seconds(10));
    ASSERT_EQ(frames.size(), 10U);
    std::vector<int> rates;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const auto values = realTime(frames[i]);
        EXPECT_EQ(values[0], 5000 + 7 * static_cast<int>(i + 1));
        EXPECT_GE(values[1], 76);
        EXPECT_LE(values[1], 84);
        EXPECT_GE(values[2], 363);
        EXPECT_LE(values[2], 369);
        EXPECT_EQ(VitalBench::frame(0x09, Bytes(frames[i].begin() + 1, frames[i].end() - 1)), frames[i]);
        rates.push_back(values[1]);
    }
    EXPECT_NE(std::count(rates.begin(), rates.end(), rates.front()), 10);  // it varies

    const Frames last = bench.ask(VitalBench::frame(0x09, {0, 0}));
    ASSERT_EQ(last.size(), 1U);
    EXPECT_EQ(realTime(last[0])[0], 5070);
    EXPECT_TRUE(bench.after(seconds(5)).empty());
    EXPECT_FALSE(bench.bracelet->settings().realTime);

    // Without the temperature, its bytes are 0; the steps go on from where they were.
    const auto again = realTime(bench.ask(VitalBench::frame(0x09, {1, 0})).at(0));
    EXPECT_EQ(again[0], 5070);
    EXPECT_EQ(again[2], 0);
    // The link's end stops them.
    bench.lab.central->cancelPeripheralConnection(bench.peripheral);
    bench.lab.settle();
    EXPECT_FALSE(bench.bracelet->settings().realTime);
    bench.connect();
    bench.startNotifications();
    EXPECT_TRUE(bench.after(seconds(5)).empty());
}

TEST(VirtualVitalBracelet, ScriptedEventsComeAfterEachConnection) {
    VitalScript script;
    script.heartRate = 90;
    script.heartRateSpread = 0;
    script.steps = 1234;
    script.sos = {seconds(20)};
    script.firmwareCommands = {{seconds(21), 5}};
    script.heartbeats = {{seconds(22), true}, {seconds(23), false}};
    VitalBench bench(script);
    const Frames expected = {VitalBench::frame(0xFE), VitalBench::frame(0x16, {5}),
                             VitalBench::frame(0x18, {90, 0xD2, 0x04, 0x00, 0x00}), VitalBench::frame(0x18)};
    EXPECT_EQ(VitalBench::hex(bench.after(seconds(30))), VitalBench::hex(expected));
    EXPECT_TRUE(bench.after(seconds(30)).empty());  // once per link

    // Each new link raises them again.
    bench.lab.central->cancelPeripheralConnection(bench.peripheral);
    bench.lab.settle();
    bench.connect();
    bench.startNotifications();
    EXPECT_EQ(VitalBench::hex(bench.after(seconds(30))), VitalBench::hex(expected));
}

TEST(VirtualVitalBracelet, FoundByItsServiceUnderItsName) {
    VitalBench bench;
    const auto connected = bench.lab.central->retrieveConnectedPeripheralsWithServices({BLEUUID("FFF0")});
    ASSERT_EQ(connected.size(), 1U);
    EXPECT_EQ(connected.front()->name(), "J2025E");
    EXPECT_EQ(bench.bracelet->advertisementData().serviceUUIDs, std::vector<BLEUUID>{VirtualVitalBracelet::kService});
}

}  // namespace
}  // namespace halvora::lab::test
