#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "halvora/Runtime/CommandQueue.hpp"
#include "halvora/Runtime/VirtualExecutor.hpp"

namespace halvora {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Trace = std::vector<std::pair<std::string, Duration>>;

/// A command queue on "halvora.cb" of a virtual executor; every item records its name and virtual time.
class CommandQueueTest : public ::testing::Test {
protected:
    Task write(std::string name) {
        return [this, name] { trace.emplace_back(name, executor->elapsed()); };
    }
    void settle() { executor->runUntilIdle(); }

    std::shared_ptr<VirtualExecutor> executor = VirtualExecutor::create();
    std::unique_ptr<CommandQueue> commands =
        std::make_unique<CommandQueue>(executor, executor->makeQueue("halvora.cb"));
    Trace trace;
};

TEST_F(CommandQueueTest, ItemsRunInOrderAndOnlyOneHoldsTheSlot) {
    commands->enqueue(write("a"));
    commands->enqueueWithoutPermit(write("a-second-step"));
    commands->enqueue(write("b"));
    commands->enqueueWithoutPermit(write("b-second-step"));
    settle();
    EXPECT_EQ(trace, (Trace{{"a", Duration{}}, {"a-second-step", Duration{}}}));
    EXPECT_EQ(commands->pendingCount(), 2u);

    executor->advance(seconds(1));
    commands->release();
    settle();
    EXPECT_EQ(
        trace,
        (Trace{{"a", Duration{}}, {"a-second-step", Duration{}}, {"b", seconds(1)}, {"b-second-step", seconds(1)}}));
    EXPECT_EQ(commands->pendingCount(), 0u);
    EXPECT_EQ(commands->permits(), 0);
}

// Three commands, each answered after a latency unless its reply is lost. A lost reply holds the next command
// up for the wait limit, counted from when that command reached the head (not from when it was queued); a
// wake-up left over from an earlier wait does nothing. Just before the limit nothing has run, then exactly once.
TEST_F(CommandQueueTest, LostReplyHoldsTheNextCommandUpForTheWaitLimit) {
    struct Case {
        Duration limit;
        std::optional<Duration> firstReply, secondReply;
        Duration secondAt, thirdAt;
    };
    const Case cases[] = {
        {seconds(60), std::nullopt, seconds(5), seconds(60), seconds(65)},
        {seconds(60), std::nullopt, std::nullopt, seconds(60), seconds(120)},
        {seconds(60), seconds(10), std::nullopt, seconds(10), seconds(70)},
        {seconds(6000), std::nullopt, std::nullopt, seconds(6000), seconds(12000)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::chrono::duration_cast<seconds>(c.thirdAt).count());
        executor = VirtualExecutor::create();
        auto device = executor->makeQueue("device");
        commands = std::make_unique<CommandQueue>(executor, executor->makeQueue("halvora.cb"));
        trace.clear();
        auto command = [&](std::string name, std::optional<Duration> replyAfter) -> Task {
            return [this, device, name, replyAfter] {
                trace.emplace_back(name, executor->elapsed());
                if (replyAfter) device->asyncAfter(*replyAfter, [this] { commands->release(); });
            };
        };
        commands->enqueue(command("first", c.firstReply), c.limit);
        commands->enqueue(command("second", c.secondReply), c.limit);
        commands->enqueue(command("third", std::nullopt), c.limit);
        executor->advance(c.secondAt - milliseconds(1));
        EXPECT_EQ(trace.size(), 1u);
        executor->advance(c.thirdAt - c.secondAt);
        ASSERT_EQ(trace.size(), 2u);
        EXPECT_EQ(trace[1].second, c.secondAt);
        executor->advance(milliseconds(2));
        ASSERT_EQ(trace.size(), 3u);
        EXPECT_EQ(trace[2], std::make_pair(std::string("third"), c.thirdAt));
        executor->advance(c.limit * 3);
        EXPECT_EQ(trace.size(), 3u);
        EXPECT_EQ(executor->pendingCount(), 0u);
    }
}

// The item that went on after its wait limit holds no permit; the late reply to the earlier request still
// adds one, and so does every surplus release.
TEST_F(CommandQueueTest, EveryReleaseAddsAPermitEvenWhenNobodyHoldsTheSlot) {
    commands->release();
    commands->release();
    for (const char* name : {"a", "b", "c", "d"}) commands->enqueue(write(name));
    settle();
    EXPECT_EQ(trace.size(), 3u);
    EXPECT_EQ(commands->permits(), 0);

    executor->advance(seconds(61));  // "d" goes on without a permit
    EXPECT_EQ(trace.size(), 4u);
    EXPECT_EQ(commands->permits(), 0);
    commands->release();  // the late reply to "c"
    commands->enqueue(write("e"));
    settle();
    EXPECT_EQ(trace.size(), 5u);
    EXPECT_EQ(trace.back(), std::make_pair(std::string("e"), Duration(seconds(61))));
}

TEST_F(CommandQueueTest, DisposeLetsEveryWaitingItemRunAndNothingWaitsAfterwards) {
    commands->enqueue(write("a"));
    commands->enqueue(write("b"));
    commands->enqueueWithoutPermit(write("b-second-step"));
    commands->enqueue(write("c"));
    settle();
    commands->dispose();
    commands->enqueue(write("d"));
    commands->enqueue(write("e"));
    settle();
    Trace expected;
    for (const char* name : {"a", "b", "b-second-step", "c", "d", "e"}) expected.emplace_back(name, Duration{});
    EXPECT_EQ(trace, expected);
    EXPECT_EQ(executor->pendingCount(), 0u);  // no wait-limit wake-up left behind
}

// Whether the owner lets go while an item waits for the slot, or an item tears its own queue down, what has
// not run by then never runs.
TEST_F(CommandQueueTest, ItemsNotYetRunWhenTheQueueGoesAwayNeverRun) {
    for (const bool destroyedByAnItem : {false, true}) {
        SCOPED_TRACE(destroyedByAnItem);
        commands = std::make_unique<CommandQueue>(executor, executor->makeQueue("halvora.cb"));
        trace.clear();
        commands->enqueue(write("a"));
        commands->enqueue(write("b"));
        commands->enqueueWithoutPermit([this] { commands.reset(); });
        commands->enqueueWithoutPermit(write("c"));
        settle();
        if (destroyedByAnItem) {
            commands->release();  // "b" goes, then the item behind it tears the queue down
        } else {
            commands.reset();
        }
        executor->advance(seconds(120));
        std::vector<std::string> names;
        for (const auto& [name, at] : trace) names.push_back(name);
        const std::vector<std::string> expected =
            destroyedByAnItem ? std::vector<std::string>{"a", "b"} : std::vector<std::string>{"a"};
        EXPECT_EQ(names, expected);
        EXPECT_EQ(executor->pendingCount(), 0u);
    }
}

}  // namespace
}  // namespace halvora
