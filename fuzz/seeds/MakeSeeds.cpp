// Writes the fuzz targets' seed corpora from what the lab's devices really send: each driver is connected
// through the manager to the virtual device that plays it, its commands are run once, and every
// notification that reaches it is recorded (with the time between events) into an event script of the
// driver harness's format. Run from the repository's root: halvora_fuzz_seeds fuzz/corpus
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "LabCatalog.hpp"
#include "LabFile.hpp"
#include "halvora/Core/Log.hpp"
#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Manager/HalvoraSDKManager.hpp"
#include "halvora/Runtime/VirtualExecutor.hpp"
#include "halvora/Transport/PeripheralDelegate.hpp"
#include "lab/LabTransport.hpp"
#include "lab/Radio.hpp"
#include "support/DriverFuzzer.hpp"
#include "support/FuzzEvents.hpp"
#include "support/FuzzInput.hpp"
#include "support/SinkApplication.hpp"

namespace halvora::fuzz {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;

/// Stands between the peripheral and its driver: passes every event on and writes the notifications into
/// the script, after a step of time for the gap since the previous event.
class Tap : public PeripheralDelegate {
public:
    Tap(std::shared_ptr<PeripheralDelegate> driver, const DriverTarget& target, std::shared_ptr<Executor> executor,
        std::vector<std::uint8_t>& script)
        : driver_(std::move(driver)),
          order_(characteristicOrder(target)),
          executor_(std::move(executor)),
          script_(script),
          last_(executor_->now()) {}

    void markTime() {
        const auto gap = duration_cast<milliseconds>(executor_->now() - last_).count();
        if (gap > 0) appendAdvance(script_, static_cast<int>(gap));
        last_ = executor_->now();
    }

    void peripheralDidDiscoverServices(const std::shared_ptr<Peripheral>& p, const OptionalError& e) override {
        if (auto d = driver_.lock()) d->peripheralDidDiscoverServices(p, e);
    }
    void peripheralDidDiscoverCharacteristicsForService(const std::shared_ptr<Peripheral>& p,
                                                        const std::shared_ptr<Service>& s,
                                                        const OptionalError& e) override {
        if (auto d = driver_.lock()) d->peripheralDidDiscoverCharacteristicsForService(p, s, e);
    }
    void peripheralDidWriteValueForDescriptor(const std::shared_ptr<Peripheral>& p,
                                              const std::shared_ptr<Characteristic>& c,
                                              const OptionalError& e) override {
        if (auto d = driver_.lock()) d->peripheralDidWriteValueForDescriptor(p, c, e);
    }
    void peripheralDidUpdateValueForCharacteristic(const std::shared_ptr<Peripheral>& p,
                                                   const std::shared_ptr<Characteristic>& c,
                                                   const std::vector<std::uint8_t>& value,
                                                   const OptionalError& e) override {
        record(c, value);
        if (auto d = driver_.lock()) d->peripheralDidUpdateValueForCharacteristic(p, c, value, e);
    }
    void peripheralDidWriteValueForCharacteristic(const std::shared_ptr<Peripheral>& p,
                                                  const std::shared_ptr<Characteristic>& c,
                                                  const OptionalError& e) override {
        if (auto d = driver_.lock()) d->peripheralDidWriteValueForCharacteristic(p, c, e);
    }

private:
    void record(const std::shared_ptr<Characteristic>& c, const std::vector<std::uint8_t>& value) {
        if (!c) return;
        for (std::size_t i = 0; i < order_.size(); ++i) {
            if (order_[i] != c->uuid()) continue;
            markTime();
            appendNotify(script_, static_cast<std::uint8_t>(i), value);
            return;
        }
    }

