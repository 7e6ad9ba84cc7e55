#include <gtest/gtest.h>

#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/DateUtils.hpp"
#include "halvora/Core/LocalizedStrings.hpp"

namespace halvora {
namespace {

using std::chrono::hours;
using std::chrono::seconds;

/// A date from its UTC civil time.
Date utc(int year, unsigned month, unsigned day, int hour = 0, int minute = 0, int second = 0) {
    const std::chrono::sys_days days{std::chrono::year{year} / std::chrono::month{month} / std::chrono::day{day}};
    return Date{days} + hours{hour} + std::chrono::minutes{minute} + seconds{second};
}

// Central European time, as a rule that needs no time-zone database.
constexpr const char* kCentralEurope = "CET-1CEST,M3.5.0,M10.5.0/3";

class DateUtilsTest : public ::testing::Test {
protected:
    void SetUp() override { Calendar::setTimeZone("UTC"); }
    void TearDown() override {
        Calendar::setTimeZone(std::nullopt);
        LocalizedStrings::setTable({});
    }
};

TEST_F(DateUtilsTest, AgeCountsCompletedYearsAroundTheBirthday) {
    const Date birth = utc(1990, 6, 15, 8);
    EXPECT_EQ(DateUtils::getAgeFromDate(birth, utc(2020, 6, 14, 23)), 29);
    EXPECT_EQ(DateUtils::getAgeFromDate(birth, utc(2020, 6, 15)), 30);
    EXPECT_EQ(DateUtils::getAgeFromDate(birth, utc(2020, 5, 30)), 29);
    EXPECT_EQ(DateUtils::getAgeFromDate(birth, utc(2020, 7, 1)), 30);
    EXPECT_EQ(DateUtils::getAgeFromDate(std::nullopt, utc(2020, 7, 1)), std::nullopt);
}

TEST_F(DateUtilsTest, AgeUsesTheLocalDayOfBothDates) {
    Calendar::setTimeZone("JST-9");
    // 15:00 UTC on 14 June is already 15 June in Japan.
    EXPECT_EQ(DateUtils::getAgeFromDate(utc(1990, 6, 15), utc(2020, 6, 14, 15)), 30);
}

TEST_F(DateUtilsTest, DayOfYearCountsFromOneInTheLocalYear) {
    EXPECT_EQ(DateUtils::getDayOfYear(utc(2024, 1, 1)), 1);
    EXPECT_EQ(DateUtils::getDayOfYear(utc(2024, 12, 31, 23)), 366);
    EXPECT_EQ(DateUtils::getDayOfYear(utc(2023, 12, 31)), 365);
    Calendar::setTimeZone("EST5");
    EXPECT_EQ(DateUtils::getDayOfYear(utc(2024, 1, 1, 3)), 365);  // still 31 December 2023 in New York
}

TEST_F(DateUtilsTest, MinutesAreShownWithTheApplicationsTexts) {
    EXPECT_EQ(DateUtils::convertMinutesToHoursMinutes(170), "2sleep_h 50sleep_min");
    LocalizedStrings::setTable({{"sleep_h", "h"}, {"sleep_min", "min"}});
    EXPECT_EQ(DateUtils::convertMinutesToHoursMinutes(45), "45min");
    EXPECT_EQ(DateUtils::convertMinutesToHoursMinutes(60), "1h 0min");
    EXPECT_EQ(DateUtils::convertMinutesToHoursMinutes(170), "2h 50min");
    EXPECT_EQ(DateUtils::convertMinutesToHoursMinutes(std::nullopt), "-");
    EXPECT_EQ(LocalizedStrings::lookup("other"), "other");
}

TEST_F(DateUtilsTest, SettingTheTimeKeepsTheLocalDay) {
    const Date date = utc(2024, 3, 10, 15, 42, 7) + std::chrono::milliseconds{250};
    EXPECT_EQ(DateUtils::setDateTimeFor(date, 8, 30, 0), utc(2024, 3, 10, 8, 30));
    EXPECT_EQ(DateUtils::dateWithoutTime(date), utc(2024, 3, 10));
    Calendar::setTimeZone("JST-9");
    // 20:00 UTC on 10 March is 05:00 on 11 March in Japan.
    EXPECT_EQ(DateUtils::dateWithoutTime(utc(2024, 3, 10, 20)), utc(2024, 3, 10, 15));
}

TEST_F(DateUtilsTest, SettingTheTimeOnTheDayTheClocksChangeUsesTheRightOffset) {
    Calendar::setTimeZone(kCentralEurope);
    // 31 March 2024: clocks go from 02:00 CET to 03:00 CEST.
    const Date noon = utc(2024, 3, 31, 10);                             // 12:00 CEST
    EXPECT_EQ(DateUtils::dateWithoutTime(noon), utc(2024, 3, 30, 23));  // 00:00 CET
    EXPECT_EQ(DateUtils::setDateTimeFor(DateUtils::dateWithoutTime(noon), 12, 0, 0), noon);
}

}  // namespace
}  // namespace halvora
