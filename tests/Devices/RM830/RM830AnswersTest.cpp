#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "Devices/RM830/RM830Rig.hpp"
#include "halvora/Core/Calendar.hpp"

namespace halvora::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

/// One answer while the time-format read waits for it (the slot is taken), and what follows: the RM830
/// delegate's callbacks, the codes of the frames written afterwards, the free permits once all has run, and,
/// for answers that call operationFinished, whether the slot was already back at that moment. The delegate
/// observes that itself: from inside operationFinished it reads the date (a command that needs the slot) and
/// posts a probe behind it on the callback queue; the probe finds the read written only if the slot was given
/// back before the callback.
struct AnswerCase {
    std::string answer;
    std::vector<std::string> events;
    std::vector<std::string> codesAfter;
    std::int64_t permits;
    std::optional<bool> releasedBeforeFinished = std::nullopt;
};

constexpr const char* kHistoryPacketTail = " 18 07 15 10 30 48 49 4A 4B 4C 4D 4E 4F 50 51 52 53";

class RM830AnswersTest : public ::testing::Test {
protected:
    void SetUp() override { Calendar::setTimeZone("UTC"); }
    void TearDown() override { Calendar::setTimeZone(std::nullopt); }

    static void check(const AnswerCase& c) {
        SCOPED_TRACE(c.answer.empty() ? "(empty)" : c.answer);
        RM830Rig rig;
        rig.open();
        std::optional<bool> probe;
        rig.app->onFinished = [&](bool) {
            rig.driver->readDate();
            rig.callbackQueue->async([&] { probe = !rig.frames().empty(); });
        };
        rig.driver->readTimeFormat();
        rig.settle();
        ASSERT_EQ(rig.permits(), 0);
        rig.clear();
        rig.play(c.answer);
        EXPECT_EQ(rig.app->events, c.events);
        EXPECT_EQ(rig.codes(), c.codesAfter);
        EXPECT_EQ(rig.permits(), c.permits);
        EXPECT_EQ(probe, c.releasedBeforeFinished);
    }
};

TEST_F(RM830AnswersTest, EveryRowOfTheAnswerTable) {
    const std::string historyLast = std::string("2F FF") + kHistoryPacketTail;
    const std::string historyMore = std::string("2F 64") + kHistoryPacketTail;
    const std::vector<AnswerCase> cases = {
        // Settings accepted: the slot comes back first.
        {"01", {"finished true"}, {"41"}, 0, true},
        {"02", {"finished true"}, {"41"}, 0, true},
        {"0B", {"finished true"}, {"41"}, 0, true},
        {"37", {"finished true"}, {"41"}, 0, true},
        // Monitoring switch, window, dates: the callback first.
        {"19", {"finished true"}, {"41"}, 0, false},
        {"2A", {"finished true"}, {"41"}, 0, false},
        {"46", {"finished true"}, {"41"}, 0, false},
        // Today's totals: real-time mode is stopped without a slot of its own.
        {"09 00 03 E8 00 00 00 00 04 D2 00 01 F4", {"steps 1000"}, {"0A"}, 0},
        {"27 36 33 38 01", {}, {}, 1},
        // Real-time heart rate: values keep the slot, 0 ends the stream.
        {"2C 48", {"hr 72"}, {}, 0},
        {"2C C8", {"hr 200"}, {}, 0},
        {"2C 00", {"finished true"}, {"41"}, 0, true},
        {historyMore, {}, {"2F"}, 0},
        {historyLast, {"hrsync 0"}, {}, 1},
        {"43 FF", {}, {}, 1},
        {"43 F0 18 07 15 00 00 00 00 00 00 00 00 00 00", {}, {}, 0},
        {"43 00 18 07 15 00 00 00 00 00 00 00 00 00 00", {}, {}, 0},
        {"6D 48", {"hr 72"}, {}, 1},
        {"6D C8", {"hr 200"}, {}, 1},
        // Refused settings.
        {"82", {"finished false"}, {"41"}, 0, true},
        {"8B", {"finished false"}, {"41"}, 0, true},
        {"B7", {"finished false"}, {"41"}, 0, true},
        {"89", {}, {"0A"}, 0},
        {"A9", {"finished false"}, {}, 0, false},  // the slot stays taken: the read waits
        {"AA", {"finished false"}, {"41"}, 0, false},
        {"AC", {"finished false"}, {"41"}, 0, false},
        {"C6", {"finished false"}, {"41"}, 0, false},
        // No code at all.
        {"", {}, {}, 0},
        // Too short for what the row reads.
        {"09 00 03 E8 00 00 00 00 04 D2 00 01", {}, {"0A"}, 0},
        {"27 36 33 38", {}, {}, 1},
        {"2C", {}, {}, 0},
        {"6D", {}, {}, 1},
        {historyLast.substr(0, historyLast.size() - 3), {"hrsync 0"}, {}, 1},
        {"43", {}, {}, 0},
        {"43 F0 18 07 15 00 00 00 00 00 00 00 00 00", {}, {}, 0},
    };
    for (const auto& c : cases) check(c);
}

