// The virtual bracelet from the phone's side of the link: how it takes commands, what it answers and what
// it keeps.
#include <gtest/gtest.h>

#include "BraceletBench.hpp"

namespace halvora::lab::test {
namespace {

using std::chrono::milliseconds;

TEST(VirtualBracelet, CommandsAreAssembledAcrossWritesOfAnySize) {
    // Two commands in one stream, the line end of the first cut between "\r" and "\n" for some sizes.
    for (std::size_t writeSize : {1U, 2U, 7U, 14U, 20U}) {
        SCOPED_TRACE(writeSize);
        BraceletBench bench;
        bench.send("AT+HEIGHT=170\r\nAT+PACE\r\n", writeSize);
        EXPECT_EQ(BraceletBench::text(bench.received()), "AT+HEIGHT:170\r\nAT+PACE:4321\r\n");
        EXPECT_EQ(bench.bracelet->commandsReceived(), (std::vector<std::string>{"AT+HEIGHT=170", "AT+PACE"}));
    }
    // A line waits for its end, however long it takes.
    BraceletBench bench;
    bench.send("AT+BA");
    EXPECT_TRUE(bench.received().empty());
    bench.send("T\r");
    EXPECT_TRUE(bench.received().empty());
    bench.send("\n");
    EXPECT_EQ(BraceletBench::text(bench.received()), "AT+BAT:87\r\n");
}

TEST(VirtualBracelet, AnswersReflectWhatItHolds) {
    struct Case {
        const char* command;
        const char* answer;
    };
    const std::vector<Case> cases = {
        {"AT+PACE", "AT+PACE:4321"},
        {"AT+BATT", "AT+BAT:87"},
        {"AT+VER", "AT+VER:B521A-V2.1.08"},
        {"AT+HEIGHT=005", "AT+HEIGHT:5"},
        {"AT+HEIGHT", "AT+HEIGHT:5"},
        {"AT+WEIGHT=072", "AT+WEIGHT:72"},
        {"AT+DEST=1234567", "AT+DEST:1234567"},
        {"AT+UNITS=1", "AT+UNITS:1"},
        {"AT+ANCS=0013", "AT+ANCS:0013"},
        {"AT+HANDSUP=1", "AT+HANDSUP:1"},
        {"AT+HRMONITOR=1", "AT+HRMONITOR:1"},
        {"AT+HRMONITOR=0", "AT+HRMONITOR:0"},
        {"BT+IOS=1", "BT+IOS:1"},
        {"AT+ALARM2=1,00,01000011,0730", "AT+ALARM2:1,00,01000011,0730"},
        {"AT+ALARM=0,00,00000000,0000", "AT+ALARM:0,00,00000000,0000"},
        {"AT+SIT=120,0900,1830,1", "AT+SIT:120,0900,1830,1"},
        {"AT+NAME=Hello", "AT+NAME:OK"},
        {"AT+FINDBT", "AT+FINDBT:OK"},
        {"AT+RUN=1", "AT+RUN:1"},
        {"AT+TOPACE=1", "AT+TOPACE:OK"},
        {"AT+BOND", "AT+BOND:OK"},
        {"AT+DT", "ERR"},  // no clock yet
        // Refused: malformed, out of range or unknown; nothing changes.
        {"AT+HEIGHT=17O", "ERR"},
        {"AT+HEIGHT=1000", "ERR"},
        {"AT+HANDSUP=2", "ERR"},
        {"AT+ALARM2=1,00,0100001,0730", "ERR"},
        {"AT+ALARM2=1,00,01000011,2460", "ERR"},
        {"AT+SIT=30,0900,1830,1", "ERR"},
        {"AT+DT=202602301200", "ERR"},
        {"AT+RUN", "AT+RUN:1"},
        {"at+pace", "ERR"},
        {"AT+FOO=1", "ERR"},
        {"", "ERR"},
    };
    BraceletBench bench;
    for (const auto& c : cases) EXPECT_EQ(bench.ask(c.command), std::string(c.answer) + "\r\n") << c.command;

    const BraceletSettings s = bench.bracelet->settings();
    EXPECT_EQ(s.height, 5);
    EXPECT_EQ(s.weight, 72);
    EXPECT_EQ(s.stepGoal, 1234567);
    EXPECT_EQ(s.distanceUnit, 1);
    EXPECT_EQ(s.notificationMask, 0x13U);
    EXPECT_TRUE(s.raiseToWake);
    EXPECT_FALSE(s.heartRateMonitoring);
    EXPECT_EQ(s.phoneMode, 1);
    // Alarm 2 on Monday and Saturday at 7:30; alarm 1 off.
    const auto& alarm = s.alarms[1];
    EXPECT_TRUE(alarm.enabled);
    EXPECT_EQ(alarm.days, (std::array<bool, 7>{false, true, false, false, false, false, true}));
    EXPECT_EQ(alarm.hour, 7);
    EXPECT_EQ(alarm.minute, 30);
    EXPECT_FALSE(s.alarms[0].enabled);
    EXPECT_EQ(s.sedentary.interval, 120);
    EXPECT_EQ(s.sedentary.endHour, 18);
    EXPECT_EQ(s.sedentary.endMinute, 30);
    EXPECT_TRUE(s.sedentary.enabled);
    EXPECT_EQ(s.displayText, "Hello");
    EXPECT_TRUE(s.exerciseRunning);
    EXPECT_TRUE(s.autoStepsRunning);
    EXPECT_EQ(s.findDeviceRequests, 1);
    EXPECT_EQ(s.bondRequests, 1);
    EXPECT_FALSE(s.clock);
}

TEST(VirtualBracelet, ClockRunsFromTheTimeThePhoneSet) {
    BraceletBench bench;
    EXPECT_EQ(bench.ask("AT+DT=202612312359"), "AT+DT:202612312359\r\n");
    bench.lab.executor->advance(std::chrono::seconds(90));  // and the ask() took a second
    const auto clock = bench.bracelet->settings().clock;
    ASSERT_TRUE(clock);
    EXPECT_EQ(clock->text(), "2027-01-01 00:00:30");
    EXPECT_EQ(bench.ask("AT+DT"), "AT+DT:202701010000\r\n");
}

TEST(VirtualBracelet, HeartRateComesAfterItsDelayUnlessStopped) {
    struct Case {
        const char* what;
        bool fails;
        bool stop;
        const char* result;
    };
    const std::vector<Case> cases = {
        {"measured", false, false, "AT+HEART:64\r\n"},
        {"failed", true, false, "AT+HEART:ERR\r\n"},
        {"stopped", false, true, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        BraceletScript script;
        script.heartRate = 64;
        script.heartDelay = std::chrono::seconds(5);
        script.heartFails = c.fails;
        BraceletBench bench(script);
        EXPECT_EQ(bench.ask("AT+HEART=1"), "AT+HEART:OK\r\n");  // one second of the delay has passed
        if (c.stop) {
            EXPECT_EQ(bench.ask("AT+HEART=0"), "AT+HEART:OK\r\n");
        }
        bench.lab.executor->advance(std::chrono::seconds(c.stop ? 2 : 3) + milliseconds(900));
        EXPECT_TRUE(bench.received().empty());
        bench.lab.executor->advance(std::chrono::seconds(1));
        EXPECT_EQ(BraceletBench::text(bench.received()), c.result);
        bench.lab.executor->advance(std::chrono::seconds(30));
        EXPECT_TRUE(bench.received().empty());
        EXPECT_EQ(bench.bracelet->heartMeasurements(), 1);
    }
}

TEST(VirtualBracelet, EventsAreTimedFromNotificationsOnForTheirLinkOnly) {
    BraceletScript script;
    script.events = {{milliseconds(500), "NT+RUN:1"}, {milliseconds(5000), "NT+TOPACE:120"}};
    BraceletBench bench(script, 1, false);
    bench.lab.executor->advance(std::chrono::seconds(10));
    EXPECT_TRUE(bench.received().empty());  // nothing before the phone listens

    bench.startNotifications();  // T
    bench.lab.executor->advance(milliseconds(490));
    EXPECT_TRUE(bench.received().empty());
    bench.lab.executor->advance(milliseconds(100));
    EXPECT_EQ(BraceletBench::text(bench.received()), "NT+RUN:1\r\n");

    // A new link starts its own timeline (at about T + 3.6 s); the first link's second event (due at T + 5 s)
    // is not sent on it.
    bench.lab.central->cancelPeripheralConnection(bench.peripheral);
    bench.lab.settle();
    bench.connect();
    bench.startNotifications();
    bench.lab.executor->advance(milliseconds(3500));
    EXPECT_EQ(BraceletBench::text(bench.received()), "NT+RUN:1\r\n");
    bench.lab.executor->advance(milliseconds(2000));
    EXPECT_EQ(BraceletBench::text(bench.received()), "NT+TOPACE:120\r\n");
}

TEST(VirtualBracelet, OverlongLineIsDroppedWithAnError) {
    BraceletBench bench;
    bench.send(std::string(2000, 'A'));
    EXPECT_EQ(BraceletBench::text(bench.received()), "ERR\r\n");
    // The rest of the long line is skipped up to its end; the next command is answered.
    bench.send("AAAA\r\nAT+PACE\r\n");
    EXPECT_EQ(BraceletBench::text(bench.received()), "AT+PACE:4321\r\n");
    EXPECT_EQ(bench.bracelet->commandsReceived(), std::vector<std::string>{"AT+PACE"});
}

TEST(VirtualBracelet, SwitchingOffDropsTheLink) {
    BraceletBench bench;
    bench.send("AT+OFF\r\n", 20);
    EXPECT_EQ(BraceletBench::text(bench.received()), "AT+OFF:OK\r\n");
    EXPECT_EQ(bench.peripheral->state(), PeripheralState::Disconnected);
    EXPECT_EQ(bench.lab.recorder->count("disconnect"), 1U);
    EXPECT_EQ(bench.bracelet->settings().powerOffs, 1);
}

}  // namespace
}  // namespace halvora::lab::test
