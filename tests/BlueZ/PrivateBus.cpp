#include "BlueZ/PrivateBus.hpp"

#include <signal.h>

#include <filesystem>
#include <thread>

namespace halvora::test {

namespace {

// The double may take a while to start under the sanitizers.
constexpr std::chrono::milliseconds kStartLimit{20000};

}  // namespace

PrivateBus::PrivateBus() {
    startBus();
}

PrivateBus::~PrivateBus() {
    double_.reset();
    daemon_.reset();
}

bool PrivateBus::startBus() {
    std::filesystem::remove(folder_.file("bus"));
    daemon_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{HALVORA_DBUS_DAEMON, std::string("--config-file=") + HALVORA_PRIVATE_BUS_CONF,
                                 "--address=" + address(), "--nofork", "--nopidfile"},
        std::map<std::string, std::string>{});
    // The socket is there once the daemon listens.
    const auto deadline = std::chrono::steady_clock::now() + kStartLimit;
    while (!std::filesystem::exists(folder_.file("bus"))) {
        if (std::chrono::steady_clock::now() > deadline || !daemon_->isRunning()) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

void PrivateBus::stopBus() {
    daemon_.reset();
}

bool PrivateBus::startDouble(const std::vector<std::string>& arguments) {
    std::vector<std::string> argv{HALVORA_BLUEZ_DOUBLE};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    double_ = std::make_unique<ChildProcess>(
        argv, std::map<std::string, std::string>{{"DBUS_SYSTEM_BUS_ADDRESS", address()}});
    return double_->waitForLine("ready", kStartLimit);
}

void PrivateBus::stopDouble(int signal) {
    if (double_) double_->end(signal);
    double_.reset();
}

}  // namespace halvora::test
