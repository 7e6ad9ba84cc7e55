#include <gtest/gtest.h>

#include "halvora/Core/Log.hpp"

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    // Tests never write to the system log; a test that checks log lines installs its own sink.
    halvora::Log::shared().silence();
    return RUN_ALL_TESTS();
}
