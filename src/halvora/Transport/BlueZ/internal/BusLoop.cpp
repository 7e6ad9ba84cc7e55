#include "halvora/Transport/BlueZ/internal/BusLoop.hpp"

#include <poll.h>
#include <sdbus-c++/sdbus-c++.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <deque>
#include <exception>
#include <map>
#include <mutex>
#include <thread>

namespace halvora::bluez {

/// The state the loop thread shares with the handle. The thread holds it too, so the handle may go away
/// while the thread finishes its current task.
class BusLoopCore {
public:
    BusLoopCore(std::string name, Duration retryInterval)
        : name_(std::move(name)), retryInterval_(retryInterval), wakeFd_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
    ~BusLoopCore() {
        if (wakeFd_ >= 0) ::close(wakeFd_);
    }

    void run();
    void wake() const;
    void post(Task task);
    std::uint64_t postAfter(Duration delay, Task task);
    void cancel(std::uint64_t timer);
    void requestStop();
    void shutdownHere(const std::string& reason);
    void dropConnection(const std::string& reason);
    sdbus::IConnection* connection() const { return connection_.get(); }
    bool isLoopThread() const { return loopThread_.load() == std::this_thread::get_id(); }
    void setHooks(BusLoop::Hooks hooks) { hooks_ = std::move(hooks); }
    void setLoopThread(std::thread::id id) { loopThread_.store(id); }

private:
    using Clock = std::chrono::steady_clock;
    struct Timer {
        std::uint64_t id;
        Task task;
    };

    void tryOpen();
    bool runOneTask();
    void runDueTimers();
    void dispatchBus();
    void waitForWork();
    void drainWakeFd() const;
    int pollTimeoutMs(int busTimeoutMs) const;
    void guarded(const Task& work);
    void report(const std::string& what) const;

    const std::string name_;
    const Duration retryInterval_;
    const int wakeFd_;
    std::atomic<std::thread::id> loopThread_{};

    // Shared with other threads.
    mutable std::mutex mutex_;
    std::deque<Task> tasks_;
    std::multimap<Clock::time_point, Timer> timers_;
    std::uint64_t nextTimer_ = 1;
    bool stopRequested_ = false;

