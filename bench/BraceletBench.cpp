// One history download of 10,000 items from the virtual text-command bracelet: its packages, split into
// 20-byte notifications, through the lab's link and the driver's transfer and decoders, to the
// application's delegate. The figure is per item delivered, the virtual bracelet's own work included.
#include <benchmark/benchmark.h>

#include <filesystem>

#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Manager/HalvoraSDKManager.hpp"
#include "halvora/Runtime/VirtualExecutor.hpp"
#include "lab/Devices/Bracelet/VirtualBracelet.hpp"
#include "lab/LabTransport.hpp"
#include "lab/Radio.hpp"

namespace {

using namespace halvora;

/// Counts the records of every download the application receives.
class CountingBraceletApplication : public HalvoraBraceletDelegate {
public:
    void braceletSyncReceived(const HalvoraSDKBraceletData& data) override {
        ++downloads;
        records += static_cast<std::int64_t>(data.stepsData.size() + data.sleepData.size() + data.heartData.size());
    }
    std::int64_t downloads = 0;
    std::int64_t records = 0;
};

/// A manager with one connected, ready bracelet, in virtual time.
struct ConnectedBracelet {
    std::shared_ptr<VirtualExecutor> executor = VirtualExecutor::create();
    std::shared_ptr<lab::Radio> radio = std::make_shared<lab::Radio>(executor, 1);
    std::shared_ptr<lab::VirtualBracelet> bracelet = lab::VirtualBracelet::make("6F1C2D3E-0000-4000-8000-0000000000B2");
    std::shared_ptr<HalvoraSDKManager> manager;
    std::shared_ptr<CountingBraceletApplication> app = std::make_shared<CountingBraceletApplication>();
    std::filesystem::path preferences = std::filesystem::temp_directory_path() / "halvora-bracelet-bench.prefs";

    ConnectedBracelet() {
        radio->addPeripheral(bracelet);
        manager = HalvoraSDKManager::create(ManagerEnvironment{
            executor, std::make_shared<lab::LabTransport>(radio), std::make_shared<PreferenceUtils>(preferences),
            Log::makeSilent(), "179"});
        manager->setBraceletDelegate(app);
        manager->initCentralManagerWithoutBackgroundMode();
        executor->runUntilIdle();
        manager->connectDevice(DeviceTypeBracelet, 30);
        executor->runUntil([&] { return manager->isDeviceConnected(DeviceTypeBracelet); }, seconds(10));
        executor->advance(seconds(1));
    }
    ~ConnectedBracelet() {
        manager->disconnectDevice(DeviceTypeBracelet);
        executor->advance(seconds(1));
        executor->dropPending();
        std::filesystem::remove(preferences);
    }

    /// Downloads until `downloads` deliveries have arrived in all.
    bool download(std::int64_t downloads) {
        manager->synchronizeBraceletHistoryData();
        return executor->runUntil([&] { return app->downloads >= downloads; }, seconds(3600));
    }
};

void BM_BraceletHistoryDownload(benchmark::State& state) {
    const auto items = static_cast<std::size_t>(state.range(0));
    ConnectedBracelet world;
    const auto history = lab::BraceletHistory::large(items, *lab::BraceletTime::parse("2026-11-20 23:50"));
    std::int64_t expected = 0;
    for (auto _ : state) {
        state.PauseTiming();
        world.bracelet->addHistory(history);
        state.ResumeTiming();
        // The download, then the second one that brings the records of its last package.
        if (!world.download(world.app->downloads + 1) || !world.download(world.app->downloads + 1)) {
            state.SkipWithError("the download did not finish");
            return;
        }
        expected += state.range(0);
    }
    if (world.app->records != expected) state.SkipWithError("records were lost");
    state.counters["per_item"] =
        benchmark::Counter(static_cast<double>(expected), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_BraceletHistoryDownload)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace
