#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace halvora::test {

/// A program the test starts and ends: started with extra environment variables, its standard output
/// readable line by line, ended with SIGTERM (SIGKILL when it does not go) at the latest when the object
/// goes, and killed by the system if the test process dies first.
class ChildProcess {
public:
    ChildProcess(std::vector<std::string> arguments, std::map<std::string, std::string> environment);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    bool isRunning() const { return pid_ > 0; }
    /// Waits for a line of output equal to `line`; false when the program ended or `limit` passed first.
    bool waitForLine(const std::string& line, std::chrono::milliseconds limit);
    /// Sends `signal` and waits for the program to end (SIGKILL after five seconds).
    void end(int signal);

private:
    pid_t pid_ = -1;
    int output_ = -1;
    std::string pending_;
};

}  // namespace halvora::test
