// The manager with one to three virtual devices of the default lab in range: facade calls interleaved with
// frames the devices send (any bytes, on any of their characteristics), links dropped, Bluetooth switched off
// and on, time stepped (up to 65 s a step). Script: a byte that says how many devices are in range (1 to 3)
// and one byte for each that picks it among the default lab's devices; then operations, each an operation
// byte (modulo 6) and its operands, as for the driver targets. The devices advertise once a second, as many
// health devices do: a scan that runs while time passes is most of this target's cost.
#include <filesystem>

#include "LabCatalog.hpp"
#include "LabFile.hpp"
#include "halvora/Core/Log.hpp"
#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Manager/HalvoraSDKManager.hpp"
#include "halvora/Runtime/VirtualExecutor.hpp"
#include "lab/LabTransport.hpp"
#include "lab/Radio.hpp"
#include "support/DriverFuzzer.hpp"
#include "support/FuzzInput.hpp"
#include "support/SinkApplication.hpp"

namespace halvora::fuzz {
namespace {

using FacadeCall = std::function<void(HalvoraSDKManager&, FuzzInput&)>;

constexpr std::uint8_t kMaxDevicesInRange = 3;
constexpr Duration kAdvertisingInterval = std::chrono::seconds(1);

DeviceKind kindFrom(FuzzInput& input) {
    return static_cast<DeviceKind>(static_cast<int>(input.byte() % 13) - 1);  // -1 .. 11: unknown kinds too
}

const std::vector<FacadeCall>& facadeCalls() {
    static const std::vector<FacadeCall> calls = {
        [](HalvoraSDKManager& m, FuzzInput& in) { m.connectDevice(kindFrom(in), in.byte()); },
        [](HalvoraSDKManager& m, FuzzInput& in) { m.disconnectDevice(kindFrom(in)); },
        [](HalvoraSDKManager& m, FuzzInput&) { m.disconnectDevice(); },
        [](HalvoraSDKManager& m, FuzzInput&) { m.scanAllDevices(); },
        [](HalvoraSDKManager& m, FuzzInput&) { m.stopScan(); },
        [](HalvoraSDKManager& m, FuzzInput&) { m.checkBracelet(); },
        [](HalvoraSDKManager& m, FuzzInput& in) { (void)m.startMeasurement(kindFrom(in)); },
        [](HalvoraSDKManager& m, FuzzInput& in) { m.checkBatteryLevel(kindFrom(in)); },
        [](HalvoraSDKManager& m, FuzzInput& in) { (void)m.getDeviceStatus(kindFrom(in)); },
        [](HalvoraSDKManager& m, FuzzInput& in) { (void)m.sendThermometerCommand(in.integer()); },
        [](HalvoraSDKManager& m, FuzzInput& in) {
            m.setWeightScaleParams(in.flag() ? "lb" : "kg", in.byte(), in.byte(), in.byte());
        },
        [](HalvoraSDKManager& m, FuzzInput&) { m.synchronizeBraceletHistoryData(); },
        [](HalvoraSDKManager& m, FuzzInput&) { m.getBraceletCurrentSteps(); },
        [](HalvoraSDKManager& m, FuzzInput&) { m.getBraceletHeartBeat(); },
        [](HalvoraSDKManager& m, FuzzInput&) { m.getBraceletBattery(); },
        [](HalvoraSDKManager& m, FuzzInput& in) { m.configureBraceletStepTarget(in.integer()); },
        [](HalvoraSDKManager& m, FuzzInput& in) { m.sendBraceletStartOrFinishExercise(in.byte()); },
        [](HalvoraSDKManager& m, FuzzInput&) { m.getBraceletRM830TodayData(); },
        [](HalvoraSDKManager& m, FuzzInput& in) { m.getBraceletRM830HistoryData(in.byte()); },
        [](HalvoraSDKManager& m, FuzzInput&) { m.getBraceletRM830HeartRateSync(); },
        [](HalvoraSDKManager& m, FuzzInput& in) { m.setBraceletRM830RealtimeHREnabled(in.flag()); },
        [](HalvoraSDKManager& m, FuzzInput&) { m.updateBraceletRM830Firmware(); },
    };
    return calls;
}

/// The manager and the default lab, on the virtual executor.
class LabWorld {
public:
    explicit LabWorld(FuzzInput& input) {
        const auto file = std::filesystem::path(scratchFolder()) / "manager-preferences";
        std::error_code ignored;
        std::filesystem::remove(file, ignored);
        preferences_ = std::make_shared<PreferenceUtils>(file, log_.get());
        for (const auto& entry : devicesInRange(input)) {
            auto device = cli::LabCatalog::find(entry.className)->make(entry);
            radio_->addPeripheral(device);
            devices_.push_back(device);
        }
        manager_ = HalvoraSDKManager::create(ManagerEnvironment{executor_, transport_, preferences_, log_, "179"});
        sinks_ = installSinkDelegates(*manager_);
        manager_->initCentralManagerWithoutBackgroundMode();
        executor_->runUntilIdle();
    }

