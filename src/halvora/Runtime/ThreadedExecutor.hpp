#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "halvora/Runtime/Executor.hpp"

namespace halvora {

namespace detail {
class ThreadedQueueCore;
}

/// The production executor: every serial queue (the main queue included) runs its tasks in order on a
/// worker thread of its own; time is std::chrono::steady_clock and the civil date is the system clock.
///
/// Timers:
/// - asyncAfter() runs its task once, no earlier than the delay after the call.
/// - scheduleRepeating() runs at a fixed rate: the k-th fire is due `k * interval` after scheduling. When
///   a fire runs so late that later slots have already passed, those slots are skipped (no burst of
///   catch-up fires); the next fire keeps the original phase. A zero or negative interval counts as 1 ms.
/// - invalidate() may be called from any thread. Once it has returned, the timer does not start again. A
///   fire that had already started on the queue's thread when invalidate() was called runs to its end.
///   Called from a task of the timer's own queue, invalidate() is therefore exact.
///
/// Lifetimes:
/// - A queue whose last reference is dropped keeps running what was already posted to it (a repeating
///   timer keeps it alive until invalidated); then its thread ends and is joined by the executor later.
/// - shutdown() (also run by the destructor) stops every queue after its running task, drops every
///   pending task and joins the worker threads. Tasks posted afterwards are dropped. When shutdown() runs
///   on a worker thread (for example because a task dropped the last reference to the executor), that
///   one thread is detached instead of joined; it ends on its own once its task returns.
/// - Pending tasks that hold the executor itself keep it alive: call shutdown() explicitly to end such
///   cycles.
class ThreadedExecutor : public Executor {
public:
    /// A new executor with its main queue's thread started; other queues start their threads when made.
    static std::shared_ptr<ThreadedExecutor> create();
    ~ThreadedExecutor() override;

    ThreadedExecutor(const ThreadedExecutor&) = delete;
    ThreadedExecutor& operator=(const ThreadedExecutor&) = delete;

    std::shared_ptr<SerialQueue> makeQueue(const std::string& label) override;
    std::shared_ptr<SerialQueue> mainQueue() override;
    MonotonicTime now() const override;
    Date date() const override;

    /// Stops every queue and joins their threads. Idempotent; safe from any thread, including a worker.
    void shutdown();
    /// Whether shutdown() has been called.
    bool isShutDown() const;

private:
    ThreadedExecutor();
    std::shared_ptr<detail::ThreadedQueueCore> startCore(const std::string& label);
    std::vector<std::shared_ptr<detail::ThreadedQueueCore>> takeFinishedCores();

    mutable std::mutex mutex_;
    bool shutDown_ = false;
    std::vector<std::shared_ptr<detail::ThreadedQueueCore>> cores_;
    std::shared_ptr<SerialQueue> main_;
};

}  // namespace halvora
