#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "halvora/Runtime/Executor.hpp"
#include "halvora/Runtime/SerialQueue.hpp"
#include "halvora/Runtime/Task.hpp"

namespace halvora {

/// A driver's send queue with its command slot: one request outstanding at a time, without ever blocking
/// a thread.
///
/// Items run on the given serial queue, strictly first in, first out. The item at the head that needs the
/// slot runs as soon as a permit is free (taking it), or once its wait limit has passed since it became the
/// head (then it runs without a permit). Everything behind it waits behind it, whether it needs the slot or
/// not, just as a serial queue blocked in a semaphore wait would.
///
/// The permits count like a semaphore created with one: every release() adds one, even when nobody holds
/// the slot, so a surplus lets later items through without waiting. dispose() lets every waiting item run,
/// in order, and from then on nothing waits.
///
/// Every public member may be called from any thread: it posts to the queue, where all state lives, so
/// calls made from one thread keep their order. pendingCount() and permits() read that state directly and
/// are for tests and checks made on the queue itself. Items not yet run when the CommandQueue is destroyed
/// are dropped.
class CommandQueue {
public:
    /// How long the head item waits for a permit before it runs without one.
    static constexpr Duration kDefaultWaitLimit = std::chrono::seconds(60);

    /// A queue whose items run on `queue` (a new "halvora.commands" queue of `executor` when null), timed by
    /// `executor`'s clock, starting with one free permit.
    CommandQueue(std::shared_ptr<Executor> executor, std::shared_ptr<SerialQueue> queue);
    ~CommandQueue();

    CommandQueue(const CommandQueue&) = delete;
    CommandQueue& operator=(const CommandQueue&) = delete;

    /// Queues work that needs the slot; it waits at most `waitLimit` once it is at the head.
    void enqueue(Task work, Duration waitLimit = kDefaultWaitLimit);
    /// Queues work that runs under the slot of an earlier item (it still waits its turn).
    void enqueueWithoutPermit(Task work);
    /// Gives one permit back (the reply has arrived, or the request was abandoned).
    void release();
    /// Lets every waiting item run and stops all later waiting (the driver is going away).
    void dispose();

    /// Items queued and not yet run. Call on the queue.
    std::size_t pendingCount() const;
    /// Free permits. Call on the queue.
    std::int64_t permits() const;
    /// The serial queue the items run on.
    const std::shared_ptr<SerialQueue>& queue() const { return queue_; }

private:
    struct State;
    /// Posts a change of state to the queue, then lets the head go if it may.
    template <typename Change>
    void post(Change change);

    std::shared_ptr<SerialQueue> queue_;
    std::shared_ptr<State> state_;
};

}  // namespace halvora
