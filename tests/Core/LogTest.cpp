#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "halvora/Core/Log.hpp"

namespace halvora {
namespace {

TEST(Log, ASilentLogDropsLinesUntilItIsGivenASink) {
    auto log = Log::makeSilent();
    EXPECT_TRUE(log->isSilent());
    log->write("dropped");

    std::vector<std::string> lines;
    log->setSink([&lines](const std::string& line) { lines.push_back(line); });
    EXPECT_FALSE(log->isSilent());
    log->writef("value %d", 7);

    log->silence();
    log->writef("dropped %d", 8);
    log->write("dropped");
    EXPECT_EQ(lines, std::vector<std::string>{"value 7"});
}

}  // namespace
}  // namespace halvora
