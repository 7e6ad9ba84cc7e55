#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "halvora/Runtime/Task.hpp"
#include "halvora/Runtime/TimerHandle.hpp"

namespace halvora::detail {

/// The working part of one serial queue of the threaded executor: its pending tasks ordered by due time
/// and then by posting, and the worker thread that runs them. The executor keeps every core until its
/// thread is joined; the queue object handed out to users only retires it when it goes away.
class ThreadedQueueCore : public std::enable_shared_from_this<ThreadedQueueCore> {
public:
    struct Entry;

    explicit ThreadedQueueCore(std::string label);
    ~ThreadedQueueCore();

    ThreadedQueueCore(const ThreadedQueueCore&) = delete;
    ThreadedQueueCore& operator=(const ThreadedQueueCore&) = delete;

    const std::string& label() const { return label_; }

    /// Launches the worker thread. Called once, by the executor, right after construction.
    void start();
    /// Posts a task that cannot be cancelled (the plain async path, without a handle).
    void post(Task task);
    /// Posts a task due after `delay`, repeating every `repeat` when that is positive.
    std::shared_ptr<TimerHandle> schedule(Duration delay, Task task, Duration repeat);
    /// Removes a pending entry (if it is still waiting) and wakes the worker.
    void cancel(const std::weak_ptr<Entry>& entry);
    /// True on the worker thread while it runs one of this queue's tasks.
    bool isCurrent() const;

    /// No user holds the queue any longer: the worker ends once nothing is pending.
    void retire();
    /// The worker ends after the task it is running; pending tasks are dropped. Later posts are dropped.
    void stop();
    /// Joins the worker thread, or detaches it when called on the worker thread itself.
    void joinOrDetach();
    /// True once the worker thread has left its loop and dropped its pending tasks.
    bool isFinished() const;

private:
    using Key = std::pair<MonotonicTime, std::uint64_t>;

    void run();
    bool insert(std::shared_ptr<Entry> entry, MonotonicTime due);
    void runEntry(Entry& entry);
    bool rescheduleIfRepeating(std::shared_ptr<Entry>& entry);
    void dropPending();

    const std::string label_;
    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::map<Key, std::shared_ptr<Entry>> entries_;
    std::uint64_t nextSequence_ = 0;
    bool retired_ = false;
    bool stopped_ = false;
    bool finished_ = false;
    std::thread thread_;
};

}  // namespace halvora::detail
