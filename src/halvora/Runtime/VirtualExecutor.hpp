#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <tuple>

#include "halvora/Runtime/Executor.hpp"

namespace halvora {

/// An executor for tests, benchmarks and the lab: one thread (the caller of runUntilIdle(), advance() or
/// runUntil()) runs every task of every queue, in order of due time and then of posting, on a virtual
/// clock that moves only when told. A 60-second time-out costs microseconds of real time.
/// Tasks may be posted from any thread.
class VirtualExecutor : public Executor, public std::enable_shared_from_this<VirtualExecutor> {
public:
    /// The civil date at virtual time zero unless told otherwise: 2026-01-01T00:00:00Z.
    static Date defaultStartDate();
    /// A new executor at virtual time zero, whose civil date then is `startDate`; it has its "main" queue.
    static std::shared_ptr<VirtualExecutor> create(Date startDate = defaultStartDate());
    ~VirtualExecutor() override;

    std::shared_ptr<SerialQueue> makeQueue(const std::string& label) override;
    std::shared_ptr<SerialQueue> mainQueue() override;
    MonotonicTime now() const override;
    Date date() const override;

    /// Runs every task that is due now (including those that become due by running others); the clock
    /// does not move. Returns the number of tasks run.
    std::size_t runUntilIdle();
    /// Moves the clock forward by `duration`, running every task that falls due on the way at its due time.
    std::size_t advance(Duration duration);
    /// Runs task after task, moving the clock as needed, until `done` holds or `limit` of virtual time has
    /// passed. Returns whether `done` holds. The clock stops at the task that made it hold.
    bool runUntil(const std::function<bool()>& done, Duration limit);
    /// Number of tasks waiting (timers included).
    std::size_t pendingCount() const;
    /// Drops every waiting task and timer without running it, and returns how many there were. What the
    /// tasks held is released outside the executor's lock; tasks posted meanwhile stay. Tests call it at
    /// the end of a world whose devices and timers would otherwise keep each other alive.
    std::size_t dropPending();
    /// Elapsed virtual time since creation.
    Duration elapsed() const;

    // Used by the executor's queues.
    struct Entry;
    /// Schedules `task` for `queue`, due `delay` from now (a negative delay counts as zero); with a positive
    /// `repeatInterval` it comes back every interval until invalidated. Returns the handle that cancels it,
    /// made only when `wantHandle` (async() needs none). For the executor's own queues.
    std::shared_ptr<TimerHandle> post(const SerialQueue* queue, Duration delay, Task task, Duration repeatInterval,
                                      bool wantHandle);
    /// True when the calling thread is running a task of `queue` now. For the executor's own queues.
    bool isRunning(const SerialQueue* queue) const;

private:
    explicit VirtualExecutor(Date startDate);
    bool runNextDueBy(MonotonicTime limit);

    using Key = std::tuple<MonotonicTime, std::uint64_t>;
    mutable std::mutex mutex_;
    /// Entries live in their map nodes: a task that comes back is re-keyed in its own node.
    std::map<Key, Entry> pending_;
    std::uint64_t nextSequence_ = 0;
    MonotonicTime now_{};
    Date startDate_;
    std::shared_ptr<SerialQueue> main_;
    const SerialQueue* running_ = nullptr;
    std::thread::id runningThread_{};
};

}  // namespace halvora
