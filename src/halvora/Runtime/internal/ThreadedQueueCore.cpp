#include "halvora/Runtime/internal/ThreadedQueueCore.hpp"

#include <chrono>
#include <vector>

namespace halvora::detail {

namespace {

/// The core whose task the current thread is running, if any.
thread_local const ThreadedQueueCore* tRunningCore = nullptr;

/// Shortest period of a repeating timer; a zero period would spin the worker.
constexpr Duration kShortestPeriod = std::chrono::milliseconds(1);

MonotonicTime steadyNow() {
    return std::chrono::steady_clock::now();
}

/// `time + delay` without overflowing for very long delays.
MonotonicTime saturatingAdd(MonotonicTime time, Duration delay) {
    if (delay > MonotonicTime::max() - time) return MonotonicTime::max();
    return time + delay;
}

}  // namespace

struct ThreadedQueueCore::Entry {
    Task task;
    Duration repeat{};
    Key key{};
    /// Shared with the timer handle; null for plain async tasks, which cannot be cancelled.
    std::shared_ptr<std::atomic<bool>> valid;

    bool isValid() const { return !valid || valid->load(std::memory_order_acquire); }
    void markSpent() const {
        if (valid) valid->store(false, std::memory_order_release);
    }
};

namespace {

class ThreadedTimerHandle : public TimerHandle {
public:
    ThreadedTimerHandle(std::weak_ptr<ThreadedQueueCore> core, std::weak_ptr<ThreadedQueueCore::Entry> entry,
                        std::shared_ptr<std::atomic<bool>> valid)
        : core_(std::move(core)), entry_(std::move(entry)), valid_(std::move(valid)) {}

    void invalidate() override {
        // The flag first: a worker that has already taken the entry out checks it before starting the task.
        if (!valid_->exchange(false, std::memory_order_acq_rel)) return;
        if (auto core = core_.lock()) core->cancel(entry_);
    }