    ~LabWorld() {
        // Bluetooth off tears every link down at once; the devices' own timers are then dropped.
        manager_->stopScan();
        radio_->setPoweredOn(false);
        executor_->advance(std::chrono::seconds(2));
        executor_->dropPending();
    }

    void step(FuzzInput& input) {
        switch (input.byte() % 6) {
            case 0: {
                const auto& call = facadeCalls()[input.byte() % facadeCalls().size()];
                call(*manager_, input);
                executor_->runUntilIdle();
                break;
            }
            case 1:
                sendFrame(input);
                break;
            case 2: {
                // Up to 65 s: every device advertises while time passes, which is most of this target's cost.
                const int n = input.byte();
                executor_->advance(std::chrono::milliseconds(n * n));
                break;
            }
            case 3:
                devices_[input.byte() % devices_.size()]->dropLink();
                executor_->runUntilIdle();
                break;
            case 4:
                radio_->setPoweredOn(input.flag());
                executor_->runUntilIdle();
                break;
            default:
                executor_->runUntilIdle();
                break;
        }
    }

private:
    /// The devices the script puts in range: distinct entries of the default lab.
    static std::vector<cli::LabDeviceSpec> devicesInRange(FuzzInput& input) {
        static const auto lab = cli::LabDescription::defaultLab();
        const std::size_t count = 1 + input.byte() % kMaxDevicesInRange;
        std::vector<cli::LabDeviceSpec> chosen;
        std::vector<bool> taken(lab.devices.size(), false);
        for (std::size_t i = 0; i < count; ++i) {
            const std::size_t index = input.byte() % lab.devices.size();
            if (taken[index]) continue;
            taken[index] = true;
            chosen.push_back(lab.devices[index]);
            chosen.back().advertisingInterval = kAdvertisingInterval;
        }
        return chosen;
    }

    void sendFrame(FuzzInput& input) {
        const auto& device = devices_[input.byte() % devices_.size()];
        std::vector<BLEUUID> characteristics;
        const auto gatt = device->gattTable();
        for (const auto& service : gatt.services()) {
            for (const auto& c : service.characteristics) characteristics.push_back(c.uuid);
        }
        const std::size_t index = input.byte();
        const auto value = input.bytes(input.byte());
        if (characteristics.empty()) return;
        device->notify(characteristics[index % characteristics.size()], value);
        executor_->runUntilIdle();
    }

    std::shared_ptr<VirtualExecutor> executor_ = VirtualExecutor::create();
    std::shared_ptr<lab::Radio> radio_ = std::make_shared<lab::Radio>(executor_, 1);
    std::shared_ptr<lab::LabTransport> transport_ = std::make_shared<lab::LabTransport>(radio_);
    std::shared_ptr<Log> log_ = Log::makeSilent();
    std::shared_ptr<PreferenceUtils> preferences_;
    std::vector<std::shared_ptr<lab::VirtualPeripheral>> devices_;
    std::shared_ptr<HalvoraSDKManager> manager_;
    std::shared_ptr<void> sinks_;
};

}  // namespace
}  // namespace halvora::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    halvora::fuzz::FuzzInput input({data, size});
    halvora::fuzz::LabWorld world(input);
    while (!input.empty()) world.step(input);
    return 0;
}
