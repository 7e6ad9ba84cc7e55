#include "support/LabHarness.hpp"

#include <algorithm>

namespace halvora::test {

LabHarness::LabHarness(std::uint64_t seed, bool createCentral) {
    executor = VirtualExecutor::create();
    radio = std::make_shared<lab::Radio>(executor, seed);
    transport = std::make_shared<lab::LabTransport>(radio);
    preferences = std::make_shared<PreferenceUtils>(folder.file("preferences"));
    log = std::make_shared<Log>([this](const std::string& line) {
        std::lock_guard lock(logMutex_);
        logLines_.push_back(line);
    });
    manager = HalvoraSDKManager::create(ManagerEnvironment{executor, transport, preferences, log, "179"});
    app = std::make_shared<RecordingApplication>(executor);
    manager->setDelegate(app);
    manager->setDeviceDelegate(app);
    manager->setHeartDelegate(app);
    manager->setDevicesScanDelegate(app);
    if (createCentral) {
        manager->initCentralManagerWithoutBackgroundMode();
        executor->runUntilIdle();
    }
}

LabHarness::~LabHarness() {
    // Let the world wind down (links closed, scans stopped), then drop what is still scheduled: devices'
    // timers and the manager's delayed calls hold the pieces of the world and would keep them alive.
    manager->stopScan();
    for (DeviceKind kind = DeviceTypeHeart; kind <= kHighestDeviceKind; ++kind) {
        if (manager->driverForKind(kind)) manager->disconnectDevice(kind);
    }
    executor->advance(seconds(1));
    executor->dropPending();
}

bool LabHarness::runUntil(const std::function<bool()>& done, Duration limit) { return executor->runUntil(done, limit); }

bool LabHarness::runUntilEvent(const std::string& event, Duration limit) {
    return runUntil([&] { return app->has(event); }, limit);
}

long long LabHarness::nowMs() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(executor->elapsed()).count();
}

std::vector<std::string> LabHarness::logLines() const {
    std::lock_guard lock(logMutex_);
    return logLines_;
}

bool LabHarness::logged(const std::string& line) const {
    auto lines = logLines();
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

}  // namespace halvora::test
