// Soak: every virtual device of the lab turned hostile, one family at a time, through the manager on the
// virtual executor. Each event is one of: a frame of random bytes the device sends (mangled further by the
// lab's hostile mode: cut, oversized, duplicated, reordered, floods, lost, links dropped), one of the
// family's facade calls, a step of time, a dropped link, Bluetooth switched off and on, a connect request.
// Checks: nothing crashes; resident memory grows less than 1 MiB from the first tenth of the run to its
// end; once the device behaves again and every time-out has passed, every command queue is empty and a
// new connect request reaches "ready" (nothing is wedged). Prints its figures, one line per family.
//
//   halvora_soak_hostile [--events N] [--seed S] [--family CLASS]
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "LabCatalog.hpp"
#include "halvora/Core/Log.hpp"
#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Devices/Bracelet/HalvoraSDKBracelet.hpp"
#include "halvora/Devices/RM830/HalvoraSDKBraceletRM830.hpp"
#include "halvora/Manager/HalvoraSDKManager.hpp"
#include "halvora/Runtime/VirtualExecutor.hpp"
#include "lab/LabTransport.hpp"
#include "lab/Radio.hpp"

namespace halvora::soak {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr long kMaxGrowthBytes = 1024 * 1024;

long residentBytes() {
    std::ifstream statm("/proc/self/statm");
    long size = 0;
    long resident = 0;
    statm >> size >> resident;
    return resident * ::sysconf(_SC_PAGESIZE);
}

/// The facade calls that make each family talk (the manager ignores those of other kinds).
std::vector<std::function<void(HalvoraSDKManager&, DeviceKind)>> facadeCalls() {
    return {
        [](HalvoraSDKManager& m, DeviceKind kind) { (void)m.startMeasurement(kind); },
        [](HalvoraSDKManager& m, DeviceKind kind) { m.checkBatteryLevel(kind); },
        [](HalvoraSDKManager& m, DeviceKind) { (void)m.sendThermometerCommand(1); },
        [](HalvoraSDKManager& m, DeviceKind) { m.synchronizeBraceletHistoryData(); },
        [](HalvoraSDKManager& m, DeviceKind) { m.getBraceletCurrentSteps(); },
        [](HalvoraSDKManager& m, DeviceKind) { m.getBraceletHeartBeat(); },
        [](HalvoraSDKManager& m, DeviceKind) { m.configureBraceletStepTarget(8000); },
        [](HalvoraSDKManager& m, DeviceKind) { m.getBraceletRM830TodayData(); },
        [](HalvoraSDKManager& m, DeviceKind) { m.getBraceletRM830HistoryData(1); },
        [](HalvoraSDKManager& m, DeviceKind) { m.getBraceletRM830HeartRateSync(); },
        [](HalvoraSDKManager& m, DeviceKind) { m.setBraceletRM830RealtimeHREnabled(true); },
        [](HalvoraSDKManager& m, DeviceKind) { m.configureBraceletRM830StepsGoal(9000); },
    };
}

/// Commands still waiting in the driver's queue (drivers with a command queue only).
std::size_t waitingCommands(const std::shared_ptr<BLEDevice>& driver) {
    if (auto bracelet = std::dynamic_pointer_cast<HalvoraSDKBracelet>(driver)) {
        return bracelet->commandQueue().pendingCount();
    }
    if (auto rm830 = std::dynamic_pointer_cast<HalvoraSDKBraceletRM830>(driver))
        return rm830->commandQueue().pendingCount();
    return 0;
}

struct Outcome {
    bool ok = true;
    std::string line;
};

Outcome soakFamily(const cli::LabClass& labClass, long events, std::uint64_t seed) {
    auto executor = VirtualExecutor::create();
    auto radio = std::make_shared<lab::Radio>(executor, seed);
    auto log = Log::makeSilent();
    const auto file = std::filesystem::temp_directory_path() /
                      ("halvora-soak-" + std::to_string(::getpid()) + "-" + labClass.className);
    std::filesystem::remove(file);
    auto manager =
        HalvoraSDKManager::create(ManagerEnvironment{executor, std::make_shared<lab::LabTransport>(radio),
                                                     std::make_shared<PreferenceUtils>(file, log.get()), log, "179"});
    cli::LabDeviceSpec entry;
    entry.className = labClass.className;
    entry.identifier = "6F1C2D3E-0000-4000-8000-00000000500A";
    entry.script = labClass.defaultScript;
    auto device = labClass.make(entry);
    lab::LabFaults hostile;
    hostile.hostile = lab::HostileMode::all();
    device->setFaults(hostile);
    radio->addPeripheral(device);
    manager->initCentralManagerWithoutBackgroundMode();
    executor->runUntilIdle();

    std::vector<BLEUUID> characteristics;
    const auto gatt = device->gattTable();
    for (const auto& service : gatt.services()) {
        for (const auto& c : service.characteristics) characteristics.push_back(c.uuid);
    }
    const auto calls = facadeCalls();
    const DeviceKind kind = labClass.kind;
    std::mt19937_64 random(seed);
    auto below = [&](std::uint64_t n) { return static_cast<std::size_t>(random() % n); };

    const auto wallStart = std::chrono::steady_clock::now();
    const auto virtualStart = executor->now();
    long baseline = 0;
    long connectedEvents = 0;
    for (long event = 0; event < events; ++event) {
        if (event == events / 10) baseline = residentBytes();
        const std::size_t roll = below(100);
        if (roll < 70) {
            std::vector<std::uint8_t> frame(below(8) == 0 ? below(300) : below(24));
            for (auto& b : frame) b = static_cast<std::uint8_t>(random());
            if (!characteristics.empty()) device->notify(characteristics[below(characteristics.size())], frame);
        } else if (roll < 80) {
            calls[below(calls.size())](*manager, kind);
        } else if (roll < 92) {
            executor->advance(milliseconds(below(2000)));
        } else if (roll < 95) {
            device->dropLink();
        } else if (roll < 96) {
            radio->setPoweredOn(false);
            executor->runUntilIdle();
            radio->setPoweredOn(true);
        } else {
            executor->advance(seconds(5));  // long enough for a detection round
        }
        executor->runUntilIdle();
        if (manager->isDeviceConnected(kind)) {
            ++connectedEvents;
        } else if (!manager->isPending(kind)) {
            manager->connectDevice(kind, 30);
        }
    }
    const long grown = residentBytes() - baseline;
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - wallStart).count();
    const double virtualHours = std::chrono::duration<double>(executor->now() - virtualStart).count() / 3600.0;

