#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "halvora/Runtime/CommandQueue.hpp"
#include "halvora/Runtime/ThreadedExecutor.hpp"

namespace halvora {
namespace {

using std::chrono::milliseconds;

/// A count that other threads raise and the test waits on, with a limit far above any expected wait.
class Counter {
public:
    void add() {
        std::lock_guard lock(mutex_);
        ++value_;
        changed_.notify_all();
    }
    int value() {
        std::lock_guard lock(mutex_);
        return value_;
    }
    bool waitFor(int target) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(10), [&] { return value_ >= target; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int value_ = 0;
};

std::vector<int> upTo(int count) {
    std::vector<int> values(static_cast<std::size_t>(count));
    std::iota(values.begin(), values.end(), 0);
    return values;
}

/// Runs `produce(producer)` on `count` threads at once and joins them.
template <typename Produce>
void onThreads(int count, Produce produce) {
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) threads.emplace_back(produce, i);
    for (auto& thread : threads) thread.join();
}

TEST(ThreadedExecutorTest, TasksFromManyThreadsRunOneAtATimeInEachProducersOrder) {
    constexpr int kProducers = 4, kEach = 200;
    auto executor = ThreadedExecutor::create();
    auto queue = executor->makeQueue("halvora.cb");
    std::vector<std::vector<int>> seen(kProducers);  // touched on the queue only
    std::atomic<int> inside{0};
    bool overlapped = false, offQueue = false;
    Counter done;
    onThreads(kProducers, [&](int producer) {
        for (int k = 0; k < kEach; ++k) {
            queue->async([&, producer, k] {
                overlapped = overlapped || inside.fetch_add(1) != 0;
                offQueue = offQueue || !queue->isCurrent();
                seen[static_cast<std::size_t>(producer)].push_back(k);
                inside.fetch_sub(1);
                done.add();
            });
        }
    });
    ASSERT_TRUE(done.waitFor(kProducers * kEach));
    EXPECT_FALSE(overlapped);
    EXPECT_FALSE(offQueue);
    EXPECT_FALSE(queue->isCurrent());
    for (const auto& fromOneProducer : seen) EXPECT_EQ(fromOneProducer, upTo(kEach));
}

TEST(ThreadedExecutorTest, DelayedCallsRunByDueTimeThenPostingOrder) {
    auto executor = ThreadedExecutor::create();
    auto queue = executor->makeQueue("q");
    auto other = executor->makeQueue("other");
    std::vector<std::string> order;  // touched on the queue only
    Counter done;
    auto note = [&](std::string what) {
        return [&, what] {
            order.push_back(what + (queue->isCurrent() && !other->isCurrent() ? "" : " (wrong thread)"));
            done.add();
        };
    };
    queue->asyncAfter(milliseconds(100), note("late"));
    queue->asyncAfter(milliseconds(5), note("soon"));
    auto cancelled = queue->asyncAfter(milliseconds(5), note("cancelled"));
    queue->asyncAfter(milliseconds(5), note("soon-2"));
    queue->async(note("now"));
    cancelled->invalidate();
    ASSERT_TRUE(done.waitFor(4));
    EXPECT_EQ(order, (std::vector<std::string>{"now", "soon", "soon-2", "late"}));
}

// Invalidated from another thread a timer may finish a fire already under way, but never starts again;
// invalidated from its own queue it stops exactly there.
TEST(ThreadedExecutorTest, RepeatingTimerStopsOnceInvalidated) {
    auto executor = ThreadedExecutor::create();
    auto queue = executor->makeQueue("main");
    Counter fires, barrier;
    auto timer = queue->scheduleRepeating(milliseconds(1), [&] { fires.add(); });
    ASSERT_TRUE(fires.waitFor(3));
    timer->invalidate();
    EXPECT_FALSE(timer->isValid());
    queue->async([&] { barrier.add(); });  // after any fire that was under way
    ASSERT_TRUE(barrier.waitFor(1));
    const int firesAtInvalidate = fires.value();

    Counter ownFires;
    std::shared_ptr<TimerHandle> own;  // touched on the queue only
    queue->async([&] {
        own = queue->scheduleRepeating(milliseconds(1), [&] {
            ownFires.add();
            if (ownFires.value() == 3) own->invalidate();
        });
    });
    ASSERT_TRUE(ownFires.waitFor(3));
    queue->asyncAfter(milliseconds(30), [&] { barrier.add(); });  // a fourth fire would be due before this
    ASSERT_TRUE(barrier.waitFor(2));
    EXPECT_EQ(fires.value(), firesAtInvalidate);
    EXPECT_EQ(ownFires.value(), 3);
}

// Shutdown drops what is pending and what comes later, and lets go of it. Run on a worker (here: the last
// reference dropped inside a task) it must not join that worker.
TEST(ThreadedExecutorTest, ShutdownDropsPendingAndLaterWorkEvenFromAWorker) {
    for (const bool fromWorker : {false, true}) {
        auto executor = ThreadedExecutor::create();
        auto queue = executor->makeQueue("q");
        auto held = std::make_shared<int>(0);
        std::atomic<int> ran{0};
        Counter shutDown;
        if (fromWorker) {
            queue->async([executor = std::move(executor), &shutDown]() mutable {
                executor.reset();
                shutDown.add();
            });
        }
        queue->asyncAfter(std::chrono::seconds(10), [held, &ran] { ++ran; });
        queue->async([held, &ran] { ++ran; });
        if (fromWorker) {
            ASSERT_TRUE(shutDown.waitFor(1));
            // The detached worker drops its queue on its own; wait for it to let go.
            for (int i = 0; i < 5000 && held.use_count() > 1; ++i) std::this_thread::sleep_for(milliseconds(1));
        } else {
            executor->mainQueue()->scheduleRepeating(std::chrono::hours(1), [held, &ran] { ++ran; });
            queue->async([&] { shutDown.add(); });
            ASSERT_TRUE(shutDown.waitFor(1));  // the runnable task has run by now
            executor->shutdown();
            executor->makeQueue("late")->async([held, &ran] { ++ran; });
        }
        queue->async([held, &ran] { ++ran; });
        EXPECT_EQ(held.use_count(), 1);
        EXPECT_EQ(ran.load(), fromWorker ? 0 : 1);
    }
}

TEST(ThreadedExecutorTest, DroppedQueueFinishesWhatWasPostedEvenWhenDroppedFromItsOwnTask) {
    auto executor = ThreadedExecutor::create();
    Counter ran;
    auto queue = executor->makeQueue("temporary");
    for (int i = 0; i < 50; ++i) queue->asyncAfter(milliseconds(i % 3), [&] { ran.add(); });
    auto self = executor->makeQueue("self");
    self->async([self, &ran]() mutable {
        self.reset();
        ran.add();
    });
    queue.reset();
    self.reset();
    ASSERT_TRUE(ran.waitFor(51));
    auto next = executor->makeQueue("next");  // joins the threads of the drained queues on the way
    next->async([&] { ran.add(); });
    EXPECT_TRUE(ran.waitFor(52));
}

// Producers enqueue from several threads while two "device" threads send the replies. Every item runs once,
// in each producer's order, and an item needing the slot never runs before the previous holder's reply.
TEST(ThreadedExecutorTest, CommandQueueKeepsOrderAndOneOutstandingRequestAcrossThreads) {
    constexpr int kProducers = 4, kEach = 60;
    auto executor = ThreadedExecutor::create();
    auto cb = executor->makeQueue("halvora.cb");
    const std::shared_ptr<SerialQueue> devices[] = {executor->makeQueue("device-1"), executor->makeQueue("device-2")};
    CommandQueue commands(executor, cb);
    std::vector<std::vector<int>> seen(kProducers);  // touched on "halvora.cb" only
    int slotHolders = 0;
    bool slotShared = false;
    std::atomic<int> repliesSent{0};
    Counter itemsRun, repliesDone;
    onThreads(kProducers, [&](int producer) {
        for (int k = 0; k < kEach; ++k) {
            const bool needsSlot = k % 3 != 2;
            Task item = [&, producer, k, needsSlot] {
                seen[static_cast<std::size_t>(producer)].push_back(k);
                if (needsSlot) {
                    slotShared = slotShared || repliesSent.load() < slotHolders++;
                    devices[k % 2]->async([&] {
                        repliesSent.fetch_add(1);
                        commands.release();
                        repliesDone.add();
                    });
                }
                itemsRun.add();
            };
            if (needsSlot) {
                commands.enqueue(std::move(item));
            } else {
                commands.enqueueWithoutPermit(std::move(item));
            }
        }
    });
    ASSERT_TRUE(itemsRun.waitFor(kProducers * kEach));
    ASSERT_TRUE(repliesDone.waitFor(kProducers * kEach * 2 / 3));
    Counter checked;
    std::size_t pending = 99;
    std::int64_t permits = -1;
    cb->async([&] {
        pending = commands.pendingCount();
        permits = commands.permits();
        checked.add();
    });
    ASSERT_TRUE(checked.waitFor(1));
    EXPECT_EQ(pending, 0u);
    EXPECT_EQ(permits, 1);
    EXPECT_FALSE(slotShared);
    for (const auto& fromOneProducer : seen) EXPECT_EQ(fromOneProducer, upTo(kEach));
}

}  // namespace
}  // namespace halvora
