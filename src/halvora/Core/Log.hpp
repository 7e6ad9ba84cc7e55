#pragma once

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

    /// The process-wide log that the kit writes to unless a manager's environment names another one.
    static Log& shared();

    /// Replaces the sink; an empty sink restores the system log.
    void setSink(Sink sink);
    /// Writes one line.
    void write(const std::string& line) const;
    /// Writes one printf-formatted line.
    void writef(const char* fmt, ...) const __attribute__((format(printf, 2, 3)));

private:
    mutable std::mutex mutex_;
    std::shared_ptr<Sink> sink_;
};

}  // namespace halvora