    // The device behaves again; after every time-out nothing may be left waiting, and it connects.
    device->setFaults({});
    executor->advance(seconds(130));
    const std::size_t waiting = waitingCommands(manager->driverForKind(kind));
    if (!manager->isDeviceConnected(kind)) manager->connectDevice(kind, 30);
    const bool reconnected =
        executor->runUntil([&] { return manager->getDeviceStatus(kind) == ConnectionStatusReady; }, seconds(60));

    const bool underSanitizer = std::getenv("HALVORA_SANITIZER") && *std::getenv("HALVORA_SANITIZER");
    Outcome outcome;
    outcome.ok = waiting == 0 && reconnected && (underSanitizer || grown < kMaxGrowthBytes);
    char line[256];
    std::snprintf(line, sizeof line,
                  "%-26s %8ld events (%3ld%% connected)  %6.1f h virtual  %6.1f s  rss %+5ld KiB%s  queue %zu  %s",
                  labClass.className.c_str(), events, connectedEvents * 100 / std::max(events, 1L), virtualHours, wall,
                  grown / 1024, underSanitizer ? " (not checked under a sanitizer)" : "", waiting,
                  reconnected ? "reconnected" : "NOT RECONNECTED");
    outcome.line = line;

    manager->stopScan();
    manager->disconnectDevice(kind);
    executor->advance(seconds(1));
    executor->dropPending();
    std::filesystem::remove(file);
    return outcome;
}

}  // namespace
}  // namespace halvora::soak

int main(int argc, char** argv) {
    long events = 1'000'000;
    std::uint64_t seed = 1;
    std::string only;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string flag = argv[i];
        if (flag == "--events") {
            events = std::atol(argv[i + 1]);
        } else if (flag == "--seed") {
            seed = std::strtoull(argv[i + 1], nullptr, 10);
        } else if (flag == "--family") {
            only = argv[i + 1];
        } else {
            std::fprintf(stderr, "usage: halvora_soak_hostile [--events N] [--seed S] [--family CLASS]\n");
            return 2;
        }
    }
    bool ok = true;
    for (const auto& labClass : halvora::cli::LabCatalog::classes()) {
        if (!only.empty() && labClass.className != only) continue;
        const auto outcome = halvora::soak::soakFamily(labClass, events, seed);
        std::printf("%s%s\n", outcome.ok ? "" : "FAILED ", outcome.line.c_str());
        std::fflush(stdout);
        ok = ok && outcome.ok;
    }
    return ok ? 0 : 1;
}
