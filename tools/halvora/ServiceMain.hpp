#pragma once

// The main loop of the tool's helper programs that serve until they are stopped (the BlueZ double, the
// real-stack peripheral bridge): they print "ready" once serving, and run until SIGTERM or SIGINT, or until
// the service reports a failure.
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <string>

namespace halvora::cli {

/// Blocks the stop signals (SIGTERM, SIGINT, and SIGUSR1 for a failure) in this thread and in every thread
/// started from here on, so that only serveUntilStopped() receives them. Call it before any thread starts.
inline sigset_t blockStopSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

/// Starts `service` (its `start(ready, failed)`), prints "ready" on stdout when it serves, waits for a stop
/// signal or a failure (printed as "`program`: reason" on stderr), stops it, and returns the exit status:
/// 0 when stopped, 1 after a failure.
template <typename Service>
int serveUntilStopped(const char* program, Service& service, const sigset_t& signals) {
    static std::atomic<int> status{0};
    service.start(
        [] {
            std::printf("ready\n");
            std::fflush(stdout);
        },
        [program](const std::string& reason) {
            std::fprintf(stderr, "%s: %s\n", program, reason.c_str());
            status = 1;
            kill(getpid(), SIGUSR1);
        });
    int received = 0;
    sigwait(&signals, &received);
    service.stop();
    return status.load();
}

}  // namespace halvora::cli
