#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "halvora/Runtime/VirtualExecutor.hpp"

namespace halvora {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

struct Event {
    std::string what;
    Duration at;
    bool operator==(const Event&) const = default;
};
using Trace = std::vector<Event>;

Task record(const std::shared_ptr<VirtualExecutor>& executor, Trace& trace, std::string what) {
    return [executor = executor.get(), &trace, what] { trace.push_back({what, executor->elapsed()}); };
}

/// A small script over three queues: delayed calls, a repeating timer that cancels itself, tasks that post
/// more tasks, and two calls due at the same instant.
Trace runScript() {
    auto executor = VirtualExecutor::create();
    auto cb = executor->makeQueue("halvora.cb");
    auto connection = executor->makeQueue("halvora.connection");
    Trace trace;
    int ticks = 0;
    std::shared_ptr<TimerHandle> timer;
    timer = executor->mainQueue()->scheduleRepeating(milliseconds(400), [&] {
        trace.push_back({"tick", executor->elapsed()});
        if (++ticks == 3) timer->invalidate();
    });
    cb->asyncAfter(seconds(1), record(executor, trace, "cb-1s"));
    connection->asyncAfter(seconds(1), record(executor, trace, "connection-1s"));
    connection->async([&] {
        trace.push_back({"connect", executor->elapsed()});
        cb->asyncAfter(milliseconds(500), record(executor, trace, "cb-after-connect"));
    });
    executor->advance(seconds(5));
    return trace;
}

TEST(VirtualExecutorTest, SameScriptGivesTheSameTraceOrderedByDueTimeThenPosting) {
    const Trace first = runScript();
    EXPECT_EQ(first, runScript());
    const Trace expected{{"connect", {}},
                         {"tick", milliseconds(400)},
                         {"cb-after-connect", milliseconds(500)},
                         {"tick", milliseconds(800)},
                         {"cb-1s", seconds(1)},
                         {"connection-1s", seconds(1)},
                         {"tick", milliseconds(1200)}};
    EXPECT_EQ(first, expected);
}

TEST(VirtualExecutorTest, InvalidatedCallsNeverRunAndSpentOnesReportInvalid) {
    auto executor = VirtualExecutor::create();
    auto queue = executor->makeQueue("q");
    Trace trace;
    // What a cancelled task holds may post work when it is let go.
    std::shared_ptr<void> postsWhenReleased(nullptr, [&](void*) { queue->async(record(executor, trace, "released")); });
    auto cancelled = queue->asyncAfter(seconds(2), [&trace, postsWhenReleased] { trace.push_back({"cancelled", {}}); });
    postsWhenReleased.reset();
    auto kept = queue->asyncAfter(seconds(1), record(executor, trace, "kept"));
    auto repeating = queue->scheduleRepeating(seconds(1), record(executor, trace, "tick"));
    cancelled->invalidate();
    executor->advance(milliseconds(2500));
    repeating->invalidate();
    EXPECT_EQ(executor->pendingCount(), 0u);
    executor->advance(seconds(10));
    EXPECT_EQ(trace,
              (Trace{{"kept", seconds(1)}, {"tick", seconds(1)}, {"tick", seconds(2)}, {"released", seconds(2)}}));
    EXPECT_FALSE(kept->isValid());
    EXPECT_FALSE(cancelled->isValid());
    EXPECT_FALSE(repeating->isValid());
}

TEST(VirtualExecutorTest, RunUntilStopsTheClockAtTheTaskThatSatisfiesItAndTheDateFollows) {
    using namespace std::chrono;
    const Date start = sys_days(year{2024} / March / 31) + hours(1);
    auto executor = VirtualExecutor::create(start);
    int done = 0;
    for (int i = 1; i <= 3; ++i) executor->mainQueue()->asyncAfter(seconds(i), [&] { ++done; });
    EXPECT_TRUE(executor->runUntil([&] { return done == 2; }, seconds(10)));
    EXPECT_EQ(executor->elapsed(), seconds(2));
    EXPECT_EQ(done, 2);
    EXPECT_FALSE(executor->runUntil([&] { return done == 4; }, seconds(10)));
    EXPECT_EQ(executor->elapsed(), seconds(12));
    EXPECT_EQ(done, 3);
    EXPECT_EQ(executor->date(), start + seconds(12));
}

TEST(VirtualExecutorTest, IsCurrentOnlyInsideTheQueuesOwnTasksEvenWhenTheyDriveTheExecutor) {
    auto executor = VirtualExecutor::create();
    auto a = executor->makeQueue("a");
    auto b = executor->makeQueue("b");
    std::vector<bool> seen;
    a->async([&] {
        b->async([&] { seen.insert(seen.end(), {a->isCurrent(), b->isCurrent()}); });
        executor->runUntilIdle();  // runs b's task from inside a's
        seen.insert(seen.end(), {a->isCurrent(), b->isCurrent()});
    });
    executor->runUntilIdle();
    EXPECT_EQ(seen, (std::vector<bool>{false, true, true, false}));
    EXPECT_FALSE(a->isCurrent());
}

}  // namespace
}  // namespace halvora
