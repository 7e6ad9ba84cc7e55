#include "halvora/Runtime/CommandQueue.hpp"

#include <atomic>
#include <deque>
#include <utility>

namespace halvora {

namespace {

struct CommandItem {
    Task work;
    bool needsPermit = false;
    Duration waitLimit{};
};

}  // namespace

/// Everything below is touched only on the queue, except `closed`, which the owner sets when it goes away.
struct CommandQueue::State {
    std::weak_ptr<Executor> executor;
    std::shared_ptr<SerialQueue> queue;
    std::atomic<bool> closed{false};

    std::deque<CommandItem> items;
    std::int64_t permits = 1;
    bool disposed = false;
    /// The head has waited its full limit and may go on without a permit.
    bool headTimedOut = false;
    /// Ticket of the head's current wait-limit wake-up; a wake-up carrying another ticket is stale.
    std::uint64_t waitTicket = 0;
    std::shared_ptr<TimerHandle> waitTimer;

    ~State() {
        if (waitTimer) waitTimer->invalidate();
    }

    /// Runs items from the head for as long as the head may go.
    void pump(const std::shared_ptr<State>& self) {
        while (!items.empty() && !closed.load(std::memory_order_acquire)) {
            if (!headMayRun()) {
                armWaitLimit(self);
                return;
            }
            headStarts();
            CommandItem item = std::move(items.front());
            items.pop_front();
            item.work();
        }
    }

    /// Whether the head can start now; takes the permit when it needs and gets one.
    bool headMayRun() {
        const CommandItem& head = items.front();
        if (!head.needsPermit || disposed || headTimedOut) return true;
        if (permits <= 0) return false;
        --permits;
        return true;
    }

    /// Starts the head's wait-limit clock, unless it is already running for this head.
    void armWaitLimit(const std::shared_ptr<State>& self) {
        if (waitTimer) return;
        const std::uint64_t ticket = ++waitTicket;
        std::weak_ptr<State> weak = self;
        waitTimer = queue->asyncAfter(items.front().waitLimit, [weak, ticket] {
            if (auto state = weak.lock()) state->waitLimitReached(state, ticket);
        });
    }

    void waitLimitReached(const std::shared_ptr<State>& self, std::uint64_t ticket) {
        if (ticket != waitTicket || !waitTimer || items.empty()) return;
        headTimedOut = true;
        pump(self);
    }

    /// The head leaves the queue: its wait (if any) ends and the next head starts with a fresh clock.
    void headStarts() {
        headTimedOut = false;
        ++waitTicket;
        if (waitTimer) {
            waitTimer->invalidate();
            waitTimer.reset();
        }
    }
};

CommandQueue::CommandQueue(std::shared_ptr<Executor> executor, std::shared_ptr<SerialQueue> queue)
    : queue_(std::move(queue)), state_(std::make_shared<State>()) {
    // Without a queue of its own the command queue still needs somewhere serial to run.
    if (!queue_ && executor) queue_ = executor->makeQueue("halvora.commands");
    state_->executor = std::move(executor);
    state_->queue = queue_;
}

CommandQueue::~CommandQueue() {
    state_->closed.store(true, std::memory_order_release);
}

template <typename Change>
void CommandQueue::post(Change change) {
    if (!queue_) return;
    queue_->async([weak = std::weak_ptr<State>(state_), change = std::move(change)]() mutable {
        auto state = weak.lock();
        if (!state) return;
        change(*state);
        state->pump(state);
    });
}

void CommandQueue::enqueue(Task work, Duration waitLimit) {
    post([item = CommandItem{std::move(work), true, waitLimit}](State& state) mutable {
        state.items.push_back(std::move(item));
    });
}

void CommandQueue::enqueueWithoutPermit(Task work) {
    post([item = CommandItem{std::move(work), false, Duration::zero()}](State& state) mutable {
        state.items.push_back(std::move(item));
    });
}

void CommandQueue::release() {
    post([](State& state) { ++state.permits; });
}

void CommandQueue::dispose() {
    post([](State& state) { state.disposed = true; });
}

std::size_t CommandQueue::pendingCount() const {
    return state_->items.size();
}

std::int64_t CommandQueue::permits() const {
    return state_->permits;
}

}  // namespace halvora
