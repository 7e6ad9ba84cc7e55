#include "support/DriverFuzzer.hpp"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "halvora/Core/Log.hpp"
#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Manager/HalvoraSDKManager.hpp"
#include "halvora/Runtime/VirtualExecutor.hpp"
#include "halvora/Transport/UnavailableTransport.hpp"
#include "support/FakePeripheral.hpp"
#include "support/FuzzEvents.hpp"
#include "support/FuzzInput.hpp"
#include "support/SinkApplication.hpp"

namespace halvora::fuzz {
namespace {

constexpr const char* kPeripheralIdentifier = "6F1C2D3E-0000-4000-8000-00000000F022";
/// The longest notification a script can play (a length byte).
constexpr std::size_t kMaxNotification = 255;
/// Time run out at the end of a script: longer than every time-out of the kit (60 s command slots, a
/// 6000 s history download is cut by the teardown's disposal).
constexpr auto kWindDown = std::chrono::seconds(130);

/// One preferences store for the whole run: reading and rewriting a file for every input would cost more
/// than the script itself. What a driver stores there (the remembered bracelet) does not change how the next
/// input's driver reads its frames. The file is made at once, holding the default weight unit (what a
/// driver reads without it): every read looks the file up, and the lookup of a missing file on tmpfs costs
/// a directory entry made and dropped each time, half of the scale's time.
std::shared_ptr<PreferenceUtils> sharedPreferences() {
    static const auto silent = Log::makeSilent();
    static const auto preferences = [] {
        auto made =
            std::make_shared<PreferenceUtils>(std::filesystem::path(scratchFolder()) / "preferences", silent.get());
        made->setWeightUnit(PreferenceUtils::kDefaultWeightUnit);
        return made;
    }();
    return preferences;
}

/// One driver in its world: executor, manager, peripheral double.
class World {
public:
    explicit World(const DriverTarget& target) : target_(target), order_(characteristicOrder(target)) {
        preferences_ = sharedPreferences();
        manager_ = HalvoraSDKManager::create(
            ManagerEnvironment{executor_, std::make_shared<UnavailableTransport>(), preferences_, log_, "179"});
        sinks_ = installSinkDelegates(*manager_);
        peripheral_ = std::make_shared<test::FakePeripheral>(kPeripheralIdentifier, target.peripheralName);
        for (const auto& service : target.services) {
            std::vector<std::pair<BLEUUID, std::uint8_t>> characteristics;
            for (const auto& c : service.characteristics) characteristics.emplace_back(c.uuid, c.properties);
            peripheral_->addService(service.uuid, characteristics);
        }
        DriverContext context;
        context.executor = executor_;
        context.callbackQueue = callbackQueue_;
        context.log = log_;
        context.preferences = preferences_;
        context.delegates = manager_;
        driver_ = target.make(std::move(context));
    }

    ~World() {
        onQueue([this] { driver_->deinit(); });
        executor_->advance(kWindDown);
        executor_->dropPending();
    }

    void run(FuzzInput& input) {
        connect();
        while (!input.empty()) step(input);
    }

private:
    void step(FuzzInput& input) {
        switch (static_cast<Operation>(input.byte() % kOperationCount)) {
            case Operation::Notify: {
                const BLEUUID uuid = order_[input.byte() % order_.size()];
                const auto value = input.bytes(std::min<std::size_t>(input.byte(), kMaxNotification));
                onQueue([this, uuid, value] { peripheral_->playNotification(uuid, value); });
                break;
            }
            case Operation::Command: {
                if (target_.commands.empty()) break;
                const auto& command = target_.commands[input.byte() % target_.commands.size()];
                onQueue([this, &command, &input] { command(*driver_, input); });
                break;
            }
            case Operation::Advance: {
                const int n = input.byte();
                executor_->advance(std::chrono::milliseconds(n * n * 4));
                break;
            }
            case Operation::Disconnect:
                onQueue([this] {
                    peripheral_->setState(PeripheralState::Disconnected);
                    driver_->setState(0);
                    driver_->didDisconnect();
                });
                break;
            case Operation::Reconnect:
                connect();
                break;
            case Operation::Settle:
                executor_->runUntilIdle();
                break;
        }
    }

    /// Binds the driver to the peripheral and plays a whole discovery, as the manager and the stack do.
    void connect() {
        onQueue([this] {
            peripheral_->setState(PeripheralState::Connected);
            driver_->setPeripheral(peripheral_, manager_);
            driver_->setState(2);
            driver_->didConnect();
            peripheral_->playServicesDiscovered();
            for (const auto& service : target_.services) peripheral_->playCharacteristicsDiscovered(service.uuid);
            for (const auto& service : target_.services) {
                for (const auto& c : service.characteristics) {
                    if (c.properties & CharacteristicPropertyNotify) peripheral_->playDescriptorWritten(c.uuid);
                }
            }
        });
    }

    /// Runs `work` on the driver's callback queue, where the stack's events and the manager's calls run.
    void onQueue(std::function<void()> work) {
        callbackQueue_->async(std::move(work));
        executor_->runUntilIdle();
    }

    const DriverTarget& target_;
    const std::vector<BLEUUID> order_;
    std::shared_ptr<VirtualExecutor> executor_ = VirtualExecutor::create();
    std::shared_ptr<SerialQueue> callbackQueue_ = executor_->makeQueue("halvora.cb");
    std::shared_ptr<Log> log_ = Log::makeSilent();
    std::shared_ptr<PreferenceUtils> preferences_;
    std::shared_ptr<HalvoraSDKManager> manager_;
    std::shared_ptr<void> sinks_;
    std::shared_ptr<test::FakePeripheral> peripheral_;
    std::shared_ptr<BLEDevice> driver_;
};

void removeScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(scratchFolder(), ignored);
}

}  // namespace

std::string scratchFolder() {
    static const std::string folder = [] {
        const std::filesystem::path base = std::filesystem::exists("/dev/shm") ? "/dev/shm" : "/tmp";
        auto path = base / ("halvora-fuzz-" + std::to_string(::getpid()));
        std::filesystem::create_directories(path);
        return path.string();
    }();
    static const bool removedAtExit = [] {
        std::atexit(removeScratchFolder);
        return true;
    }();
    (void)removedAtExit;
    return folder;
}

int runDriverScript(const DriverTarget& target, std::span<const std::uint8_t> script) {
    FuzzInput input(script);
    World world(target);
    world.run(input);
    return 0;
}

}  // namespace halvora::fuzz