// Every other code, below 0x80 or not, only gives the slot back.
TEST_F(RM830AnswersTest, OtherAnswersAndErrorsOnlyGiveTheSlotBack) {
    for (const char* code :
         {"00", "03", "04", "05", "06", "07", "08", "0A", "28", "29", "2B", "2D", "2E", "38", "41", "42", "47",
          "7F", "80", "81", "83", "84", "85", "86", "87", "88", "8A", "AB", "AF", "C5", "C7", "ED", "FF"}) {
        check({std::string(code) + " 01 02 03", {}, {}, 1});
    }
}

// Every release adds a permit, as a semaphore's signal does, even with the slot already free.
TEST_F(RM830AnswersTest, WithoutDelegateAnswersOnlyMoveTheSlot) {
    RM830Rig rig;
    rig.open();
    rig.application->rm830 = nullptr;
    const std::pair<const char*, std::int64_t> cases[] = {{"01", 2}, {"19", 3}, {"A9", 3}, {"6D 48", 4}, {"2C 48", 4}};
    for (const auto& [answer, permits] : cases) {
        rig.play(answer);
        EXPECT_EQ(rig.permits(), permits) << answer;
    }
    EXPECT_TRUE(rig.app->events.empty());
}

TEST_F(RM830AnswersTest, OnlyTheReadCharacteristicWithoutErrorIsListenedTo) {
    RM830Rig rig;
    rig.open();
    rig.driver->readTimeFormat();
    rig.settle();
    const auto send = rig.peripheral->characteristic(HalvoraSDKBraceletRM830::sendCharacteristicUUID());
    const auto read = rig.peripheral->characteristic(HalvoraSDKBraceletRM830::readCharacteristicUUID());
    rig.driver->peripheralDidUpdateValueForCharacteristic(rig.peripheral, send, {0x01}, std::nullopt);
    rig.driver->peripheralDidUpdateValueForCharacteristic(rig.peripheral, read, {0x01}, BLEError{BLEErrorUnknown, "x"});
    rig.settle();
    EXPECT_TRUE(rig.app->events.empty());
    EXPECT_EQ(rig.permits(), 0);
}

// A lost answer holds the next command for its whole wait, then the command goes anyway, once.
TEST_F(RM830AnswersTest, LostAnswerHoldsTheNextCommandSixtySeconds) {
    RM830Rig rig;
    rig.open();
    rig.driver->readTimeFormat();
    rig.driver->readDate();
    rig.settle();
    EXPECT_EQ(rig.codes(), std::vector<std::string>{"38"});
    rig.executor->advance(milliseconds(59999));
    EXPECT_EQ(rig.codes(), std::vector<std::string>{"38"});
    rig.executor->advance(milliseconds(1));
    EXPECT_EQ(rig.codes(), (std::vector<std::string>{"38", "41"}));
    rig.executor->advance(seconds(120));
    EXPECT_EQ(rig.codes(), (std::vector<std::string>{"38", "41"}));
    EXPECT_EQ(rig.pendingCommands(), 0u);
}

TEST_F(RM830AnswersTest, DeinitLetsWaitingCommandsGoAtOnce) {
    RM830Rig rig;
    rig.open();
    rig.driver->readTimeFormat();
    rig.driver->readDate();
    rig.driver->getDatesWithInfo();
    rig.settle();
    rig.driver->deinit();
    rig.settle();
    EXPECT_EQ(rig.codes(), (std::vector<std::string>{"38", "41", "46"}));
}

}  // namespace
}  // namespace halvora::test
