#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "halvora/Runtime/Task.hpp"

namespace sdbus {
class IConnection;
}

namespace halvora::bluez {

class BusLoopCore;

/// One D-Bus connection and the one thread that touches it.
///
/// sd-bus connections are not thread-safe, so every use of the connection (calls, replies, signals, the
/// objects and proxies made on it, and finally its destruction) happens on the loop's own thread. Other
/// threads hand work to it with post(). The thread waits in poll() on the bus and on a wake-up descriptor,
/// dispatches what arrived, runs posted tasks and due timers, and opens the connection again after it was
/// lost (every `retryInterval`).
///
/// Hooks run on the loop thread. A task or hook that throws is caught and reported through `failed`.
/// Callbacks registered on the connection must not own what owns the loop: the last owner letting go
/// inside a bus callback would destroy the connection under its own dispatch.
class BusLoop {
public:
    struct Hooks {
        /// Opens the connection (throws sdbus::Error when the bus cannot be reached).
        std::function<std::unique_ptr<sdbus::IConnection>()> open;
        /// The connection is open: add matches, make objects, start the first calls.
        std::function<void(sdbus::IConnection&)> opened;
        /// Opening failed; the loop tries again after the retry interval.
        std::function<void(const std::string& reason)> openFailed;
        /// The connection is about to be destroyed (lost, or the loop stops): drop every proxy, object and
        /// slot made on it.
        std::function<void(const std::string& reason)> closing;
        /// A task, timer or hook threw.
        std::function<void(const std::string& what)> failed;
    };

    BusLoop(std::string name, Duration retryInterval);
    /// Stops the loop (see stop()).
    ~BusLoop();
    BusLoop(const BusLoop&) = delete;
    BusLoop& operator=(const BusLoop&) = delete;

    /// Starts the thread; the first thing it does is open the connection.
    void start(Hooks hooks);
    /// Closes the connection (running `closing`) and ends the thread. From another thread it waits for the
    /// thread to end; from the loop thread itself it closes at once and the thread ends after the current
    /// task. Idempotent.
    void stop();

    /// Runs `task` on the loop thread, in order with every other posted task. Any thread.
    void post(Task task);
    /// Runs `task` on the loop thread after `delay`. Returns an id for cancel(). Any thread.
    std::uint64_t postAfter(Duration delay, Task task);
    /// Forgets a timer that has not run yet. Any thread.
    void cancel(std::uint64_t timer);

    /// The open connection, or null. Loop thread only.
    sdbus::IConnection* connection() const;
    /// Drops the connection after a failure the caller detected (runs `closing`); the loop opens a new one
    /// after the retry interval. Loop thread only.
    void dropConnection(const std::string& reason);
    bool isLoopThread() const;

private:
    std::shared_ptr<BusLoopCore> core_;
    std::thread thread_;
};

}  // namespace halvora::bluez
