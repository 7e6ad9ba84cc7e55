// The quarter-hour shortcut of the bracelet's 40 calendar years gives what the calendar gives, item by
// item, across summer-time changes at both ends of the shift.
#include <gtest/gtest.h>

#include "halvora/Core/Calendar.hpp"
#include "halvora/Devices/Bracelet/internal/BraceletClock.hpp"

namespace halvora {
namespace {

class BraceletClockZones : public ::testing::TestWithParam<const char*> {
protected:
    void SetUp() override { Calendar::setTimeZone(GetParam()); }
    void TearDown() override { Calendar::setTimeZone(std::nullopt); }
};

TEST_P(BraceletClockZones, YearShiftMatchesTheCalendarAcrossSummerTimeChanges) {
    // Every 5 minutes over two weeks around the spring and autumn changes of 1996 (2036 on the other end),
    // and a stretch of 1975, when Europe had no summer time but 2015 did.
    const std::int64_t starts[] = {827'000'000, 844'000'000, 165'000'000};
    for (std::int64_t start : starts) {
        BraceletClock::YearShift years;
        for (std::int64_t t = start; t < start + 14 * 86400; t += 300) {
            const Date date{std::chrono::seconds{t}};
            ASSERT_EQ(years.shift(date), BraceletClock::plusCalendarYears(date, BraceletClock::kEpochYears))
                << GetParam() << " at " << t;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Zones, BraceletClockZones,
                         ::testing::Values("UTC", "Europe/Madrid", "America/New_York", "Asia/Kathmandu",
                                           "Australia/Lord_Howe"));

}  // namespace
}  // namespace halvora