    std::weak_ptr<PeripheralDelegate> driver_;
    std::vector<BLEUUID> order_;
    std::shared_ptr<Executor> executor_;
    std::vector<std::uint8_t>& script_;
    MonotonicTime last_;
};

/// The script of one driver target, recorded against its lab twin.
std::vector<std::uint8_t> recordDriver(const DriverTarget& target) {
    auto executor = VirtualExecutor::create();
    auto radio = std::make_shared<lab::Radio>(executor, 1);
    auto transport = std::make_shared<lab::LabTransport>(radio);
    auto log = std::make_shared<Log>([](const std::string&) {});
    const auto file = std::filesystem::path(scratchFolder()) / ("seeds-" + target.name);
    std::filesystem::remove(file);
    auto preferences = std::make_shared<PreferenceUtils>(file, log.get());
    cli::LabDeviceSpec entry;
    entry.className = target.driverClass;
    entry.identifier = "6F1C2D3E-0000-4000-8000-0000000000E1";
    const auto* labClass = cli::LabCatalog::find(target.driverClass);
    if (!labClass) throw std::runtime_error("no lab device plays " + target.driverClass);
    entry.script = labClass->defaultScript;
    radio->addPeripheral(labClass->make(entry));

    auto manager = HalvoraSDKManager::create(ManagerEnvironment{executor, transport, preferences, log, "179"});
    auto sinks = installSinkDelegates(*manager);
    manager->initCentralManagerWithoutBackgroundMode();
    executor->runUntilIdle();

    std::vector<std::uint8_t> script;
    manager->connectDevice(labClass->kind, 30);
    if (!executor->runUntil([&] { return manager->driverForKind(labClass->kind) != nullptr; },
                            std::chrono::seconds(30))) {
        throw std::runtime_error(target.name + ": the lab device was not connected");
    }
    auto driver = manager->driverForKind(labClass->kind);
    auto tap = std::make_shared<Tap>(driver, target, executor, script);
    driver->device()->setDelegate(tap);
    executor->advance(std::chrono::seconds(3));

    const std::vector<std::uint8_t> zeros(64, 0);
    for (std::size_t i = 0; i < target.commands.size(); ++i) {
        tap->markTime();
        appendCommand(script, static_cast<std::uint8_t>(i), zeros);
        FuzzInput operands(zeros);
        auto queue = driver->context().callbackQueue;
        auto run = [&, i] { target.commands[i](*driver, operands); };
        if (queue) {
            queue->async(run);
        } else {
            run();
        }
        executor->advance(std::chrono::seconds(20));
    }
    executor->advance(std::chrono::seconds(10));
    manager->disconnectDevice(labClass->kind);
    executor->advance(std::chrono::seconds(1));
    executor->dropPending();
    return script;
}

void writeSeed(const std::filesystem::path& folder, const std::string& name, const std::vector<std::uint8_t>& bytes) {
    std::filesystem::create_directories(folder);
    std::ofstream out(folder / name, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    std::printf("%s/%s: %zu bytes\n", folder.string().c_str(), name.c_str(), bytes.size());
}


/// A preferences file with every key set, as the kit writes it.
std::vector<std::uint8_t> preferencesFile() {
    const auto file = std::filesystem::path(scratchFolder()) / "seed-preferences";
    std::filesystem::remove(file);
    Log silent([](const std::string&) {});
    {
        PreferenceUtils preferences(file, &silent);
        preferences.setCentralUUID("6F1C2D3E-0000-4000-8000-000000000001");
        preferences.setBraceletUUID("6F1C2D3E-0000-4000-8000-000000000002");
        preferences.setBraceletId(PreferenceUtils::Value(std::int64_t{7}));
        preferences.setUserHeight(180);
        preferences.setUserWeight(75.5);
        preferences.setWeightUnit("kg");
        preferences.setWeightGender(1);
        preferences.setWeightAge(40);
    }
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

/// Facade calls (operation 0) for every kind, with time to connect, measure and download in between.
std::vector<std::uint8_t> managerScript() {
    std::vector<std::uint8_t> script;
    for (std::uint8_t kind = 1; kind <= 12; ++kind) script.insert(script.end(), {0, 0, kind, 30});
    script.insert(script.end(), {2, 255, 2, 255});
    for (std::uint8_t call = 6; call < 17; ++call) script.insert(script.end(), {0, call, 1, 2, 255});
    script.insert(script.end(), {3, 0, 2, 200, 4, 0, 2, 10, 4, 1, 2, 255});
    return script;
}

}  // namespace
}  // namespace halvora::fuzz

int main(int argc, char** argv) {
    using namespace halvora::fuzz;
    const std::filesystem::path root = argc > 1 ? argv[1] : "fuzz/corpus";
    for (const auto& target : driverTargets()) {
        writeSeed(root / target.name, "lab-flow", recordDriver(target));
    }
    writeSeed(root / "manager_facade", "connect-every-kind", managerScript());
    writeSeed(root / "core_preferences", "every-key", preferencesFile());
    std::error_code ignored;
    for (const auto& lab : std::filesystem::directory_iterator("tests/cli/labs", ignored)) {
        std::ifstream in(lab.path(), std::ios::binary);
        std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        writeSeed(root / "lab_file", lab.path().filename().string(), bytes);
    }
    return 0;
}