    bool isValid() const override { return valid_->load(std::memory_order_acquire); }

private:
    std::weak_ptr<ThreadedQueueCore> core_;
    std::weak_ptr<ThreadedQueueCore::Entry> entry_;
    std::shared_ptr<std::atomic<bool>> valid_;
};

}  // namespace

ThreadedQueueCore::ThreadedQueueCore(std::string label) : label_(std::move(label)) {}

ThreadedQueueCore::~ThreadedQueueCore() {
    // The executor joins or detaches every started thread before it lets go of the core; this only
    // guards against a core that is destroyed some other way.
    if (thread_.joinable()) thread_.detach();
}

void ThreadedQueueCore::start() {
    thread_ = std::thread([self = shared_from_this()] { self->run(); });
}

void ThreadedQueueCore::post(Task task) {
    auto entry = std::make_shared<Entry>();
    entry->task = std::move(task);
    if (insert(std::move(entry), steadyNow())) wake_.notify_one();
}

std::shared_ptr<TimerHandle> ThreadedQueueCore::schedule(Duration delay, Task task, Duration repeat) {
    auto entry = std::make_shared<Entry>();
    entry->task = std::move(task);
    entry->repeat = repeat;
    entry->valid = std::make_shared<std::atomic<bool>>(true);
    auto handle = std::make_shared<ThreadedTimerHandle>(weak_from_this(), entry, entry->valid);
    const MonotonicTime due = saturatingAdd(steadyNow(), delay > Duration::zero() ? delay : Duration::zero());
    if (insert(std::move(entry), due)) wake_.notify_one();
    return handle;
}

bool ThreadedQueueCore::insert(std::shared_ptr<Entry> entry, MonotonicTime due) {
    std::unique_lock lock(mutex_);
    if (stopped_ || finished_) {
        lock.unlock();
        entry->markSpent();
        return false;  // dropped; the task is destroyed here, outside the lock
    }
    entry->key = Key{due, nextSequence_++};
    entries_.emplace(entry->key, std::move(entry));
    return true;
}

void ThreadedQueueCore::cancel(const std::weak_ptr<Entry>& weakEntry) {
    std::shared_ptr<Entry> removed;
    {
        std::lock_guard lock(mutex_);
        auto entry = weakEntry.lock();
        if (!entry) return;
        auto it = entries_.find(entry->key);
        if (it == entries_.end() || it->second != entry) return;  // running right now, or already gone
        removed = std::move(it->second);
        entries_.erase(it);
    }
    wake_.notify_one();
    // `removed` (and the task it holds) is destroyed here, outside the lock.
}

bool ThreadedQueueCore::isCurrent() const {
    return tRunningCore == this;
}

void ThreadedQueueCore::retire() {
    {
        std::lock_guard lock(mutex_);
        retired_ = true;
    }
    wake_.notify_one();
}

void ThreadedQueueCore::stop() {
    {
        std::lock_guard lock(mutex_);
        stopped_ = true;
    }
    wake_.notify_one();
}

void ThreadedQueueCore::joinOrDetach() {
    if (!thread_.joinable()) return;
    if (thread_.get_id() == std::this_thread::get_id()) {
        thread_.detach();
    } else {
        thread_.join();
    }
}

bool ThreadedQueueCore::isFinished() const {
    std::lock_guard lock(mutex_);
    return finished_;
}

void ThreadedQueueCore::run() {
    std::unique_lock lock(mutex_);
    while (!stopped_) {
        if (entries_.empty()) {
            if (retired_) break;
            wake_.wait(lock);
            continue;
        }
        auto first = entries_.begin();
        // A copy: the entry may be cancelled (and its node freed) while the worker waits for it.
        const MonotonicTime due = first->first.first;
        if (due > steadyNow()) {
            wake_.wait_until(lock, due);
            continue;
        }
        std::shared_ptr<Entry> entry = std::move(first->second);
        entries_.erase(first);
        lock.unlock();

        runEntry(*entry);

        lock.lock();
        if (rescheduleIfRepeating(entry)) continue;
        // The spent entry (and whatever its task holds) goes away outside the lock.
        lock.unlock();
        entry.reset();
        lock.lock();
    }
    lock.unlock();
    dropPending();
}

void ThreadedQueueCore::runEntry(Entry& entry) {
    // An invalidated timer is checked here, after it left the pending set and before it starts: once
    // invalidate() has stored the flag, the task does not start any more.
    if (!entry.isValid()) return;
    tRunningCore = this;
    entry.task();
    tRunningCore = nullptr;
    if (entry.repeat <= Duration::zero()) entry.markSpent();
}

bool ThreadedQueueCore::rescheduleIfRepeating(std::shared_ptr<Entry>& entry) {
    if (entry->repeat <= Duration::zero() || !entry->isValid() || stopped_) return false;
    const Duration period = entry->repeat < kShortestPeriod ? kShortestPeriod : entry->repeat;
    const MonotonicTime previous = entry->key.first;
    MonotonicTime next = saturatingAdd(previous, period);
    const MonotonicTime now = steadyNow();
    if (next <= now) {
        // Fixed rate without bursts: skip the slots that have already passed, keep the phase.
        next = previous + period * ((now - previous) / period + 1);
    }
    entry->key = Key{next, nextSequence_++};
    entries_.emplace(entry->key, std::move(entry));
    return true;
}

void ThreadedQueueCore::dropPending() {
    std::vector<std::shared_ptr<Entry>> dropped;
    {
        std::lock_guard lock(mutex_);
        dropped.reserve(entries_.size());
        for (auto& [key, entry] : entries_) dropped.push_back(std::move(entry));
        entries_.clear();
    }
    for (const auto& entry : dropped) entry->markSpent();
    dropped.clear();  // the tasks' captures are released on this thread, outside the lock
    std::lock_guard lock(mutex_);
    finished_ = true;
}

}  // namespace halvora::detail
