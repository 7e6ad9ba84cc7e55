#include <gtest/gtest.h>

#include <string>

#include "halvora/Core/Format.hpp"

namespace halvora {
namespace {

TEST(Format, LinesOfEveryLengthComeOutWhole) {
    EXPECT_EQ(format("%s", ""), "");
    EXPECT_EQ(format("%d/%d mmHg", 121, 79), "121/79 mmHg");
    // Around the length formatted on the stack, and far beyond it.
    for (const std::size_t length : {254U, 255U, 256U, 257U, 5000U}) {
        const std::string text(length, 'x');
        EXPECT_EQ(format("%s", text.c_str()), text) << length;
        EXPECT_EQ(format("<%s>", text.c_str()), "<" + text + ">") << length;
    }
}

}  // namespace
}  // namespace halvora
