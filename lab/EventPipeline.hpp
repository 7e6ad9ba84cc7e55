#pragma once

#include <deque>
#include <memory>
#include <mutex>

#include "halvora/Runtime/Executor.hpp"
#include "halvora/Runtime/SerialQueue.hpp"
#include "halvora/Runtime/Task.hpp"

namespace halvora::lab {

/// Delivers a central's events on its queue strictly in the order they were posted, each no earlier than
/// its own delay: an event posted with a short delay behind one with a long delay waits for it, as frames
/// on one radio link do. Each event runs as one task of the queue. Thread-safe.
class EventPipeline : public std::enable_shared_from_this<EventPipeline> {
public:
    /// A pipeline that runs its events on `queue`, timed by `executor`'s clock.
    EventPipeline(std::shared_ptr<Executor> executor, std::shared_ptr<SerialQueue> queue);

    /// Queues `event` to run `delay` from now, but never before the events posted ahead of it.
    void post(Duration delay, Task event);
    /// The queue the events run on.
    const std::shared_ptr<SerialQueue>& queue() const { return queue_; }

private:
    struct Pending {
        MonotonicTime due;
        Task event;
    };
    void schedulePump(Duration delay);
    void pump();

    const std::shared_ptr<Executor> executor_;
    const std::shared_ptr<SerialQueue> queue_;
    std::mutex mutex_;
    std::deque<Pending> pending_;
    MonotonicTime lastDue_{};
};

}  // namespace halvora::lab
