#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include "halvora/Core/Calendar.hpp"

namespace halvora {
namespace {

using std::chrono::hours;
using std::chrono::seconds;

// 2023-11-14 22:13:20 UTC.
const Date kSample{seconds{1700000000}};

class CalendarTest : public ::testing::Test {
protected:
    void TearDown() override { Calendar::setTimeZone(std::nullopt); }
};

TEST_F(CalendarTest, PinnedZonesGiveDifferentLocalHoursForOneDate) {
    Calendar::setTimeZone("UTC");
    EXPECT_EQ(Calendar::toLocal(kSample).tm_hour, 22);
    EXPECT_EQ(Calendar::formatDateTime(kSample), "2023-11-14 22:13:20");
    Calendar::setTimeZone("JST-9");
    EXPECT_EQ(Calendar::toLocal(kSample).tm_hour, 7);
    EXPECT_EQ(Calendar::formatDateTime(kSample), "2023-11-15 07:13:20");
    EXPECT_EQ(Calendar::timeZone(), "JST-9");
}

TEST_F(CalendarTest, NamedZoneFollowsSummerTime) {
    if (!std::filesystem::exists("/usr/share/zoneinfo/Europe/Madrid")) GTEST_SKIP() << "no time-zone database";
    Calendar::setTimeZone("Europe/Madrid");
    EXPECT_EQ(Calendar::formatDateTime(Date{seconds{1704369600}}), "2024-01-04 13:00:00");  // 12:00 UTC, winter
    EXPECT_EQ(Calendar::formatDateTime(Date{seconds{1719835200}}), "2024-07-01 14:00:00");  // 12:00 UTC, summer
}

TEST_F(CalendarTest, FromLocalInvertsToLocalAndNormalisesLikeMktime) {
    Calendar::setTimeZone("JST-9");
    std::tm local = Calendar::toLocal(kSample);
    EXPECT_EQ(Calendar::fromLocal(local), kSample);
    local.tm_min += 60;  // one hour on, written as minute 73
    EXPECT_EQ(Calendar::fromLocal(local), kSample + hours{1});
    local = Calendar::toLocal(kSample);
    local.tm_mday = 0;  // the last day of the previous month
    EXPECT_EQ(Calendar::formatDateTime(Calendar::fromLocal(local)), "2023-10-31 07:13:20");
}

TEST_F(CalendarTest, DatesAreTakenToWholeSecondsRoundingDown) {
    Calendar::setTimeZone("UTC");
    EXPECT_EQ(Calendar::formatDateTime(kSample + std::chrono::milliseconds{999}), "2023-11-14 22:13:20");
    EXPECT_EQ(Calendar::formatDateTime(Date{} - std::chrono::milliseconds{1}), "1969-12-31 23:59:59");
}

TEST_F(CalendarTest, UnpinningRestoresTheProcessZone) {
    const char* before = std::getenv("TZ");
    const std::optional<std::string> original = before ? std::optional<std::string>(before) : std::nullopt;
    Calendar::setTimeZone("JST-9");
    Calendar::setTimeZone(std::nullopt);
    const char* after = std::getenv("TZ");
    EXPECT_EQ(after ? std::optional<std::string>(after) : std::nullopt, original);
    EXPECT_EQ(Calendar::timeZone(), std::nullopt);
}

TEST_F(CalendarTest, ConversionsStayConsistentWhileAnotherThreadSwitchesZones) {
    Calendar::setTimeZone("UTC");
    std::atomic<bool> stop{false};
    std::thread switcher([&stop] {
        for (int i = 0; !stop.load(); ++i) Calendar::setTimeZone(i % 2 == 0 ? "JST-9" : "UTC");
    });
    for (int i = 0; i < 2000; ++i) {
        const std::tm local = Calendar::toLocal(kSample);
        ASSERT_TRUE(local.tm_hour == 22 || local.tm_hour == 7) << local.tm_hour;
        ASSERT_EQ(local.tm_min, 13);
    }
    stop = true;
    switcher.join();
}

}  // namespace
}  // namespace halvora
