#include <gtest/gtest.h>

#include <limits>

#include "halvora/Core/internal/Saturating.hpp"

namespace halvora {
namespace {

// A monitor streaming progress frames for ever must not wrap its count around to a negative number (which
// would also make its error frames look like errors before any progress).
TEST(Saturating, FrameCountStopsAtItsLargestValue) {
    std::int32_t count = std::numeric_limits<std::int32_t>::max() - 1;
    internal::incrementSaturating(count);
    EXPECT_EQ(count, std::numeric_limits<std::int32_t>::max());
    internal::incrementSaturating(count);
    EXPECT_EQ(count, std::numeric_limits<std::int32_t>::max());
    std::int32_t fresh = 0;
    internal::incrementSaturating(fresh);
    EXPECT_EQ(fresh, 1);
}

}  // namespace
}  // namespace halvora
