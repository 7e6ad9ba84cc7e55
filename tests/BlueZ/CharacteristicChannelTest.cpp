// The per-characteristic request queue and the read-echo filter of the BlueZ transport.
#include <gtest/gtest.h>

#include "halvora/Transport/BlueZ/internal/CharacteristicChannel.hpp"

namespace halvora::bluez {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Kind = CharacteristicChannel::Request::Kind;

CharacteristicChannel makeChannel() {
    return CharacteristicChannel("/org/bluez/hci0/dev_C0_00_00_00_00_A1/service000a/char000b",
                                 std::make_shared<Characteristic>(BLEUUID("FFF4"), 0x12));
}

TEST(CharacteristicChannel, ARequestWaitsUntilThePreviousOneIsAnswered) {
    auto channel = makeChannel();
    EXPECT_TRUE(channel.enqueue({Kind::Read, {}}));
    EXPECT_TRUE(channel.enqueue({Kind::Write, {1}}));
    ASSERT_TRUE(channel.next());
    EXPECT_FALSE(channel.next()) << "the read is still in flight";
    channel.finish();
    const auto write = channel.next();
    ASSERT_TRUE(write);
    EXPECT_EQ(write->kind, Kind::Write);
    EXPECT_EQ(write->value, Bytes{1});
    EXPECT_TRUE(channel.enqueue({Kind::NotifyOn, {}}));
    EXPECT_EQ(channel.takeAll().size(), 2U) << "in flight and waiting";
    EXPECT_FALSE(channel.isBusy());
    EXPECT_FALSE(channel.next());
    for (std::size_t i = 0; i < CharacteristicChannel::kMaxQueued; ++i) channel.enqueue({Kind::Read, {}});
    EXPECT_FALSE(channel.enqueue({Kind::Read, {}}));
}

TEST(CharacteristicChannel, AReadsOwnValueChangeIsDeliveredOnlyAsTheRead) {
    struct Case {
        const char* what;
        bool notifying;
        std::vector<Bytes> arrivedDuringRead;
        std::optional<Bytes> readAnswer;
        std::vector<Bytes> deliveredAsNotifications;
    };
    const std::vector<Case> cases = {
        {"echo only", true, {{7}}, Bytes{7}, {}},
        {"a notification, then the echo", true, {{1}, {7}}, Bytes{7}, {{1}}},
        {"a notification equal to the answer, then the echo", true, {{7}, {7}}, Bytes{7}, {{7}}},
        {"the echo, then a notification", true, {{7}, {2}}, Bytes{7}, {{2}}},
        {"no echo at all", true, {{1}}, Bytes{7}, {{1}}},
        {"the read failed", true, {{1}, {2}}, std::nullopt, {{1}, {2}}},
        {"notifications off", false, {{1}, {7}}, Bytes{7}, {}},
    };
    for (const auto& c : cases) {
        auto channel = makeChannel();
        channel.setNotifying(c.notifying);
        channel.readStarted();
        for (const auto& value : c.arrivedDuringRead) {
            EXPECT_TRUE(channel.valueArrived(value).empty()) << c.what << ": held while the read is pending";
        }
        const auto released = channel.readEnded(c.readAnswer ? &*c.readAnswer : nullptr);
        EXPECT_EQ(released, c.deliveredAsNotifications) << c.what;
    }
}

TEST(CharacteristicChannel, ValuesAreNotificationsOnlyWhileNotificationsAreOnOrAskedFor) {
    auto channel = makeChannel();
    EXPECT_TRUE(channel.valueArrived({1}).empty());
    channel.setNotifyRequested(true);
    EXPECT_EQ(channel.valueArrived({2}), std::vector<Bytes>{{2}});
    channel.setNotifyRequested(false);
    channel.setNotifying(true);
    EXPECT_EQ(channel.valueArrived({3}), std::vector<Bytes>{{3}});
    EXPECT_EQ(channel.valueArrived({3}), std::vector<Bytes>{{3}}) << "a repeated value is a notification too";
}

}  // namespace
}  // namespace halvora::bluez
