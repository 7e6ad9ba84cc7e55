// The cost of moving one event through the runtime: a task through a serial queue, on the virtual and on the
// threaded executor, and one request cycle through a command queue (enqueue, run under the slot, release).

#include <benchmark/benchmark.h>

#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "halvora/Runtime/CommandQueue.hpp"
#include "halvora/Runtime/ThreadedExecutor.hpp"
#include "halvora/Runtime/VirtualExecutor.hpp"

namespace {

using halvora::CommandQueue;
using halvora::ThreadedExecutor;
using halvora::VirtualExecutor;

/// Lets the benchmark thread wait for the last task of a batch run on a worker thread.
class BatchDone {
public:
    void signal() {
        std::lock_guard lock(mutex_);
        done_ = true;
        changed_.notify_one();
    }
    void wait() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return done_; });
        done_ = false;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool done_ = false;
};

/// Reports the time per event next to the time per iteration (a batch of `events`).
void reportPerEvent(benchmark::State& state, std::int64_t events) {
    state.SetItemsProcessed(state.iterations() * events);
    state.counters["per_event"] = benchmark::Counter(
        static_cast<double>(events), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_VirtualSerialQueue(benchmark::State& state) {
    const std::int64_t events = state.range(0);
    auto executor = VirtualExecutor::create();
    auto queue = executor->makeQueue("halvora.cb");
    std::int64_t ran = 0;
    for (auto _ : state) {
        for (std::int64_t i = 0; i < events; ++i) queue->async([&ran] { ++ran; });
        executor->runUntilIdle();
    }
    benchmark::DoNotOptimize(ran);
    reportPerEvent(state, events);
}
BENCHMARK(BM_VirtualSerialQueue)->Arg(1)->Arg(1000);

void BM_ThreadedSerialQueue(benchmark::State& state) {
    const std::int64_t events = state.range(0);
    auto executor = ThreadedExecutor::create();
    auto queue = executor->makeQueue("halvora.cb");
    BatchDone done;
    std::int64_t ran = 0;  // touched on the queue only
    for (auto _ : state) {
        for (std::int64_t i = 1; i < events; ++i) queue->async([&ran] { ++ran; });
        queue->async([&] {
            ++ran;
            done.signal();
        });
        done.wait();
    }
    executor->shutdown();
    benchmark::DoNotOptimize(ran);
    reportPerEvent(state, events);
}
BENCHMARK(BM_ThreadedSerialQueue)->Arg(1)->Arg(1000)->UseRealTime();

void BM_VirtualCommandCycle(benchmark::State& state) {
    auto executor = VirtualExecutor::create();
    CommandQueue commands(executor, executor->makeQueue("halvora.cb"));
    for (auto _ : state) {
        commands.enqueue([&commands] { commands.release(); });  // the reply comes at once
        executor->runUntilIdle();
    }
    reportPerEvent(state, 1);
}
BENCHMARK(BM_VirtualCommandCycle);

void BM_ThreadedCommandCycle(benchmark::State& state) {
    const std::int64_t requests = state.range(0);
    auto executor = ThreadedExecutor::create();
    auto commands = std::make_unique<CommandQueue>(executor, executor->makeQueue("halvora.cb"));
    BatchDone done;
    for (auto _ : state) {
        for (std::int64_t i = 1; i <= requests; ++i) {
            commands->enqueue([&, last = i == requests] {
                commands->release();
                if (last) done.signal();
            });
        }
        done.wait();
    }
    executor->shutdown();
    reportPerEvent(state, requests);
}
BENCHMARK(BM_ThreadedCommandCycle)->Arg(1)->Arg(1000)->UseRealTime();

}  // namespace
