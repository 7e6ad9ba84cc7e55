#include "BlueZ/BlueZWorld.hpp"

#include <fstream>
#include <thread>

namespace halvora::test {

const char* const kMonitorLabIdentifier = "6F1C2D3E-0000-4000-8000-0000000000A1";
const char* const kOneMonitorLab = R"({
  "seed": 1,
  "devices": [
    { "class": "HalvoraSDKHeartDevice", "identifier": "6F1C2D3E-0000-4000-8000-0000000000A1", "rssi": -50,
      "script": { "systolic": 128, "diastolic": 84, "pulse": 66, "stepMs": 20 } }
  ]
})";

BlueZOptions testOptions(const PrivateBus& bus) {
    BlueZOptions options;
    options.busAddress = bus.address();
    options.reconnectInterval = std::chrono::milliseconds(200);
    return options;
}

BlueZWorld::BlueZWorld(const std::vector<std::string>& arguments, const std::string& lab)
    : labFile(bus.folder().file("lab.json").string()), doubleArguments(arguments) {
    std::ofstream(labFile) << lab;
    doubleArguments.insert(doubleArguments.begin(), {"--lab", labFile});
    doubleStarted = bus.startDouble(doubleArguments);
    executor = ThreadedExecutor::create();
    log = logs.log();
    transport = BlueZTransport::create(testOptions(bus), executor, log);
    preferences = std::make_shared<PreferenceUtils>(bus.folder().file("preferences"));
    manager = HalvoraSDKManager::create(ManagerEnvironment{executor, transport, preferences, log, "179"});
    app = std::make_shared<RecordingApplication>(executor);
    manager->setDelegate(app);
    manager->setDeviceDelegate(app);
    manager->setHeartDelegate(app);
    manager->setDevicesScanDelegate(app);
    manager->initCentralManagerWithoutBackgroundMode();
    if (!transport->probe(seconds(10))) waitFor([this] { return manager->isBluetoothOn(); }, seconds(5));
}

BlueZWorld::~BlueZWorld() {
    manager->stopScan();
    executor->shutdown();
    manager.reset();
    transport.reset();
}

bool BlueZWorld::waitFor(const std::function<bool()>& done, Duration limit) const {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

bool BlueZWorld::waitForEvent(const std::string& event, Duration limit) const {
    return waitFor([&] { return app->has(event); }, limit);
}

std::vector<std::string> BlueZWorld::logLines() const {
    return logs.lines();
}

bool BlueZWorld::logged(const std::string& text) const {
    for (const auto& line : logLines()) {
        if (line.find(text) != std::string::npos) return true;
    }
    return false;
}

bool BlueZWorld::restartDouble() {
    doubleStarted = bus.startDouble(doubleArguments);
    return doubleStarted;
}

}  // namespace halvora::test