    // Loop thread only.
    BusLoop::Hooks hooks_;
    std::unique_ptr<sdbus::IConnection> connection_;
    Clock::time_point nextOpen_{};
    bool stopped_ = false;
};

void BusLoopCore::wake() const {
    if (wakeFd_ < 0) return;
    const std::uint64_t one = 1;
    // A full counter already means "wake up"; nothing else can go wrong with an eventfd write.
    [[maybe_unused]] const auto written = ::write(wakeFd_, &one, sizeof one);
}

void BusLoopCore::drainWakeFd() const {
    std::uint64_t count = 0;
    [[maybe_unused]] const auto read = ::read(wakeFd_, &count, sizeof count);
}

void BusLoopCore::post(Task task) {
    {
        std::lock_guard lock(mutex_);
        if (stopRequested_) return;
        tasks_.push_back(std::move(task));
    }
    wake();
}

std::uint64_t BusLoopCore::postAfter(Duration delay, Task task) {
    std::uint64_t id = 0;
    {
        std::lock_guard lock(mutex_);
        if (stopRequested_) return 0;
        id = nextTimer_++;
        timers_.emplace(Clock::now() + delay, Timer{id, std::move(task)});
    }
    wake();
    return id;
}

void BusLoopCore::cancel(std::uint64_t timer) {
    std::lock_guard lock(mutex_);
    for (auto it = timers_.begin(); it != timers_.end(); ++it) {
        if (it->second.id == timer) {
            timers_.erase(it);
            return;
        }
    }
}

void BusLoopCore::requestStop() {
    {
        std::lock_guard lock(mutex_);
        stopRequested_ = true;
    }
    wake();
}

void BusLoopCore::report(const std::string& what) const {
    if (!hooks_.failed) return;
    try {
        hooks_.failed(what);
    } catch (...) {
        // Reporting must never take the loop down.
    }
}

void BusLoopCore::guarded(const Task& work) {
    try {
        work();
    } catch (const sdbus::Error& error) {
        report(name_ + ": " + error.getName() + ": " + error.getMessage());
    } catch (const std::exception& error) {
        report(name_ + ": " + error.what());
    } catch (...) {
        report(name_ + ": unknown exception");
    }
}

void BusLoopCore::dropConnection(const std::string& reason) {
    if (!connection_) return;
    if (hooks_.closing) guarded([&] { hooks_.closing(reason); });
    connection_.reset();
    nextOpen_ = Clock::now() + retryInterval_;
}

void BusLoopCore::shutdownHere(const std::string& reason) {
    if (stopped_) return;
    stopped_ = true;
    {
        std::lock_guard lock(mutex_);
        stopRequested_ = true;
    }
    dropConnection(reason);
    hooks_ = {};
    std::deque<Task> tasks;
    std::multimap<Clock::time_point, Timer> timers;
    {
        std::lock_guard lock(mutex_);
        tasks.swap(tasks_);
        timers.swap(timers_);
    }
    // Dropped outside the lock: their captures may post (and posting takes the lock).
}

void BusLoopCore::tryOpen() {
    if (connection_ || Clock::now() < nextOpen_ || !hooks_.open) return;
    nextOpen_ = Clock::now() + retryInterval_;
    try {
        connection_ = hooks_.open();
    } catch (const sdbus::Error& error) {
        connection_.reset();
        const std::string reason = error.getMessage().empty() ? error.getName() : error.getMessage();
        if (hooks_.openFailed) guarded([&] { hooks_.openFailed(reason); });
        return;
    } catch (const std::exception& error) {
        connection_.reset();
        if (hooks_.openFailed) guarded([&] { hooks_.openFailed(error.what()); });
        return;
    }
    if (!connection_) return;
    if (hooks_.opened) {
        try {
            hooks_.opened(*connection_);
        } catch (const sdbus::Error& error) {
            dropConnection(error.getName() + ": " + error.getMessage());
        } catch (const std::exception& error) {
            dropConnection(error.what());
        }
    }
}

bool BusLoopCore::runOneTask() {
    Task task;
    {
        std::lock_guard lock(mutex_);
        if (tasks_.empty() || stopRequested_) return false;
        task = std::move(tasks_.front());
        tasks_.pop_front();
    }
    guarded(task);
    return true;
}

void BusLoopCore::runDueTimers() {
    for (;;) {
        Task task;
        {
            std::lock_guard lock(mutex_);
            if (timers_.empty() || stopRequested_ || timers_.begin()->first > Clock::now()) return;
            task = std::move(timers_.begin()->second.task);
            timers_.erase(timers_.begin());
        }
        guarded(task);
    }
}

void BusLoopCore::dispatchBus() {
    if (!connection_) return;
    try {
        // Bounded, so that a flood on the bus cannot starve posted tasks.
        for (int i = 0; i < 256 && connection_ && connection_->processPendingRequest(); ++i) {
        }
    } catch (const sdbus::Error& error) {
        dropConnection(error.getMessage().empty() ? error.getName() : error.getMessage());
    }
}

int BusLoopCore::pollTimeoutMs(int busTimeoutMs) const {
    using std::chrono::duration_cast;
    using std::chrono::milliseconds;
    auto limit = Clock::time_point::max();
    {
        std::lock_guard lock(mutex_);
        if (!tasks_.empty() || stopRequested_) return 0;
        if (!timers_.empty()) limit = timers_.begin()->first;
    }
    if (!connection_ && hooks_.open) limit = std::min(limit, nextOpen_);
    int timeout = -1;
    if (limit != Clock::time_point::max()) {
        const auto left = duration_cast<milliseconds>(limit - Clock::now()).count() + 1;
        timeout = static_cast<int>(std::clamp<long long>(left, 0, 60'000));
    }
    if (busTimeoutMs >= 0 && (timeout < 0 || busTimeoutMs < timeout)) timeout = busTimeoutMs;
    return timeout;
}

void BusLoopCore::waitForWork() {
    pollfd fds[2] = {{wakeFd_, POLLIN, 0}, {-1, 0, 0}};
    int busTimeout = -1;
    nfds_t count = 1;
    if (connection_) {
        try {
            const auto data = connection_->getEventLoopPollData();
            fds[1] = {data.fd, data.events, 0};
            busTimeout = data.getPollTimeout();
            count = 2;
        } catch (const sdbus::Error& error) {
            dropConnection(error.getMessage());
        }
    }
    const int ready = ::poll(fds, count, pollTimeoutMs(busTimeout));
    if (ready > 0 && (fds[0].revents & POLLIN) != 0) drainWakeFd();
}

void BusLoopCore::run() {
    for (;;) {
        {
            std::lock_guard lock(mutex_);
            if (stopRequested_) break;
        }
        tryOpen();
        dispatchBus();
        // A bounded batch of tasks per round keeps the bus served under a stream of posts.
        for (int i = 0; i < 64 && runOneTask(); ++i) {
        }
        runDueTimers();
        if (stopped_) return;
        waitForWork();
    }
    shutdownHere("the loop stops");
}

// ---------------------------------------------------------------- handle

BusLoop::BusLoop(std::string name, Duration retryInterval)
    : core_(std::make_shared<BusLoopCore>(std::move(name), retryInterval)) {}

BusLoop::~BusLoop() {
    stop();
}

void BusLoop::start(Hooks hooks) {
    core_->setHooks(std::move(hooks));
    auto core = core_;
    std::thread thread([core] {
        core->setLoopThread(std::this_thread::get_id());
        core->run();
    });
    thread_ = std::move(thread);
}

void BusLoop::stop() {
    if (!thread_.joinable()) return;
    if (thread_.get_id() == std::this_thread::get_id()) {
        core_->shutdownHere("the loop stops");
        thread_.detach();
        return;
    }
    core_->requestStop();
    thread_.join();
}

void BusLoop::post(Task task) {
    core_->post(std::move(task));
}

std::uint64_t BusLoop::postAfter(Duration delay, Task task) {
    return core_->postAfter(delay, std::move(task));
}

void BusLoop::cancel(std::uint64_t timer) {
    core_->cancel(timer);
}

sdbus::IConnection* BusLoop::connection() const {
    return core_->connection();
}

void BusLoop::dropConnection(const std::string& reason) {
    core_->dropConnection(reason);
}

bool BusLoop::isLoopThread() const {
    return core_->isLoopThread();
}

}  // namespace halvora::bluez
