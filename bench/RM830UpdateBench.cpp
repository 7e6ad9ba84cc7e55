// The RM830 bracelet's firmware update through the manager, over the lab's link model, in virtual time: the
// kit's 262144-byte test image from the first image packet to the bootloader's answer to the image, against
// the model's own limit for receipts every 10 packets (lab/LinkModel.hpp derives it). The counters are
// virtual-time figures: `bytes_per_second` measured, `limit` the model's, `of_limit` their ratio (goal:
// at least 0.95 at every interval). The wall time per iteration is the cost of simulating one update.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <mutex>
#include <optional>

#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Manager/HalvoraSDKManager.hpp"
#include "halvora/Runtime/VirtualExecutor.hpp"
#include "lab/Devices/RM830/VirtualRM830.hpp"
#include "lab/LabTransport.hpp"
#include "lab/LinkModel.hpp"
#include "lab/Radio.hpp"

namespace {

using namespace halvora;

/// Notes when the upload's first packets went and when the image was all sent, in the executor's time.
class UploadClock : public FirmwareUpdateObserver {
public:
    explicit UploadClock(std::shared_ptr<Executor> executor) : executor_(std::move(executor)) {}
    void firmwareUpdateProgress(const FirmwareUpdateProgress& progress) override {
        std::lock_guard lock(mutex_);
        if (progress.phase == FirmwareUpdatePhase::Uploading && !start) start = executor_->now();
        if (progress.phase == FirmwareUpdatePhase::Validating && !end) {
            end = executor_->now();
            bytes = progress.bytesSent;
        }
    }
    void firmwareUpdateFinished(const FirmwareUpdateOutcome& outcome) override {
        std::lock_guard lock(mutex_);
        succeeded = outcome.succeeded;
        finished = true;
    }
    std::optional<MonotonicTime> start, end;
    std::uint64_t bytes = 0;
    bool succeeded = false;
    bool finished = false;

private:
    std::shared_ptr<Executor> executor_;
    std::mutex mutex_;
};

struct UpdateRun {
    double seconds = 0;
    std::uint64_t bytes = 0;
    bool ok = false;
};

/// One whole update of an old lab bracelet over a link with this model.
UpdateRun updateOnce(const lab::LinkModel& model) {
    auto executor = VirtualExecutor::create();
    auto radio = std::make_shared<lab::Radio>(executor, 1);
    radio->setLinkModel(model);
    auto bracelet = lab::VirtualRM830::make("6F1C2D3E-0000-4000-8000-0000000008E0");
    lab::RM830Script script;
    script.version = "54.51.55.9";
    bracelet->setScript(script);
    radio->addPeripheral(bracelet);
    const auto preferences = std::filesystem::temp_directory_path() / "halvora-update-bench.prefs";
    auto manager = HalvoraSDKManager::create(ManagerEnvironment{executor, std::make_shared<lab::LabTransport>(radio),
                                                                std::make_shared<PreferenceUtils>(preferences),
                                                                Log::makeSilent(),
                                                                "179"});
    auto clock = std::make_shared<UploadClock>(executor);
    manager->setFirmwareUpdateObserver(clock);
    manager->initCentralManagerWithoutBackgroundMode();
    executor->runUntilIdle();
    manager->connectDevice(DeviceTypeBraceletRM830, 30);
    executor->runUntil([&] { return clock->finished; }, std::chrono::hours(2));
    UpdateRun run;
    run.ok = clock->succeeded && clock->start && clock->end;
    if (run.ok) {
        run.seconds = std::chrono::duration<double>(*clock->end - *clock->start).count();
        run.bytes = clock->bytes;
    }
    manager->disconnectDevice(DeviceTypeBraceletRM830DFU);
    executor->advance(seconds(5));
    executor->dropPending();
    std::filesystem::remove(preferences);
    return run;
}

void BM_RM830UpdateThroughput(benchmark::State& state) {
    lab::LinkModel model;
    model.connectionInterval = std::chrono::microseconds(state.range(0));
    model.packetsPerEvent = 4;
    UpdateRun run;
    for (auto _ : state) {
        run = updateOnce(model);
        if (!run.ok) {
            state.SkipWithError("the update did not succeed");
            return;
        }
    }
    const double measured = static_cast<double>(run.bytes) / run.seconds;
    const double limit = model.uploadLimit(10);
    state.counters["interval_ms"] = static_cast<double>(state.range(0)) / 1000;
    state.counters["bytes_per_second"] = measured;
    state.counters["limit"] = limit;
    state.counters["of_limit"] = measured / limit;
}
BENCHMARK(BM_RM830UpdateThroughput)->Arg(7500)->Arg(15000)->Arg(30000)->Arg(50000)->Unit(benchmark::kMillisecond);

}  // namespace
