#include "lab/EventPipeline.hpp"

#include <algorithm>

namespace halvora::lab {

EventPipeline::EventPipeline(std::shared_ptr<Executor> executor, std::shared_ptr<SerialQueue> queue)
    : executor_(std::move(executor)), queue_(std::move(queue)) {}

void EventPipeline::post(Duration delay, Task event) {
    const MonotonicTime now = executor_->now();
    std::lock_guard lock(mutex_);
    const MonotonicTime due = std::max(now + std::max(delay, Duration::zero()), lastDue_);
    lastDue_ = due;
    pending_.push_back(Pending{due, std::move(event)});
    // Posting under the lock keeps the pumps in the order of the events they were posted for.
    schedulePump(due - now);
}

void EventPipeline::schedulePump(Duration delay) {
    std::weak_ptr<EventPipeline> weak = weak_from_this();
    auto pump = [weak] {
        if (auto self = weak.lock()) self->pump();
    };
    if (delay > Duration::zero()) {
        queue_->asyncAfter(delay, std::move(pump));
    } else {
        queue_->async(std::move(pump));
    }
}

// One pump is scheduled per event, no earlier than that event's due time; since events are due in the
// order they were posted, the head is always due when a pump runs.
void EventPipeline::pump() {
    Task event;
    {
        std::lock_guard lock(mutex_);
        if (pending_.empty()) return;
        const MonotonicTime now = executor_->now();
        if (pending_.front().due > now) {
            schedulePump(pending_.front().due - now);
            return;
        }
        event = std::move(pending_.front().event);
        pending_.pop_front();
    }
    event();
}

}  // namespace halvora::lab
