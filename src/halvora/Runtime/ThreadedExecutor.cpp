#include "halvora/Runtime/ThreadedExecutor.hpp"

#include <algorithm>
#include <chrono>
#include <iterator>

#include "halvora/Runtime/internal/ThreadedQueueCore.hpp"

namespace halvora {

namespace {

constexpr Duration kShortestPeriod = std::chrono::milliseconds(1);

/// The queue object users hold. When the last one goes away the core is retired: it finishes what was
/// posted and its thread ends. Nothing here ever joins a thread, so dropping a queue from one of its own
/// tasks is safe.
class ThreadedQueue : public SerialQueue {
public:
    explicit ThreadedQueue(std::shared_ptr<detail::ThreadedQueueCore> core) : core_(std::move(core)) {}
    ~ThreadedQueue() override { core_->retire(); }

    ThreadedQueue(const ThreadedQueue&) = delete;
    ThreadedQueue& operator=(const ThreadedQueue&) = delete;

    const std::string& label() const override { return core_->label(); }
    void async(Task task) override { core_->post(std::move(task)); }

    std::shared_ptr<TimerHandle> asyncAfter(Duration delay, Task task) override {
        return core_->schedule(delay, std::move(task), Duration::zero());
    }

    std::shared_ptr<TimerHandle> scheduleRepeating(Duration interval, Task task) override {
        const Duration period = std::max(interval, kShortestPeriod);
        return core_->schedule(period, std::move(task), period);
    }

    bool isCurrent() const override { return core_->isCurrent(); }

private:
    std::shared_ptr<detail::ThreadedQueueCore> core_;
};

void joinAll(const std::vector<std::shared_ptr<detail::ThreadedQueueCore>>& cores) {
    for (const auto& core : cores) core->joinOrDetach();
}

}  // namespace

std::shared_ptr<ThreadedExecutor> ThreadedExecutor::create() {
    std::shared_ptr<ThreadedExecutor> executor(new ThreadedExecutor());
    executor->main_ = std::make_shared<ThreadedQueue>(executor->startCore("main"));
    return executor;
}

ThreadedExecutor::ThreadedExecutor() = default;

ThreadedExecutor::~ThreadedExecutor() {
    shutdown();
}

std::shared_ptr<SerialQueue> ThreadedExecutor::makeQueue(const std::string& label) {
    // Threads of queues that were dropped and have drained are joined here, so that a program that keeps
    // making queues does not keep their finished threads around until shutdown.
    joinAll(takeFinishedCores());
    return std::make_shared<ThreadedQueue>(startCore(label));
}

std::shared_ptr<SerialQueue> ThreadedExecutor::mainQueue() {
    std::lock_guard lock(mutex_);
    return main_;
}

MonotonicTime ThreadedExecutor::now() const {
    return std::chrono::steady_clock::now();
}

Date ThreadedExecutor::date() const {
    return std::chrono::system_clock::now();
}

void ThreadedExecutor::shutdown() {
    std::vector<std::shared_ptr<detail::ThreadedQueueCore>> cores;
    {
        std::lock_guard lock(mutex_);
        shutDown_ = true;
        cores.swap(cores_);
    }
    // Stop them all first, so that they wind down together, then wait for each. The executor's lock is
    // not held here: a task finishing on a worker may still call into the executor.
    for (const auto& core : cores) core->stop();
    joinAll(cores);
}

bool ThreadedExecutor::isShutDown() const {
    std::lock_guard lock(mutex_);
    return shutDown_;
}

std::shared_ptr<detail::ThreadedQueueCore> ThreadedExecutor::startCore(const std::string& label) {
    auto core = std::make_shared<detail::ThreadedQueueCore>(label);
    std::lock_guard lock(mutex_);
    if (shutDown_) {
        core->stop();  // never started: everything posted to it is dropped
        return core;
    }
    core->start();
    cores_.push_back(core);
    return core;
}

std::vector<std::shared_ptr<detail::ThreadedQueueCore>> ThreadedExecutor::takeFinishedCores() {
    std::vector<std::shared_ptr<detail::ThreadedQueueCore>> finished;
    std::lock_guard lock(mutex_);
    auto firstFinished =
        std::stable_partition(cores_.begin(), cores_.end(), [](const auto& core) { return !core->isFinished(); });
    std::move(firstFinished, cores_.end(), std::back_inserter(finished));
    cores_.erase(firstFinished, cores_.end());
    return finished;
}

}  // namespace halvora
