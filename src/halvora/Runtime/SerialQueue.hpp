#pragma once

#include <memory>
#include <string>

#include "halvora/Runtime/Task.hpp"
#include "halvora/Runtime/TimerHandle.hpp"

namespace halvora {

/// A named serial queue: tasks run one at a time, in order of their due time and, for equal due times,
/// in the order they were posted. All members are safe to call from any thread.
class SerialQueue {
public:
    virtual ~SerialQueue() = default;

    /// The name given at creation ("halvora.cb", "main", ...), for logs and checks.
    virtual const std::string& label() const = 0;
    /// Runs the task as soon as the queue is free.
    virtual void async(Task task) = 0;
    /// Runs the task once after the delay; the handle can cancel it before it starts.
    virtual std::shared_ptr<TimerHandle> asyncAfter(Duration delay, Task task) = 0;
    /// Runs the task every interval (first after one interval) until the handle is invalidated.
    virtual std::shared_ptr<TimerHandle> scheduleRepeating(Duration interval, Task task) = 0;
    /// True while the calling thread is running a task of this queue.
    virtual bool isCurrent() const = 0;
};

}  // namespace halvora
