#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Devices/Bracelet/BraceletRig.hpp"
#include "halvora/Core/Calendar.hpp"
#include "halvora/Devices/Bracelet/internal/BraceletTransfer.hpp"

namespace halvora::test {
namespace {

/// One notification while a command waits for its answer (the slot is taken), and what follows: the
/// application's callbacks, the free permits afterwards (1: the slot was given back; 0: it was not, or a command
/// that the answer queued took it again), what was written afterwards, and the activity flag.
struct NotificationCase {
    std::vector<std::uint8_t> value;
    std::vector<std::string> events;
    std::int64_t permits;
    std::string written = "";
    bool running = false;
};

std::vector<std::uint8_t> text(const std::string& s) {
    return {s.begin(), s.end()};
}

class BraceletNotificationsTest : public ::testing::Test {
protected:
    void SetUp() override { Calendar::setTimeZone("UTC"); }
    void TearDown() override { Calendar::setTimeZone(std::nullopt); }

    /// Plays the case on a fresh bracelet whose step-store command waits for its answer.
    static void check(const NotificationCase& c, bool withDelegate) {
        BraceletRig rig;
        rig.open();
        if (!withDelegate) rig.application->bracelet = nullptr;
        rig.driver->sendStepStore();
        rig.settle();
        ASSERT_EQ(rig.permits(), 0);
        rig.clearWrites();
        rig.playBytes(c.value);
        EXPECT_EQ(rig.app->events, c.events);
        EXPECT_EQ(rig.permits(), c.permits);
        EXPECT_EQ(RecordingBraceletDelegate::visible(rig.written()), RecordingBraceletDelegate::visible(c.written));
        EXPECT_EQ(rig.driver->isRunning(), c.running);
        EXPECT_FALSE(rig.driver->isReceivingData());
    }
};

TEST_F(BraceletNotificationsTest, EachAnswerAndNotificationReachesItsCallback) {
    const std::vector<NotificationCase> cases = {
        {text("AT+PACE:1000\r\n"), {"steps 1000"}, 1},
        {text("AT+RUN:1\r\n"), {}, 1, "", true},
        {text("AT+RUN:0\r\n"), {}, 1},
        {text("NT+RUN:1\r\n"), {"started"}, 0},
        {text("NT+RUN:10\r\n"), {"finished"}, 0},  // contains a "0"
        {text("NT+RUN:0\r\n"), {"finished"}, 0},
        {text("AT+HEART:72\r\n"), {"heart 72"}, 0, "AT+HEART=0\r\n"},
        {text("AT+HEART:err\r\n"), {}, 0, "AT+HEART=0\r\n"},
        {text("AT+HEART:OK\r\n"), {}, 1},
        {text("NT+HEART:80\r\n"), {"heart 80"}, 0, "", true},
        {text("xNT+HEART:65\r\n"), {"heart 65"}, 0, "", true},
        {text("NT+TOPACE:120\r\n"), {"activity 120"}, 0, "", true},
        {text("NT+BEEP\r\n"), {"beep"}, 0},
        {text("AT+SIT:OK\r\n"), {"parameter 10"}, 1},
        {text("AT+ALARM1:OK\r\n"), {"parameter 12"}, 1},
        {text("AT+ALARM2:OK\r\n"), {"parameter 11"}, 1},
        {text("AT+HEIGHT:OK\r\n"), {"parameter 0"}, 1},
        {text("AT+WEIGHT:OK\r\n"), {"parameter 1"}, 1},
        {text("AT+DT:OK\r\n"), {"parameter 2"}, 1},
        {text("AT+DEST:OK\r\n"), {"parameter 3"}, 1},
        {text("AT+ANCS:OK\r\n"), {"parameter 4"}, 1},
        {text("AT+ANCS:AT+DEST\r\n"), {"parameter 4"}, 1},
        {text("AT+HANDSUP:OK\r\n"), {"parameter 5"}, 1},
        {text("AT+FINDPHONE:OK\r\n"), {"parameter 6"}, 1},
        {text("AT+HRMONITOR:OK\r\n"), {"parameter 7"}, 1},
        {text("AT+FINDBT:OK\r\n"), {"parameter 8"}, 1},
        {text("AT+ANTI_LOST:OK\r\n"), {"parameter 9"}, 1},
        {text("AT+NAME:OK\r\n"), {"info Text sent"}, 1},
        {text("AT+ACT:OK\r\n"), {"info Activated"}, 1},
        {text("AT+BOND:OK\r\n"), {"info Bond ok"}, 1},
        {text("AT+BOND:ERR\r\n"), {"info Bond err"}, 1},
        {text("AT+BOND:BUSY\r\n"), {}, 1},
        {text("AT+VER:B521A-1.2\r\n"), {"info Version: B521A-1.2\\r\\n"}, 1},
        {text("AT+BAT:87\r\n"), {"info % Battery: 87\\r\\n", "battery 87"}, 1},
        {text("AT+OFF\r\n"), {}, 1},
        {text("AT+UNITS:1\r\n"), {}, 1},
        {text("AT+STEPSTORE:OK\r\n"), {}, 1},
        {text("OK\r\n"), {}, 1},
        {text("HELLO\r\n"), {}, 0},
        {text(""), {}, 0},
        {{0x80}, {"parameter 0"}, 1},
        {{0x41, 0xFF, 0x00}, {"parameter 0"}, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(RecordingBraceletDelegate::visible(std::string(c.value.begin(), c.value.end())));
        check(c, true);
    }
}

TEST_F(BraceletNotificationsTest, WithoutDelegateAnswersOnlyGiveTheSlotBack) {
    const std::vector<NotificationCase> cases = {
        {text("AT+HEIGHT:OK\r\n"), {}, 1},
        {text("AT+BAT:50\r\n"), {}, 1},
        {text("AT+PACE:5\r\n"), {}, 1},
        {text("AT+ALARM:OK\r\n"), {}, 1},
        {text("NT+BEEP\r\n"), {}, 0},
        {text("HELLO\r\n"), {}, 0},
        {text("AT+HEART:72\r\n"), {}, 0, "AT+HEART=0\r\n"},
        {{0x90, 0x91}, {}, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(RecordingBraceletDelegate::visible(std::string(c.value.begin(), c.value.end())));
        check(c, false);
    }
}

TEST_F(BraceletNotificationsTest, BatteryLevelAlsoReachesTheManager) {
    BraceletRig rig;
    rig.open();
    rig.play("AT+BAT:64\r\n");
    EXPECT_EQ(rig.reports->events(), std::vector<std::string>{"battery 64"});
    rig.application->bracelet = nullptr;
    rig.play("AT+BAT:63\r\n");
    EXPECT_EQ(rig.reports->events(), std::vector<std::string>{"battery 64"});
}

TEST_F(BraceletNotificationsTest, CurrentStepsCarryDistanceAndCaloriesOfTheStoredBody) {
    struct Case {
        std::optional<std::int64_t> height;
        std::optional<double> weight;
        double km;
        double kcal;
    };
    const Case cases[] = {
        {std::nullopt, std::nullopt, 0.5833333134651184, 54.763797760009766},  // stored height defaults to 175
        {180, 70.0, 0.6000000238418579, 65.71656036376953},
    };
    for (const Case& c : cases) {
        BraceletRig rig;
        rig.open();
        rig.preferences->setUserHeight(c.height);
        rig.preferences->setUserWeight(c.weight);
        rig.executor->advance(std::chrono::seconds(90));
        rig.play("AT+PACE:1000\r\n");
        ASSERT_EQ(rig.app->steps.size(), 1u);
        const auto& record = rig.app->steps[0];
        EXPECT_EQ(record.steps, 1000);
        EXPECT_EQ(record.distance, c.km);
        EXPECT_EQ(record.calories, c.kcal);
        EXPECT_EQ(record.date, rig.executor->date());
        EXPECT_FALSE(record.hr);
        EXPECT_FALSE(record.activeTime);
    }
}

// Answers recognised by their start are handled even while a history transfer is open; everything else then
// belongs to the transfer (here: to its header line).
TEST_F(BraceletNotificationsTest, LeadingAnswersAreHandledDuringATransferOthersBelongToIt) {
    BraceletRig rig;
    rig.open();
    rig.play("AT+DATA:");
    rig.play("AT+PACE:5\r\n");
    rig.play("NT+BEEP");
    rig.play("AT+RUN:1\r\n");
    EXPECT_EQ(rig.app->events, std::vector<std::string>{"steps 5"});
    EXPECT_TRUE(rig.driver->isRunning());
    EXPECT_TRUE(rig.driver->isReceivingData());
    EXPECT_EQ(rig.driver->transfer().receivedString(), "AT+DATA:NT+BEEP");
    rig.play("AT+HEIGHT:OK\r\n");  // completes the header line instead of confirming a setting
    EXPECT_EQ(rig.app->events, std::vector<std::string>{"steps 5"});
    EXPECT_TRUE(rig.driver->transfer().isHeaderComplete());
}

}  // namespace
}  // namespace halvora::test
