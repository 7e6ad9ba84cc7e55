#include "halvora/Runtime/VirtualExecutor.hpp"

#include <atomic>
#include <vector>

namespace halvora {

namespace {

/// A scheduled task's handle; the task is valid while the handle is.
class VirtualTimerHandle : public TimerHandle {
public:
    explicit VirtualTimerHandle(bool valid = true) : valid_(valid) {}
    void invalidate() override { valid_.store(false); }
    bool isValid() const override { return valid_.load(); }

private:
    std::atomic<bool> valid_;
};

}  // namespace

struct VirtualExecutor::Entry {
    const SerialQueue* queue = nullptr;
    Task task;
    Duration repeatInterval{};
    /// Absent for a task posted with async(): nobody can cancel it.
    std::shared_ptr<VirtualTimerHandle> handle;

    bool valid() const { return !handle || handle->isValid(); }
    void spend() const {
        if (handle) handle->invalidate();
    }
};

namespace {

class VirtualQueue : public SerialQueue {
public:
    VirtualQueue(std::weak_ptr<VirtualExecutor> executor, std::string label)
        : executor_(std::move(executor)), label_(std::move(label)) {}

    const std::string& label() const override { return label_; }

    void async(Task task) override { post(Duration::zero(), std::move(task), Duration::zero(), false); }

    std::shared_ptr<TimerHandle> asyncAfter(Duration delay, Task task) override {
        return post(delay, std::move(task), Duration::zero(), true);
    }

    std::shared_ptr<TimerHandle> scheduleRepeating(Duration interval, Task task) override {
        // A zero interval would never let the clock move; one millisecond is the shortest period.
        const Duration period = interval > Duration::zero() ? interval : std::chrono::milliseconds(1);
        return post(period, std::move(task), period, true);
    }

    bool isCurrent() const override {
        auto executor = executor_.lock();
        return executor && executor->isRunning(this);
    }

private:
    std::shared_ptr<TimerHandle> post(Duration delay, Task task, Duration repeat, bool wantHandle) {
        if (auto executor = executor_.lock()) return executor->post(this, delay, std::move(task), repeat, wantHandle);
        return wantHandle ? std::make_shared<VirtualTimerHandle>(false) : nullptr;
    }

    std::weak_ptr<VirtualExecutor> executor_;
    std::string label_;
};

/// `time + delay` without overflowing for very long delays (a never-firing "forever" timer).
MonotonicTime saturatingAdd(MonotonicTime time, Duration delay) {
    if (delay > MonotonicTime::max() - time) return MonotonicTime::max();
    return time + delay;
}

}  // namespace

Date VirtualExecutor::defaultStartDate() {
    using namespace std::chrono;
    return Date(sys_days(year{2026} / January / 1));
}

std::shared_ptr<VirtualExecutor> VirtualExecutor::create(Date startDate) {
    std::shared_ptr<VirtualExecutor> executor(new VirtualExecutor(startDate));
    executor->main_ = std::make_shared<VirtualQueue>(executor, "main");
    return executor;
}

VirtualExecutor::VirtualExecutor(Date startDate) : startDate_(startDate) {}

VirtualExecutor::~VirtualExecutor() = default;

std::shared_ptr<SerialQueue> VirtualExecutor::makeQueue(const std::string& label) {
    return std::make_shared<VirtualQueue>(weak_from_this(), label);
}

std::shared_ptr<SerialQueue> VirtualExecutor::mainQueue() { return main_; }

MonotonicTime VirtualExecutor::now() const {
    std::lock_guard lock(mutex_);
    return now_;
}

Date VirtualExecutor::date() const {
    std::lock_guard lock(mutex_);
    return startDate_ + std::chrono::duration_cast<Date::duration>(now_.time_since_epoch());
}

Duration VirtualExecutor::elapsed() const {
    std::lock_guard lock(mutex_);
    return now_.time_since_epoch();
}

std::size_t VirtualExecutor::pendingCount() const {
    std::lock_guard lock(mutex_);
    std::size_t count = 0;
    for (const auto& [key, entry] : pending_) {
        if (entry.valid()) ++count;
    }
    return count;
}

std::size_t VirtualExecutor::dropPending() {
    decltype(pending_) dropped;
    {
        std::lock_guard lock(mutex_);
        dropped.swap(pending_);
    }
    std::size_t count = 0;
    for (const auto& [key, entry] : dropped) {
        if (entry.valid()) ++count;
        entry.spend();
    }
    return count;
}

std::shared_ptr<TimerHandle> VirtualExecutor::post(const SerialQueue* queue, Duration delay, Task task,
                                                   Duration repeatInterval, bool wantHandle) {
    std::shared_ptr<VirtualTimerHandle> handle = wantHandle ? std::make_shared<VirtualTimerHandle>() : nullptr;
    std::lock_guard lock(mutex_);
    const MonotonicTime due = saturatingAdd(now_, delay > Duration::zero() ? delay : Duration::zero());
    pending_.emplace(Key{due, nextSequence_++}, Entry{queue, std::move(task), repeatInterval, handle});
    return handle;
}

bool VirtualExecutor::isRunning(const SerialQueue* queue) const {
    std::lock_guard lock(mutex_);
    return running_ == queue && runningThread_ == std::this_thread::get_id();
}

bool VirtualExecutor::runNextDueBy(MonotonicTime limit) {
    // Cancelled entries are dropped on the way, outside the lock: what their tasks hold may post on its way out.
    std::vector<decltype(pending_)::node_type> cancelled;
    decltype(pending_)::node_type node;
    const SerialQueue* previousRunning = nullptr;
    std::thread::id previousThread{};
    {
        std::lock_guard lock(mutex_);
        while (!pending_.empty() && !pending_.begin()->second.valid()) {
            cancelled.push_back(pending_.extract(pending_.begin()));
        }
        if (pending_.empty() || std::get<0>(pending_.begin()->first) > limit) return false;
        node = pending_.extract(pending_.begin());
        const MonotonicTime due = std::get<0>(node.key());
        if (due > now_) now_ = due;
        previousRunning = running_;
        previousThread = runningThread_;
        running_ = node.mapped().queue;
        runningThread_ = std::this_thread::get_id();
    }
    node.mapped().task();
    std::lock_guard lock(mutex_);
    // A task may itself drive the executor (runUntilIdle() from inside a task); the outer task is still
    // running when the inner one ends.
    running_ = previousRunning;
    runningThread_ = previousThread;
    const Entry& entry = node.mapped();
    if (entry.repeatInterval <= Duration::zero()) {
        entry.spend();  // a delayed call that has run is spent
    } else if (entry.valid()) {
        node.key() = Key{saturatingAdd(std::get<0>(node.key()), entry.repeatInterval), nextSequence_++};
        pending_.insert(std::move(node));
    }
    return true;
}

std::size_t VirtualExecutor::runUntilIdle() {
    std::size_t count = 0;
    while (runNextDueBy(now())) ++count;
    return count;
}

std::size_t VirtualExecutor::advance(Duration duration) {
    const MonotonicTime target = saturatingAdd(now(), duration);
    std::size_t count = 0;
    while (runNextDueBy(target)) ++count;
    std::lock_guard lock(mutex_);
    if (target > now_) now_ = target;
    return count;
}

bool VirtualExecutor::runUntil(const std::function<bool()>& done, Duration limit) {
    const MonotonicTime target = saturatingAdd(now(), limit);
    while (!done()) {
        if (!runNextDueBy(target)) {
            std::lock_guard lock(mutex_);
            if (target > now_) now_ = target;
            break;
        }
    }
    return done();
}

}  // namespace halvora
