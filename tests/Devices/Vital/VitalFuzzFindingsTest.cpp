// Inputs the Vital bracelet's fuzz target found, replayed against the driver as the bracelet's notifications.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include "Devices/Vital/VitalRig.hpp"
#include "halvora/Core/Calendar.hpp"

namespace halvora::test {
namespace {

// A daily-totals page nobody asked for whose exercise minutes (73 73 5F 03: 56,587,123 minutes) overflowed
// the seconds they are delivered in. The fuzz input, minimised: 00 00 6D then the notification below (its
// announced length runs past the input's end, so the notification is what remains).
constexpr const char* kFoundTotalsPage =
    "51 00 26 03 07 1A 73 5F 03 00 00 B8 A6 00 00 B8 00 00 00 00 00 00 61 73 73 5F 03 00";

// A totals record of 2026-03-07 with the exercise minutes in bytes 22 to 25 and every other field 0.
std::string totalsWithExerciseMinutes(const std::string& minutes) {
    return "51 00 26 03 07 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 " + minutes + " 00";
}

TEST(VitalFuzzFindings, ExerciseMinutesBeyondWhatSecondsHoldAreDeliveredAtTheLimit) {
    struct Case {
        const char* name;
        std::string page;
        std::int32_t seconds;
    };
    const Case cases[] = {
        {"the input found", kFoundTotalsPage, std::numeric_limits<std::int32_t>::max()},
        {"the most minutes whose seconds fit", totalsWithExerciseMinutes("22 22 22 02"), 35791394 * 60},
        {"a count read as negative", totalsWithExerciseMinutes("01 01 01 80"),
         std::numeric_limits<std::int32_t>::min()},
    };
    Calendar::setTimeZone("UTC");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        VitalRig rig;
        rig.open();
        rig.play(c.page);
        rig.play("51 FF");
        ASSERT_EQ(rig.app->responses.size(), 1U);
        EXPECT_EQ(rig.app->responses[0].command, 17);
        const auto& days = std::get<std::vector<HalvoraSDKStepSummaryData>>(rig.app->responses[0].data);
        ASSERT_EQ(days.size(), 1U);
        EXPECT_EQ(days[0].totalExerciseTime, c.seconds);
    }
    Calendar::setTimeZone(std::nullopt);
}

}  // namespace
}  // namespace halvora::test
