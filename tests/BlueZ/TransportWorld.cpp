#include "BlueZ/TransportWorld.hpp"

#include <fstream>
#include <thread>

#include "BlueZ/BlueZWorld.hpp"
#include "halvora/Transport/Peripheral.hpp"

namespace halvora::test {

bool waitUntil(const std::function<bool()>& done, Duration limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

TransportWorld::TransportWorld(const std::vector<std::string>& doubleArguments, const std::string& lab, bool withDouble,
                               const std::function<void(BlueZOptions&)>& adjust) {
    const auto labFile = bus.folder().file("lab.json").string();
    std::ofstream(labFile) << lab;
    std::vector<std::string> arguments{"--lab", labFile};
    arguments.insert(arguments.end(), doubleArguments.begin(), doubleArguments.end());
    if (withDouble) started = bus.startDouble(arguments);
    auto options = testOptions(bus);
    if (adjust) adjust(options);
    start(std::move(options));
}

TransportWorld::~TransportWorld() {
    central.reset();
    executor->shutdown();
    transport.reset();
}

void TransportWorld::start(BlueZOptions options) {
    transport = BlueZTransport::create(std::move(options), executor, log);
    central = transport->makeCentral(recorder, executor->makeQueue("test.cb"), {});
    waitUntil([&] { return recorder->countStartingWith("state") > 0; }, seconds(10));
}

std::shared_ptr<Peripheral> TransportWorld::connectAndDiscover(const BLEUUID& service, const std::string& name) {
    central->scanForPeripheralsWithServices({}, ScanOptions{true});
    if (!waitUntil([&] { return recorder->discovered(name) != nullptr; })) return nullptr;
    central->stopScan();
    auto peripheral = recorder->discovered(name);
    peripheral->setDelegate(recorder);
    central->connectPeripheral(peripheral, {});
    if (!waitUntil([&] { return recorder->count("connect") == 1; })) return nullptr;
    peripheral->discoverServices(std::nullopt);
    if (!waitUntil([&] { return recorder->count("services") == 1; })) return nullptr;
    for (const auto& candidate : peripheral->services()) {
        if (candidate->uuid() == service) peripheral->discoverCharacteristics({}, candidate);
    }
    if (!waitUntil([&] { return recorder->count("characteristics " + service.toString()) == 1; })) return nullptr;
    return peripheral;
}

std::shared_ptr<Characteristic> TransportWorld::characteristic(const std::shared_ptr<Peripheral>& peripheral,
                                                               const BLEUUID& uuid) {
    for (const auto& service : peripheral->services()) {
        if (auto found = service->characteristic(uuid)) return found;
    }
    return nullptr;
}

}  // namespace halvora::test
