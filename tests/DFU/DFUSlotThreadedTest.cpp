#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "DFU/DFURig.hpp"

namespace halvora::test {
namespace {

// Engines on different threads starting at the same moment: exactly one update runs, the others are refused
// without writing anything, and the slot is free again once the engines are gone.
TEST(DFUSlotThreadedTest, SimultaneousStartsLetOneUpdateRun) {
    constexpr int kEngines = 4;
    for (int round = 0; round < 20; ++round) {
        std::vector<std::unique_ptr<EngineRig>> rigs;
        for (int i = 0; i < kEngines; ++i) rigs.push_back(std::make_unique<EngineRig>(40));
        std::atomic<int> ready{0};
        std::vector<std::thread> threads;
        for (auto& rig : rigs) {
            threads.emplace_back([&ready, &rig] {
                ++ready;
                while (ready.load() < kEngines) std::this_thread::yield();
                rig->engine->performDFUOnFile(rig->file);
            });
        }
        for (auto& thread : threads) thread.join();
        int running = 0;
        for (const auto& rig : rigs) {
            if (rig->engine->isUpdateRunning()) {
                ++running;
                EXPECT_FALSE(rig->peripheral->requests.empty());
            } else {
                EXPECT_TRUE(rig->peripheral->requests.empty());
                EXPECT_EQ(rig->delegate.events, std::vector<std::string>{"error Another firmware update is running"});
            }
        }
        EXPECT_EQ(running, 1);
    }
    EngineRig after(40);
    EXPECT_FALSE(after.start().empty());
}

}  // namespace
}  // namespace halvora::test
