#include "BlueZ/ChildProcess.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <thread>

extern char** environ;

namespace halvora::test {

namespace {

std::vector<std::string> mergedEnvironment(const std::map<std::string, std::string>& extra) {
    std::vector<std::string> merged;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        const auto name = text.substr(0, text.find('='));
        if (extra.count(name) == 0) merged.push_back(text);
    }
    for (const auto& [name, value] : extra) merged.push_back(name + "=" + value);
    return merged;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> list;
    for (auto& text : texts) list.push_back(text.data());
    list.push_back(nullptr);
    return list;
}

}  // namespace

ChildProcess::ChildProcess(std::vector<std::string> arguments, std::map<std::string, std::string> environment) {
    int pipeFds[2];
    if (::pipe2(pipeFds, O_CLOEXEC) != 0) return;
    auto env = mergedEnvironment(environment);
    auto argv = pointers(arguments);
    auto envp = pointers(env);
    const pid_t parent = ::getpid();
    const pid_t pid = ::fork();
    if (pid == 0) {
        // Only async-signal-safe calls until exec. The child goes when the test does, even when the test
        // dies without its destructors, so that nothing holds the test's output open.
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent) ::_exit(127);
        ::dup2(pipeFds[1], STDOUT_FILENO);
        ::execve(argv[0], argv.data(), envp.data());
        ::_exit(127);
    }
    if (pid > 0) pid_ = pid;
    ::close(pipeFds[1]);
    output_ = pipeFds[0];
}

ChildProcess::~ChildProcess() {
    end(SIGTERM);
    if (output_ >= 0) ::close(output_);
}

bool ChildProcess::waitForLine(const std::string& line, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        const auto newline = pending_.find('\n');
        if (newline != std::string::npos) {
            const std::string got = pending_.substr(0, newline);
            pending_.erase(0, newline + 1);
            if (got == line) return true;
            continue;
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || output_ < 0) return false;
        pollfd fd{output_, POLLIN, 0};
        if (::poll(&fd, 1, static_cast<int>(left.count())) <= 0) return false;
        char buffer[256];
        const auto count = ::read(output_, buffer, sizeof buffer);
        if (count <= 0) return false;
        pending_.append(buffer, static_cast<std::size_t>(count));
    }
}

void ChildProcess::end(int signal) {
    if (pid_ <= 0) return;
    ::kill(pid_, signal);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    int status = 0;
    while (::waitpid(pid_, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, &status, 0);
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    pid_ = -1;
}

}  // namespace halvora::test
