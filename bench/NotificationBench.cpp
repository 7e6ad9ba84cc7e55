// One notification from a virtual monitor through the lab's simulated link, the driver's parser and the
// manager's dispatch, to the application's delegate.
#include <benchmark/benchmark.h>

#include <filesystem>

#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Manager/HalvoraSDKManager.hpp"
#include "halvora/Runtime/VirtualExecutor.hpp"
#include "lab/Devices/Measurement/VirtualHeartDevice.hpp"
#include "lab/LabTransport.hpp"
#include "lab/Radio.hpp"

namespace {

using namespace halvora;

/// Counts the cuff pressures the application receives.
class CountingApplication : public HalvoraSDKManagerDelegate {
public:
    void heartDeviceOnProgressMeasurement(std::int32_t) override { ++progress; }
    std::int64_t progress = 0;
};

/// A manager with one connected, ready first-generation monitor, in virtual time.
struct ConnectedMonitor {
    std::shared_ptr<VirtualExecutor> executor = VirtualExecutor::create();
    std::shared_ptr<lab::Radio> radio = std::make_shared<lab::Radio>(executor, 1);
    std::shared_ptr<lab::VirtualHeartDevice> monitor = lab::VirtualHeartDevice::make("6F1C2D3E-0000-4000-8000-0000000000B1");
    std::shared_ptr<HalvoraSDKManager> manager;
    std::shared_ptr<CountingApplication> app = std::make_shared<CountingApplication>();
    std::filesystem::path preferences = std::filesystem::temp_directory_path() / "halvora-bench.prefs";

    ConnectedMonitor() {
        radio->addPeripheral(monitor);
        manager = HalvoraSDKManager::create(ManagerEnvironment{executor, std::make_shared<lab::LabTransport>(radio),
                                                              std::make_shared<PreferenceUtils>(preferences),
                                                              Log::makeSilent(), "179"});
        manager->setDelegate(app);
        manager->initCentralManagerWithoutBackgroundMode();
        executor->runUntilIdle();
        manager->connectDevice(DeviceTypeHeart, 30);
        executor->runUntil([&] { return manager->isDeviceConnected(DeviceTypeHeart); }, seconds(10));
        executor->advance(seconds(1));
    }
    ~ConnectedMonitor() {
        manager->disconnectDevice(DeviceTypeHeart);
        executor->advance(seconds(1));
        executor->dropPending();
        std::filesystem::remove(preferences);
    }
};

void BM_NotificationToDelegate(benchmark::State& state) {
    ConnectedMonitor world;
    const std::vector<std::uint8_t> pressure = {0xFD, 0xFD, 0xFB, 0x00, 0x78};
    const BLEUUID notifying("FFF1");
    for (auto _ : state) {
        for (int i = 0; i < state.range(0); ++i) world.monitor->notify(notifying, pressure);
        world.executor->advance(std::chrono::milliseconds(10));
    }
    if (world.app->progress != state.iterations() * state.range(0)) state.SkipWithError("notifications were lost");
    state.counters["per_event"] = benchmark::Counter(static_cast<double>(state.iterations() * state.range(0)),
                                                     benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_NotificationToDelegate)->Arg(1)->Arg(100);

}  // namespace
