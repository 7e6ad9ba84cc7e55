#pragma once

#include <memory>
#include <string>

#include "halvora/Core/Date.hpp"
#include "halvora/Runtime/SerialQueue.hpp"
#include "halvora/Runtime/Task.hpp"

namespace halvora {

/// Owns the serial queues and the clock. Every "now" of the kit comes from here: monotonic time for
/// deadlines and time-outs, and the civil date for records.
class Executor {
public:
    virtual ~Executor() = default;

    /// A new serial queue with the given label (labels are for logs and debugging; they need not be unique).
    virtual std::shared_ptr<SerialQueue> makeQueue(const std::string& label) = 0;
    /// The one main queue: repeating timers and delayed calls of the manager run here.
    virtual std::shared_ptr<SerialQueue> mainQueue() = 0;
    /// Monotonic now.
    virtual MonotonicTime now() const = 0;
    /// Civil now.
    virtual Date date() const = 0;
};

}  // namespace halvora
