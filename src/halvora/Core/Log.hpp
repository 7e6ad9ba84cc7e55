#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace halvora {

/// Plain log lines without levels. The default sink is the system log (syslog); an application, the CLI
/// and each test may install a sink of their own. Safe to use from any thread; the sink is called
/// under the log's lock, so it is never called concurrently with itself
/// (a sink must not write to the same log).
class Log {
public:
    /// Receives each line as it was written, one call per line.
    using Sink = std::function<void(const std::string& line)>;

    /// A log that writes to the system log.
    Log() = default;
    /// A log that writes to `sink` (an empty sink means the system log).
    explicit Log(Sink sink);

    /// A log that drops every line; nothing is formatted, so a quiet kit costs no time in its log calls
    /// (the CLI without --verbose, tests, soak and fuzz runs).
    static std::shared_ptr<Log> makeSilent();
    /// True for a log that drops every line: callers may skip building a costly argument.
    bool isSilent() const { return silent_.load(std::memory_order_relaxed); }

    /// The process-wide log that the kit writes to unless a manager's environment names another one.
    static Log& shared();

    /// Makes this log drop every line from now on (see makeSilent).
    void silence();
    /// Replaces the sink (a silent log then writes again); an empty sink restores the system log.
    void setSink(Sink sink);
    /// Writes one line.
    void write(const std::string& line) const;
    /// Writes one printf-formatted line.
    void writef(const char* fmt, ...) const __attribute__((format(printf, 2, 3)));

private:
    mutable std::mutex mutex_;
    std::atomic<bool> silent_{false};
    std::shared_ptr<Sink> sink_;
};

}  // namespace halvora
