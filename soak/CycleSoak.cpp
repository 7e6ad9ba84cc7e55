// Soak: connect, disconnect and Bluetooth power cycles of three lab devices (a third-generation
// blood-pressure monitor, the text-command bracelet and the RM830 bracelet) through the manager on the
// threaded executor and the real clock, while four application threads call the manager's facade the whole
// time (links, status queries, measurements, battery, bracelet and RM830 commands, scans).
//
// The rule it checks: no result or data callback for a device kind once its disconnection has completed.
// A disconnection is asked for with disconnectDevice(kind) or by switching Bluetooth off; it has completed
// when the application has been told -1 for that kind. From then on nothing may be delivered for the kind
// until the kit reports it searching, connected or ready again (status 0, 1 or 2). A -1 nobody asked for
// since the kind's latest connect request (a lost link, a connect request that timed out) does not start
// the rule.
//
// Where "then" lies. Results and data arrive on the kit's callback queue ("halvora.cb"), one at a time, so
// the rule is checked in the order that queue delivers them. A status callback made on another thread (the
// -1 of disconnectDevice() comes on the caller's thread, status 0 on "halvora.connection", status 2 on the
// main queue) is placed into that order by posting it to the kit's queue from inside the callback. For
// disconnectDevice() this puts it right behind the driver's deinit, which the call posts to that queue
// before it reports -1: a callback already running on the kit's queue when the -1 reached the application
// comes before it and is not counted; everything the kit's queue delivers after it is.
//
// Cycles, in turn: connect every kind by identifier, wait for ready, stay a moment, disconnect; connect and
// disconnect at once, while the link is being made; connect and disconnect as soon as the links are up
// (discovery and the bracelets' opening commands under way); connect, wait for ready, switch Bluetooth off
// and on. A kind that does not get ready or go away is asked again every 300 ms; one still registered after
// that is cleared by switching Bluetooth off and on (counted).
//
// Fails (exit 1) on any violation, on a result delivered off the kit's queue, when fewer than half the
// cycles connect in time, or when the three kinds do not get ready once more at the end. Prints its figures.
//
//   halvora_soak_cycles [--cycles N] [--seed S]   the soak (1000 cycles unless told)
//   halvora_soak_cycles --self-check              the rule itself, on scripted orders of callbacks
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "halvora/Core/Format.hpp"
#include "halvora/Core/Log.hpp"
#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Manager/HalvoraSDKManager.hpp"
#include "halvora/Runtime/ThreadedExecutor.hpp"
#include "lab/Devices/Bracelet/VirtualBracelet.hpp"
#include "lab/Devices/Measurement/VirtualHeartDeviceV3.hpp"
#include "lab/Devices/RM830/VirtualRM830.hpp"
#include "lab/LabTransport.hpp"
#include "lab/Radio.hpp"

namespace halvora::soak {
namespace {

using Clock = std::chrono::steady_clock;
using Rng = std::mt19937_64;
using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr long kDefaultCycles = 1000;
constexpr int kApplicationThreads = 4;
constexpr const char* kKitQueueLabel = "halvora.cb";

/// The radio's timing: short, so that a cycle costs tens of milliseconds of real time.
constexpr milliseconds kConnectLatency{2};
constexpr milliseconds kGattLatency{1};
/// The monitor's time between two cuff pressures; the bracelets' heart-rate delay and stream intervals.
constexpr milliseconds kMeasurementStep{2};
constexpr milliseconds kBraceletHeartDelay{20};
constexpr milliseconds kRM830StreamInterval{20};
/// Stored days of the RM830 (a day goes out as 96 notifications: a long answer to be cut by a disconnect).
constexpr int kRM830StoredDays = 2;

/// The conductor asks again for a kind that is not where it should be after this long, and gives up after
/// kWaitLimit.
constexpr milliseconds kRetryAfter{300};
constexpr milliseconds kWaitLimit{2000};
/// The longest stay of a cycle once connected.
constexpr milliseconds kMaxDwell{40};
/// An application thread's pause between two calls, at most.
constexpr microseconds kMaxCallPause{1000};
/// Under a sanitizer everything runs several times slower: the conductor's waits grow by this factor.
constexpr int kSanitizerSlowdown = 4;
/// After the last cycle: time for late callbacks to show up before the figures are taken.
constexpr milliseconds kLateCallbackWindow{300};
/// At least this share of the cycles must connect in time, or the soak has not soaked anything.
constexpr double kMinConnectedShare = 0.5;

/// A lab device the cycles connect, by its identifier.
struct SoakDevice {
    DeviceKind kind;
    const char* identifier;
    const char* label;
};

constexpr std::array<SoakDevice, 3> kDevices{{
    {DeviceTypeHeart, "6F1C2D3E-0000-4000-8000-00000000C1A0", "blood-pressure monitor"},
    {DeviceTypeBracelet, "6F1C2D3E-0000-4000-8000-00000000C1B1", "text-command bracelet"},
    {DeviceTypeBraceletRM830, "6F1C2D3E-0000-4000-8000-00000000C1C6", "RM830 bracelet"},
}};

constexpr std::size_t kKindSlots = static_cast<std::size_t>(kHighestDeviceKind) + 1;

std::optional<std::size_t> kindSlot(DeviceKind kind) {
    if (kind < 0 || kind > kHighestDeviceKind) return std::nullopt;
    return static_cast<std::size_t>(kind);
}

DeviceKind randomKind(Rng& random) {
    return kDevices[random() % kDevices.size()].kind;
}

// ============================================================================================== the kit's queue

/// The threaded executor, handing out its queues unchanged; it keeps the manager's callback queue (the first
/// queue made with the label "halvora.cb") so that the application can tell whether a callback runs on it
/// and can post to it.
class KitQueueTap : public Executor {
public:
    explicit KitQueueTap(std::shared_ptr<ThreadedExecutor> threads) : threads_(std::move(threads)) {}

    std::shared_ptr<SerialQueue> makeQueue(const std::string& label) override {
        auto queue = threads_->makeQueue(label);
        std::lock_guard lock(mutex_);
        if (label == kKitQueueLabel && !kitQueue_) kitQueue_ = queue;
        return queue;
    }
    std::shared_ptr<SerialQueue> mainQueue() override { return threads_->mainQueue(); }
    MonotonicTime now() const override { return threads_->now(); }
    Date date() const override { return threads_->date(); }

    std::shared_ptr<SerialQueue> kitQueue() const {
        std::lock_guard lock(mutex_);
        return kitQueue_;
    }
    void shutdown() { threads_->shutdown(); }

private:
    const std::shared_ptr<ThreadedExecutor> threads_;
    mutable std::mutex mutex_;
    std::shared_ptr<SerialQueue> kitQueue_;
};

// ============================================================================================== the rule

/// What made the application expect the end of a kind's callbacks.
enum class Farewell { None, Disconnect, PowerOff };

const char* farewellText(Farewell farewell) {
    switch (farewell) {
        case Farewell::None:
            return "-1 nobody asked for";
        case Farewell::Disconnect:
            return "-1 of disconnectDevice";
        case Farewell::PowerOff:
            return "-1 of Bluetooth off";
    }
    return "";
}

/// One callback as the rule sees it.
struct KitEvent {
    enum class Type { Status, Result };
    Type type = Type::Result;
    DeviceKind kind = DeviceTypeNone;
    std::int32_t status = ConnectionStatusDisconnected;  ///< statuses only
    Farewell farewell = Farewell::None;                  ///< set on a -1 that ends an asked-for disconnection
    bool onKitQueue = false;                             ///< delivered by the kit's queue itself
    const char* what = "";                               ///< the callback's name
    long cycle = 0;                                      ///< the conductor's cycle at delivery
};

/// The rule, applied to the callbacks in the order the kit's queue delivers them: apply() is called on that
/// queue only (or from one thread, in the self-check). The figures may be read from any thread.
class KitOrderCheck {
public:
    /// Examples kept per device kind.
    static constexpr std::size_t kMaxExamples = 3;

    void apply(const KitEvent& event);
    long violations() const;
    /// Violations for one kind.
    long violations(DeviceKind kind) const;
    /// Violations that came even after the kit's queue itself had reported the kind's -1 (the link down, or
    /// Bluetooth off), not only after the -1 that disconnectDevice() reports on its caller's thread.
    long violationsAfterLinkDown() const;
    long applied() const;
    std::vector<std::string> examples() const;

private:
    struct KindState {
        bool ended = false;
        Farewell endedBy = Farewell::None;
        long endedInCycle = 0;
        long endedAt = 0;       ///< the -1's place in the kit's order
        bool linkDown = false;  ///< the kit's queue has delivered a -1 for the kind since
        long violations = 0;
        std::vector<std::string> examples;
    };

    mutable std::mutex mutex_;
    std::array<KindState, kKindSlots> kinds_{};
    long applied_ = 0;
    long violations_ = 0;
    long violationsAfterLinkDown_ = 0;
};

void KitOrderCheck::apply(const KitEvent& event) {
    std::lock_guard lock(mutex_);
    ++applied_;
    const auto slot = kindSlot(event.kind);
    if (!slot) return;
    KindState& state = kinds_[*slot];
    if (event.type == KitEvent::Type::Status) {
        if (event.status != ConnectionStatusDisconnected) {
            state.ended = false;
        } else if (event.farewell != Farewell::None && !state.ended) {
            state.ended = true;
            state.endedBy = event.farewell;
            state.endedInCycle = event.cycle;
            state.endedAt = applied_;
            state.linkDown = event.onKitQueue;
        } else if (state.ended && event.onKitQueue) {
            state.linkDown = true;
        }
        return;
    }
    if (!state.ended) return;
    ++violations_;
    ++state.violations;
    if (state.linkDown) ++violationsAfterLinkDown_;
    if (state.examples.size() < kMaxExamples) {
        state.examples.push_back(format("kind %d: %s in cycle %ld, %ld callbacks after the %s in cycle %ld%s",
                                        event.kind, event.what, event.cycle, applied_ - state.endedAt,
                                        farewellText(state.endedBy), state.endedInCycle,
                                        state.linkDown ? ", after the link's own -1" : ""));
    }
}

long KitOrderCheck::violations() const {
    std::lock_guard lock(mutex_);
    return violations_;
}

long KitOrderCheck::violations(DeviceKind kind) const {
    std::lock_guard lock(mutex_);
    const auto slot = kindSlot(kind);
    return slot ? kinds_[*slot].violations : 0;
}

long KitOrderCheck::violationsAfterLinkDown() const {
    std::lock_guard lock(mutex_);
    return violationsAfterLinkDown_;
}

long KitOrderCheck::applied() const {
    std::lock_guard lock(mutex_);
    return applied_;
}

std::vector<std::string> KitOrderCheck::examples() const {
    std::lock_guard lock(mutex_);
    std::vector<std::string> all;
    for (const auto& kind : kinds_) all.insert(all.end(), kind.examples.begin(), kind.examples.end());
    return all;
}

// ============================================================================================== the application

class RM830Receiver;

/// The application: one object set as every delegate of the manager (the RM830 bracelet's through an
/// RM830Receiver it owns, whose callbacks carry the same names as the text-command bracelet's). Each
/// callback is counted and handed to the rule in the kit's order. The threads that drive the kit announce
/// here, just before they call, that they ask for a connection, a disconnection or Bluetooth off.
class Application : public HalvoraSDKManagerDelegate,
                    public HalvoraDeviceDelegate,
                    public HalvoraHeartDelegate,
                    public HalvoraSDKDevicesScanDelegate,
                    public HalvoraOximeterDelegate,
                    public HalvoraThermometerDelegate,
                    public HalvoraBabyThermometerDelegate,
                    public HalvoraWeightScaleDelegate,
                    public HalvoraBraceletDelegate {
public:
    Application(std::shared_ptr<SerialQueue> kitQueue, std::shared_ptr<KitOrderCheck> check);

    /// Sets `application` as every delegate of `manager`.
    static void attach(const std::shared_ptr<Application>& application, HalvoraSDKManager& manager);

    // What the driving threads announce, before they call.
    void connectAsked(DeviceKind kind);
    void disconnectAsked(DeviceKind kind);
    void powerOffAsked();
    void setCycle(long cycle) { cycle_.store(cycle); }

    // Figures.
    std::int32_t lastStatus(DeviceKind kind) const;
    long results(DeviceKind kind) const;
    long statuses(DeviceKind kind) const;
    long otherCallbacks() const { return other_.load(); }
    long offQueueResults() const { return offQueue_.load(); }

    /// A result or data callback for `kind`.
    void result(DeviceKind kind, const char* what);

    // HalvoraSDKManagerDelegate and HalvoraHeartDelegate (both reach the same overrides).
    void bluetoothPoweredOn(bool) override { ++other_; }
    void heartDeviceOnConnectionChanged(std::int32_t) override { ++other_; }
    void heartDeviceOnProgressMeasurement(std::int32_t) override {
        result(DeviceTypeHeart, "heartDeviceOnProgressMeasurement");
    }
    void heartDeviceOnResult(const HalvoraSDKHeartData&) override { result(DeviceTypeHeart, "heartDeviceOnResult"); }
    // HalvoraDeviceDelegate
    void deviceOnConnectionChanged(DeviceKind kind, std::int32_t status) override;
    void deviceOnBatteryLevelReceived(DeviceKind kind, std::int32_t) override {
        result(kind, "deviceOnBatteryLevelReceived");
    }
    void deviceOnSendInformation(DeviceKind kind, const std::string&) override {
        result(kind, "deviceOnSendInformation");
    }
    // HalvoraSDKDevicesScanDelegate
    void allDevicesDetected(const ScanResult&) override { ++other_; }
    // The families with no device in this soak: anything arriving here is a result of their kind.
    void oximeterDeviceOnResult(const HalvoraSDKOximeterData&) override {
        result(DeviceTypeOximeter, "oximeterDeviceOnResult");
    }
    void oximeterDeviceOnProgressMeasurement(const HalvoraSDKOximeterData&) override {
        result(DeviceTypeOximeter, "oximeterDeviceOnProgressMeasurement");
    }
    void thermometerOnResult(const HalvoraSDKThermometerData&) override {
        result(DeviceTypeThermometer, "thermometerOnResult");
    }
    void thermometerOnSuccessCommand(const HalvoraSDKThermometerSuccessData&) override {
        result(DeviceTypeThermometer, "thermometerOnSuccessCommand");
    }
    void thermometerOnError(std::int32_t) override { result(DeviceTypeThermometer, "thermometerOnError"); }
    void babyThermometerOnResult(const HalvoraSDKBabyThermometerData&) override {
        result(DeviceTypeBabyThermometer, "babyThermometerOnResult");
    }
    void weightscaleOnTypeDetected(std::int32_t) override {
        result(DeviceTypeWeightScale, "weightscaleOnTypeDetected");
    }
    void weightscaleOnMeasurementResult(const HalvoraSDKWeightScaleData&) override {
        result(DeviceTypeWeightScale, "weightscaleOnMeasurementResult");
    }
    void weightscaleOnResult(const HalvoraSDKWeightScaleData&) override {
        result(DeviceTypeWeightScale, "weightscaleOnResult");
    }
    // HalvoraBraceletDelegate
    void braceletCurrentStepsReceived(const HalvoraSDKStepData&) override {
        result(DeviceTypeBracelet, "braceletCurrentStepsReceived");
    }
    void braceletHeartDataReceived(const HalvoraSDKHeartBeatData&) override {
        result(DeviceTypeBracelet, "braceletHeartDataReceived");
    }
    void braceletSyncReceived(const HalvoraSDKBraceletData&) override {
        result(DeviceTypeBracelet, "braceletSyncReceived");
    }
    void braceletActivityStarted() override { result(DeviceTypeBracelet, "braceletActivityStarted"); }
    void braceletActivityFinished() override { result(DeviceTypeBracelet, "braceletActivityFinished"); }
    void braceletActivityStepsReceived(std::int32_t) override {
        result(DeviceTypeBracelet, "braceletActivityStepsReceived");
    }
    void braceletBeepReceived() override { result(DeviceTypeBracelet, "braceletBeepReceived"); }
    void braceletParameterSet(std::int32_t) override { result(DeviceTypeBracelet, "braceletParameterSet"); }
    void braceletInfoReceived(const std::string&) override { result(DeviceTypeBracelet, "braceletInfoReceived"); }
    void braceletBatteryReceived(std::int32_t) override { result(DeviceTypeBracelet, "braceletBatteryReceived"); }
    void braceletSyncProgress(std::int32_t, std::int32_t) override {
        result(DeviceTypeBracelet, "braceletSyncProgress");
    }

private:
    /// Per device kind.
    struct KindFigures {
        std::atomic<long> results{0};
        std::atomic<long> statuses{0};
        std::atomic<std::int32_t> lastStatus{ConnectionStatusDisconnected};
        /// Asked for since the kind's latest connect request (a Farewell).
        std::atomic<int> farewell{static_cast<int>(Farewell::None)};
    };

    /// Applies the event at once when the kit's queue delivers it, else posts it to that queue.
    void deliver(KitEvent event);

    const std::shared_ptr<SerialQueue> kitQueue_;
    const std::shared_ptr<KitOrderCheck> check_;
    std::shared_ptr<RM830Receiver> rm830_;
    std::array<KindFigures, kKindSlots> kinds_;
    std::atomic<long> other_{0};
    std::atomic<long> offQueue_{0};
    std::atomic<long> cycle_{0};
};

/// The RM830 bracelet's delegate of the application.
class RM830Receiver : public HalvoraBraceletRM830Delegate {
public:
    explicit RM830Receiver(Application& application) : application_(application) {}

    void braceletCurrentStepsReceived(const HalvoraSDKStepData&) override {
        application_.result(DeviceTypeBraceletRM830, "rm830 braceletCurrentStepsReceived");
    }
    void braceletSyncReceived(const HalvoraSDKBraceletData&) override {
        application_.result(DeviceTypeBraceletRM830, "rm830 braceletSyncReceived");
    }
    void braceletRM830HRReceived(std::int32_t) override {
        application_.result(DeviceTypeBraceletRM830, "braceletRM830HRReceived");
    }
    void braceletRM830HRSyncReceived(const std::vector<HalvoraSDKHeartBeatData>&) override {
        application_.result(DeviceTypeBraceletRM830, "braceletRM830HRSyncReceived");
    }
    void operationFinished(bool) override { application_.result(DeviceTypeBraceletRM830, "operationFinished"); }

private:
    Application& application_;
};

Application::Application(std::shared_ptr<SerialQueue> kitQueue, std::shared_ptr<KitOrderCheck> check)
    : kitQueue_(std::move(kitQueue)), check_(std::move(check)), rm830_(std::make_shared<RM830Receiver>(*this)) {}

void Application::attach(const std::shared_ptr<Application>& application, HalvoraSDKManager& manager) {
    manager.setDelegate(std::weak_ptr<HalvoraSDKManagerDelegate>(application));
    manager.setDeviceDelegate(std::weak_ptr<HalvoraDeviceDelegate>(application));
    manager.setHeartDelegate(std::weak_ptr<HalvoraHeartDelegate>(application));
    manager.setDevicesScanDelegate(std::weak_ptr<HalvoraSDKDevicesScanDelegate>(application));
    manager.setOximeterDelegate(std::weak_ptr<HalvoraOximeterDelegate>(application));
    manager.setThermometerDelegate(std::weak_ptr<HalvoraThermometerDelegate>(application));
    manager.setBabyThermometerDelegate(std::weak_ptr<HalvoraBabyThermometerDelegate>(application));
    manager.setWeightscaleDelegate(std::weak_ptr<HalvoraWeightScaleDelegate>(application));
    manager.setBraceletDelegate(std::weak_ptr<HalvoraBraceletDelegate>(application));
    manager.setBraceletRM830Delegate(std::weak_ptr<HalvoraBraceletRM830Delegate>(application->rm830_));
}

void Application::connectAsked(DeviceKind kind) {
    if (auto slot = kindSlot(kind)) kinds_[*slot].farewell.store(static_cast<int>(Farewell::None));
}

void Application::disconnectAsked(DeviceKind kind) {
    if (auto slot = kindSlot(kind)) kinds_[*slot].farewell.store(static_cast<int>(Farewell::Disconnect));
}

void Application::powerOffAsked() {
    for (auto& kind : kinds_) kind.farewell.store(static_cast<int>(Farewell::PowerOff));
}

std::int32_t Application::lastStatus(DeviceKind kind) const {
    const auto slot = kindSlot(kind);
    return slot ? kinds_[*slot].lastStatus.load() : ConnectionStatusDisconnected;
}

long Application::results(DeviceKind kind) const {
    const auto slot = kindSlot(kind);
    return slot ? kinds_[*slot].results.load() : 0;
}

long Application::statuses(DeviceKind kind) const {
    const auto slot = kindSlot(kind);
    return slot ? kinds_[*slot].statuses.load() : 0;
}

void Application::result(DeviceKind kind, const char* what) {
    const auto slot = kindSlot(kind);
    if (!slot) {
        ++other_;
        return;
    }
    ++kinds_[*slot].results;
    KitEvent event;
    event.type = KitEvent::Type::Result;
    event.kind = kind;
    event.what = what;
    event.cycle = cycle_.load();
    deliver(event);
}

void Application::deviceOnConnectionChanged(DeviceKind kind, std::int32_t status) {
    const auto slot = kindSlot(kind);
    if (!slot) {
        ++other_;
        return;
    }
    KindFigures& figures = kinds_[*slot];
    ++figures.statuses;
    figures.lastStatus.store(status);
    KitEvent event;
    event.type = KitEvent::Type::Status;
    event.kind = kind;
    event.status = status;
    if (status == ConnectionStatusDisconnected) event.farewell = static_cast<Farewell>(figures.farewell.load());
    event.what = "deviceOnConnectionChanged";
    event.cycle = cycle_.load();
    deliver(event);
}

void Application::deliver(KitEvent event) {
    if (kitQueue_->isCurrent()) {
        event.onKitQueue = true;
        check_->apply(event);
        return;
    }
    // Results are documented to arrive on the kit's queue; one that does not cannot be ordered.
    if (event.type == KitEvent::Type::Result) {
        ++offQueue_;
        return;
    }
    kitQueue_->async([check = check_, event] { check->apply(event); });
}

// ============================================================================================== the world

/// Where the preferences file goes: memory when the system has a memory file system (the bracelets' ready
/// and disconnect write it, synced, several times a cycle), else the temporary folder.
std::filesystem::path scratchFolder() {
    std::error_code error;
    const std::filesystem::path memory = "/dev/shm";
    if (std::filesystem::is_directory(memory, error)) return memory;
    return std::filesystem::temp_directory_path();
}

/// The manager on the threaded executor over the lab, the three devices in range with quick scripts, and
/// the application's delegates set. Link requests go through here so that the application hears of them
/// first.
class CycleWorld {
public:
    CycleWorld(std::uint64_t seed, int slowdown);
    ~CycleWorld();
    CycleWorld(const CycleWorld&) = delete;
    CycleWorld& operator=(const CycleWorld&) = delete;

    HalvoraSDKManager& manager() { return *manager_; }
    Application& application() { return *application_; }
    const KitOrderCheck& check() const { return *check_; }
    /// The sanitizer's slowdown factor (1 without one).
    int slowdown() const { return slowdown_; }

    /// Connects the kind's lab device by its identifier.
    void connect(DeviceKind kind);
    /// A connect request through a scan, with a time-out in seconds.
    void connectByScan(DeviceKind kind, std::int32_t timeoutSeconds);
    void disconnect(DeviceKind kind);
    /// Switches the host's Bluetooth.
    void switchBluetooth(bool on);
    /// Waits until everything posted to the kit's queue so far has run.
    bool drainKitQueue();

private:
    void addDevices();

    const int slowdown_;
    const std::filesystem::path preferencesFile_;
    std::shared_ptr<Log> log_ = Log::makeSilent();
    std::shared_ptr<KitQueueTap> executor_ = std::make_shared<KitQueueTap>(ThreadedExecutor::create());
    std::shared_ptr<lab::Radio> radio_;
    std::shared_ptr<HalvoraSDKManager> manager_;
    std::shared_ptr<KitOrderCheck> check_ = std::make_shared<KitOrderCheck>();
    std::shared_ptr<Application> application_;
};

CycleWorld::CycleWorld(std::uint64_t seed, int slowdown)
    : slowdown_(slowdown),
      preferencesFile_(scratchFolder() / ("halvora-soak-cycles-" + std::to_string(::getpid()))),
      radio_(std::make_shared<lab::Radio>(executor_, seed)) {
    std::filesystem::remove(preferencesFile_);
    radio_->setConnectLatency(kConnectLatency);
    radio_->setGattLatency(kGattLatency);
    manager_ = HalvoraSDKManager::create(
        ManagerEnvironment{executor_, std::make_shared<lab::LabTransport>(radio_),
                           std::make_shared<PreferenceUtils>(preferencesFile_, log_.get()), log_, "179"});
    application_ = std::make_shared<Application>(executor_->kitQueue(), check_);
    Application::attach(application_, *manager_);
    addDevices();
    manager_->initCentralManagerWithoutBackgroundMode();
}

CycleWorld::~CycleWorld() {
    manager_->stopScan();
    executor_->shutdown();
    std::error_code error;
    std::filesystem::remove(preferencesFile_, error);
    std::filesystem::remove(preferencesFile_.string() + ".lock", error);  // the side file setters lock
}

void CycleWorld::addDevices() {
    auto monitor = lab::VirtualHeartDeviceV3::make(kDevices[0].identifier);
    lab::BloodPressureScript pressure;
    pressure.stepInterval = kMeasurementStep;
    monitor->setScript(pressure);
    radio_->addPeripheral(monitor);

    auto bracelet = lab::VirtualBracelet::make(kDevices[1].identifier);
    lab::BraceletScript steps;
    steps.heartDelay = kBraceletHeartDelay;
    bracelet->setScript(steps);
    radio_->addPeripheral(bracelet);

    auto rm830 = lab::VirtualRM830::make(kDevices[2].identifier);
    lab::RM830Script script;
    script.realTimeInterval = kRM830StreamInterval;
    script.heartRateInterval = kRM830StreamInterval;
    script.seededDays = kRM830StoredDays;
    rm830->setScript(script);
    radio_->addPeripheral(rm830);
}

const char* identifierOf(DeviceKind kind) {
    for (const auto& device : kDevices) {
        if (device.kind == kind) return device.identifier;
    }
    return "";
}

void CycleWorld::connect(DeviceKind kind) {
    application_->connectAsked(kind);
    manager_->connectByUUID(std::string(identifierOf(kind)), kind);
}

void CycleWorld::connectByScan(DeviceKind kind, std::int32_t timeoutSeconds) {
    application_->connectAsked(kind);
    manager_->connectDevice(kind, timeoutSeconds);
}

void CycleWorld::disconnect(DeviceKind kind) {
    application_->disconnectAsked(kind);
    manager_->disconnectDevice(kind);
}

void CycleWorld::switchBluetooth(bool on) {
    if (!on) application_->powerOffAsked();
    radio_->setPoweredOn(on);
}

bool CycleWorld::drainKitQueue() {
    auto done = std::make_shared<std::promise<void>>();
    auto reached = done->get_future();
    executor_->kitQueue()->async([done] { done->set_value(); });
    return reached.wait_for(kWaitLimit * slowdown_) == std::future_status::ready;
}

// ============================================================================================== application threads

/// One facade call of the application threads, with its weight among their calls. A call for a device
/// kind waits, like an application, until the kind is ready (status 2) unless the thread is impatient.
struct FacadeCall {
    const char* name;
    int weight;
    DeviceKind kind;  ///< DeviceTypeNone: any of the three kinds, drawn for each call
    bool waitsForReady;
    std::function<void(CycleWorld&, DeviceKind)> call;
};

/// One in this many commands goes out without waiting for ready (a command sent before the driver has
/// found its characteristics takes the command slot and keeps it until the slot's wait limit).
constexpr std::uint64_t kImpatience = 50;

/// What the application threads call. Link calls are rare (a few a second in all), so that the conductor's
/// cycles still complete; the others keep the drivers' command queues busy.
std::vector<FacadeCall> facadeCalls() {
    using M = HalvoraSDKManager;
    constexpr DeviceKind any = DeviceTypeNone;
    constexpr DeviceKind bp = DeviceTypeHeart;
    constexpr DeviceKind band = DeviceTypeBracelet;
    constexpr DeviceKind rm = DeviceTypeBraceletRM830;
    auto on = [](void (M::*operation)()) {
        return [operation](CycleWorld& w, DeviceKind) { (w.manager().*operation)(); };
    };
    return {
        {"getDeviceStatus", 1200, any, false,
         [](CycleWorld& w, DeviceKind k) { (void)w.manager().getDeviceStatus(k); }},
        {"isDeviceConnected", 1200, any, false,
         [](CycleWorld& w, DeviceKind k) { (void)w.manager().isDeviceConnected(k); }},
        {"getDeviceUUID", 800, any, false, [](CycleWorld& w, DeviceKind k) { (void)w.manager().getDeviceUUID(k); }},
        {"isBraceletInActivity", 200, band, false,
         [](CycleWorld& w, DeviceKind) { (void)w.manager().isBraceletInActivity(); }},
        {"startMeasurement", 400, bp, true, [](CycleWorld& w, DeviceKind k) { (void)w.manager().startMeasurement(k); }},
        {"checkBatteryLevel", 400, any, true, [](CycleWorld& w, DeviceKind k) { w.manager().checkBatteryLevel(k); }},
        {"getBraceletCurrentSteps", 400, band, true, on(&M::getBraceletCurrentSteps)},
        {"getBraceletHeartBeat", 150, band, true, on(&M::getBraceletHeartBeat)},
        {"getBraceletBattery", 150, band, true, on(&M::getBraceletBattery)},
        {"getBraceletVersion", 150, band, true, on(&M::getBraceletVersion)},
        {"synchronizeBraceletHistoryData", 100, band, true, on(&M::synchronizeBraceletHistoryData)},
        {"configureBraceletStepTarget", 100, band, true,
         [](CycleWorld& w, DeviceKind) { w.manager().configureBraceletStepTarget(8000); }},
        {"getBraceletRM830TodayData", 300, rm, true, on(&M::getBraceletRM830TodayData)},
        {"getBraceletRM830HistoryData", 100, rm, true,
         [](CycleWorld& w, DeviceKind) { w.manager().getBraceletRM830HistoryData(1); }},
        {"getBraceletRM830HeartRateSync", 100, rm, true, on(&M::getBraceletRM830HeartRateSync)},
        {"setBraceletRM830RealtimeHREnabled on", 75, rm, true,
         [](CycleWorld& w, DeviceKind) { w.manager().setBraceletRM830RealtimeHREnabled(true); }},
        {"setBraceletRM830RealtimeHREnabled off", 75, rm, true,
         [](CycleWorld& w, DeviceKind) { w.manager().setBraceletRM830RealtimeHREnabled(false); }},
        {"configureBraceletRM830StepsGoal", 100, rm, true,
         [](CycleWorld& w, DeviceKind) { w.manager().configureBraceletRM830StepsGoal(9000); }},
        {"scanAllDevices", 1, any, false, on(&M::scanAllDevices)},
        {"stopScan", 1, any, false, on(&M::stopScan)},
        {"connectByUUID", 1, any, false, [](CycleWorld& w, DeviceKind k) { w.connect(k); }},
        {"connectDevice", 1, any, false, [](CycleWorld& w, DeviceKind k) { w.connectByScan(k, 2); }},
        {"disconnectDevice", 1, any, false, [](CycleWorld& w, DeviceKind k) { w.disconnect(k); }},
    };
}

/// The four application threads: each makes weighted random facade calls with short pauses until stopped.
class ApplicationThreads {
public:
    ApplicationThreads(CycleWorld& world, std::uint64_t seed);
    ~ApplicationThreads() { stop(); }
    ApplicationThreads(const ApplicationThreads&) = delete;
    ApplicationThreads& operator=(const ApplicationThreads&) = delete;

    void stop();
    long calls() const;
    /// "name count" for every call, in table order.
    std::string breakdown() const;

private:
    void run(std::uint64_t seed);
    std::size_t pick(Rng& random) const;

    CycleWorld& world_;
    const std::vector<FacadeCall> calls_ = facadeCalls();
    std::vector<std::atomic<long>> counts_;
    int totalWeight_ = 0;
    std::atomic<bool> stop_{false};
    std::vector<std::thread> threads_;
};

ApplicationThreads::ApplicationThreads(CycleWorld& world, std::uint64_t seed) : world_(world), counts_(calls_.size()) {
    for (const auto& call : calls_) totalWeight_ += call.weight;
    for (int index = 0; index < kApplicationThreads; ++index) {
        threads_.emplace_back([this, seed, index] { run(seed * 1000 + static_cast<std::uint64_t>(index)); });
    }
}

void ApplicationThreads::stop() {
    stop_ = true;
    for (auto& thread : threads_) {
        if (thread.joinable()) thread.join();
    }
}

long ApplicationThreads::calls() const {
    long total = 0;
    for (const auto& count : counts_) total += count.load();
    return total;
}

std::string ApplicationThreads::breakdown() const {
    std::string text;
    for (std::size_t i = 0; i < calls_.size(); ++i) {
        text += format("%s%s %ld", i == 0 ? "" : (i % 4 == 0 ? ",\n    " : ", "), calls_[i].name, counts_[i].load());
    }
    return text;
}

std::size_t ApplicationThreads::pick(Rng& random) const {
    int draw = static_cast<int>(random() % static_cast<std::uint64_t>(totalWeight_));
    for (std::size_t i = 0; i < calls_.size(); ++i) {
        draw -= calls_[i].weight;
        if (draw < 0) return i;
    }
    return calls_.size() - 1;
}

void ApplicationThreads::run(std::uint64_t seed) {
    Rng random(seed);
    const auto longestPause = static_cast<std::uint64_t>(kMaxCallPause.count());
    while (!stop_.load()) {
        const std::size_t index = pick(random);
        const FacadeCall& call = calls_[index];
        const DeviceKind kind = call.kind == DeviceTypeNone ? randomKind(random) : call.kind;
        const bool ready = world_.application().lastStatus(kind) == ConnectionStatusReady;
        if (!call.waitsForReady || ready || random() % kImpatience == 0) {
            call.call(world_, kind);
            ++counts_[index];
        }
        std::this_thread::sleep_for(microseconds(random() % longestPause));
    }
}

// ============================================================================================== the conductor

enum class CycleType { Ready, Early, Linked, Power };
constexpr std::array<CycleType, 4> kCycleOrder{CycleType::Ready, CycleType::Early, CycleType::Linked, CycleType::Power};

/// The conductor's figures.
struct CycleFigures {
    long cycles = 0;
    std::array<long, kCycleOrder.size()> byType{};
    long reached = 0;  ///< cycles whose three kinds got where the cycle waits for (ready, linked) in time
    long notReached = 0;
    long connectRetries = 0;
    long disconnectRetries = 0;
    long wedgesCleared = 0;  ///< kinds still registered after every retry, cleared by Bluetooth off and on
    long stuck = 0;          ///< cycles that ended with a kind still registered even so
    long linkCalls = 0;      ///< connect, disconnect and power calls of the conductor
};

/// Runs the cycles on the calling thread.
class Conductor {
public:
    Conductor(CycleWorld& world, std::uint64_t seed) : world_(world), random_(seed) {}

    void run(long cycles);
    /// Connects the three kinds once more and waits for ready; then lets them go.
    bool connectOnceMore();
    const CycleFigures& figures() const { return figures_; }

private:
    using KindTest = std::function<bool(DeviceKind)>;

    void cycle(CycleType type);
    /// Waits until every kind passes `reached`; every kRetryAfter, `retry` is called for each kind that does
    /// not (and counted in `retries`).
    bool waitForKinds(const KindTest& reached, const std::function<void(DeviceKind)>& retry, long& retries);
    bool waitFor(const std::function<bool()>& done);
    bool connectAll(const KindTest& reached);
    void connect(DeviceKind kind);
    void disconnect(DeviceKind kind);
    void disconnectAll();
    void powerCycle();
    /// Leaves every kind without a driver or request, clearing a wedged one with a power cycle.
    void settle();
    void dwell();

    bool isReady(DeviceKind kind) {
        return world_.application().lastStatus(kind) == ConnectionStatusReady &&
               world_.manager().getDeviceStatus(kind) == ConnectionStatusReady;
    }
    /// The link is up (discovery and the opening commands may still be under way).
    bool isLinked(DeviceKind kind) { return world_.manager().getDeviceStatus(kind) == ConnectionStatusReady; }
    bool isGone(DeviceKind kind) { return world_.manager().getDeviceStatus(kind) == ConnectionStatusDisconnected; }

    CycleWorld& world_;
    Rng random_;
    CycleFigures figures_;
};

void Conductor::run(long cycles) {
    waitFor([&] { return world_.manager().isBluetoothOn(); });
    for (long index = 0; index < cycles; ++index) {
        world_.application().setCycle(index);
        const CycleType type = kCycleOrder[static_cast<std::size_t>(index) % kCycleOrder.size()];
        ++figures_.byType[static_cast<std::size_t>(index) % kCycleOrder.size()];
        cycle(type);
        ++figures_.cycles;
    }
}

void Conductor::cycle(CycleType type) {
    switch (type) {
        case CycleType::Ready:
            if (connectAll([&](DeviceKind kind) { return isReady(kind); })) dwell();
            disconnectAll();
            break;
        case CycleType::Early:
            connectAll([&](DeviceKind kind) { return !isGone(kind); });
            disconnectAll();
            break;
        case CycleType::Linked:
            connectAll([&](DeviceKind kind) { return isLinked(kind); });
            disconnectAll();
            break;
        case CycleType::Power:
            if (connectAll([&](DeviceKind kind) { return isReady(kind); })) dwell();
            powerCycle();
            break;
    }
    settle();
}

bool Conductor::waitFor(const std::function<bool()>& done) {
    const auto deadline = Clock::now() + kWaitLimit * world_.slowdown();
    while (!done()) {
        if (Clock::now() > deadline) return false;
        std::this_thread::sleep_for(milliseconds(1));
    }
    return true;
}

bool Conductor::waitForKinds(const KindTest& reached, const std::function<void(DeviceKind)>& retry, long& retries) {
    const auto start = Clock::now();
    auto nextRetry = start + kRetryAfter * world_.slowdown();
    const auto deadline = start + kWaitLimit * world_.slowdown();
    auto all = [&] {
        return std::all_of(kDevices.begin(), kDevices.end(), [&](const SoakDevice& d) { return reached(d.kind); });
    };
    while (!all()) {
        const auto now = Clock::now();
        if (now > deadline) return false;
        if (now > nextRetry) {
            for (const auto& device : kDevices) {
                if (reached(device.kind)) continue;
                retry(device.kind);
                ++retries;
            }
            nextRetry = now + kRetryAfter * world_.slowdown();
        }
        std::this_thread::sleep_for(milliseconds(1));
    }
    return true;
}

bool Conductor::connectAll(const KindTest& reached) {
    for (const auto& device : kDevices) connect(device.kind);
    // Ask again only for a kind that has neither a driver nor a request (an application thread let it go).
    const bool ok = waitForKinds(
        reached,
        [&](DeviceKind kind) {
            if (isGone(kind)) connect(kind);
        },
        figures_.connectRetries);
    ++(ok ? figures_.reached : figures_.notReached);
    return ok;
}

void Conductor::connect(DeviceKind kind) {
    ++figures_.linkCalls;
    world_.connect(kind);
}

void Conductor::disconnect(DeviceKind kind) {
    ++figures_.linkCalls;
    world_.disconnect(kind);
}

void Conductor::disconnectAll() {
    for (const auto& device : kDevices) disconnect(device.kind);
}

void Conductor::powerCycle() {
    figures_.linkCalls += 2;
    world_.switchBluetooth(false);
    waitFor([&] { return !world_.manager().isBluetoothOn(); });
    world_.switchBluetooth(true);
    waitFor([&] { return world_.manager().isBluetoothOn(); });
}

void Conductor::settle() {
    auto gone = [&](DeviceKind kind) { return isGone(kind); };
    auto disconnectAgain = [&](DeviceKind kind) { disconnect(kind); };
    if (waitForKinds(gone, disconnectAgain, figures_.disconnectRetries)) return;
    // A kind whose connection failed keeps its driver registered, and a cancel of a link that is not up
    // reports nothing: only Bluetooth off lets it go.
    for (const auto& device : kDevices) figures_.wedgesCleared += isGone(device.kind) ? 0 : 1;
    powerCycle();
    long ignored = 0;
    if (!waitForKinds(gone, disconnectAgain, ignored)) ++figures_.stuck;
}

void Conductor::dwell() {
    std::this_thread::sleep_for(milliseconds(random_() % static_cast<std::uint64_t>(kMaxDwell.count() + 1)));
}

bool Conductor::connectOnceMore() {
    for (const auto& device : kDevices) connect(device.kind);
    long retries = 0;
    const bool ready = waitForKinds([&](DeviceKind kind) { return isReady(kind); },
                                    [&](DeviceKind kind) {
                                        if (isGone(kind)) connect(kind);
                                    },
                                    retries);
    disconnectAll();
    settle();
    return ready;
}

// ============================================================================================== the run

bool underSanitizer() {
    const char* sanitizer = std::getenv("HALVORA_SANITIZER");
    return sanitizer && *sanitizer;
}

int runSoak(long cycles, std::uint64_t seed) {
    Log::shared().silence();
    const int slowdown = underSanitizer() ? kSanitizerSlowdown : 1;
    const auto start = Clock::now();
    CycleWorld world(seed, slowdown);
    Conductor conductor(world, seed);
    ApplicationThreads threads(world, seed);
    conductor.run(cycles);
    threads.stop();
    const bool connectsAgain = conductor.connectOnceMore();
    std::this_thread::sleep_for(kLateCallbackWindow);
    const bool drained = world.drainKitQueue();
    const double wall = std::chrono::duration<double>(Clock::now() - start).count();

    const CycleFigures& f = conductor.figures();
    const KitOrderCheck& check = world.check();
    const Application& application = world.application();
    std::printf("halvora_soak_cycles: %ld cycles (%ld ready, %ld early, %ld linked, %ld power) in %.1f s%s\n", f.cycles,
                f.byType[0], f.byType[1], f.byType[2], f.byType[3], wall,
                slowdown > 1 ? " (under a sanitizer: waits scaled)" : "");
    std::printf(
        "  connected in time: %ld of %ld cycles; connect retries %ld, disconnect retries %ld, "
        "wedged kinds cleared by Bluetooth off %ld, stuck %ld\n",
        f.reached, f.reached + f.notReached, f.connectRetries, f.disconnectRetries, f.wedgesCleared, f.stuck);
    std::printf("  facade calls: %ld by %d application threads, %ld link and power calls by the conductor\n    %s\n",
                threads.calls(), kApplicationThreads, f.linkCalls, threads.breakdown().c_str());
    for (const auto& device : kDevices) {
        std::printf("  callbacks for kind %d (%s): %ld results, %ld statuses; violations %ld\n", device.kind,
                    device.label, application.results(device.kind), application.statuses(device.kind),
                    check.violations(device.kind));
    }
    std::printf("  other callbacks: %ld; in the kit's order: %ld; results off the kit's queue: %ld\n",
                application.otherCallbacks(), check.applied(), application.offQueueResults());
    std::printf(
        "  violations (a result after the -1 of an asked-for disconnection): %ld, %ld of them even after the "
        "link's own -1 on the kit's queue\n",
        check.violations(), check.violationsAfterLinkDown());
    for (const auto& example : check.examples()) std::printf("    %s\n", example.c_str());

    std::vector<std::string> failures;
    if (check.violations() > 0) failures.push_back("callbacks after a completed disconnection");
    if (application.offQueueResults() > 0) failures.push_back("results off the kit's queue");
    const long waited = f.reached + f.notReached;
    if (waited > 0 && static_cast<double>(f.reached) < kMinConnectedShare * static_cast<double>(waited))
        failures.push_back("fewer than half the cycles connected in time");
    if (!connectsAgain) failures.push_back("the kinds did not get ready again at the end");
    if (!drained) failures.push_back("the kit's queue did not drain");
    if (failures.empty()) {
        std::printf("PASSED\n");
        return 0;
    }
    std::string reasons;
    for (const auto& failure : failures) reasons += (reasons.empty() ? "" : "; ") + failure;
    std::printf("FAILED: %s\n", reasons.c_str());
    return 1;
}

// ============================================================================================== self-check

KitEvent statusEvent(DeviceKind kind, std::int32_t status, Farewell farewell = Farewell::None) {
    KitEvent event;
    event.type = KitEvent::Type::Status;
    event.kind = kind;
    event.status = status;
    event.farewell = farewell;
    event.what = "deviceOnConnectionChanged";
    return event;
}

KitEvent resultEvent(DeviceKind kind) {
    KitEvent event;
    event.kind = kind;
    event.what = "a result";
    return event;
}

/// The rule on orders of callbacks written out by hand.
bool checkScriptedOrders() {
    const DeviceKind bp = DeviceTypeHeart;
    const DeviceKind rm = DeviceTypeBraceletRM830;
    const DeviceKind band = DeviceTypeBracelet;
    struct Case {
        const char* name;
        std::vector<KitEvent> order;
        long violations;
    };
    const std::vector<Case> cases = {
        {"a result after the -1 of disconnectDevice",
         {statusEvent(rm, 2), resultEvent(rm), statusEvent(rm, -1, Farewell::Disconnect), resultEvent(rm)},
         1},
        {"every late result counts, a second -1 changes nothing",
         {statusEvent(bp, -1, Farewell::PowerOff), resultEvent(bp), statusEvent(bp, -1, Farewell::PowerOff),
          resultEvent(bp)},
         2},
        {"connected again opens the kind",
         {statusEvent(rm, -1, Farewell::Disconnect), statusEvent(rm, 1), resultEvent(rm)},
         0},
        {"searching again opens it too",
         {statusEvent(band, -1, Farewell::PowerOff), statusEvent(band, 0), resultEvent(band)},
         0},
        {"a -1 nobody asked for ends nothing", {statusEvent(bp, -1), resultEvent(bp)}, 0},
        {"results before the -1 are fine",
         {resultEvent(rm), resultEvent(rm), statusEvent(rm, -1, Farewell::Disconnect)},
         0},
        {"kinds are apart",
         {statusEvent(rm, -1, Farewell::Disconnect), resultEvent(band), resultEvent(bp), statusEvent(band, 2)},
         0},
    };
    bool ok = true;
    for (const auto& c : cases) {
        KitOrderCheck check;
        for (const auto& event : c.order) check.apply(event);
        const bool passed = check.violations() == c.violations;
        std::printf("%s  %s (%ld violations, expected %ld)\n", passed ? "ok    " : "FAILED", c.name, check.violations(),
                    c.violations);
        ok = ok && passed;
    }
    return ok;
}

/// The application's ordering on a real kit queue: a result already running on the queue when -1 reaches
/// the application on another thread comes before it; the next result the queue delivers comes after it.
bool checkQueueOrdering() {
    auto threads = ThreadedExecutor::create();
    auto kitQueue = threads->makeQueue(kKitQueueLabel);
    auto check = std::make_shared<KitOrderCheck>();
    auto application = std::make_shared<Application>(kitQueue, check);
    std::promise<void> running;
    std::promise<void> go;
    auto goSignal = go.get_future().share();
    kitQueue->async([&running, goSignal, application] {
        running.set_value();
        goSignal.wait();
        application->result(DeviceTypeBraceletRM830, "a result already running");
    });
    running.get_future().wait();
    application->disconnectAsked(DeviceTypeBraceletRM830);
    application->deviceOnConnectionChanged(DeviceTypeBraceletRM830, ConnectionStatusDisconnected);
    go.set_value();
    kitQueue->async([application] { application->result(DeviceTypeBraceletRM830, "a result after the -1"); });
    std::promise<void> drained;
    kitQueue->async([&drained] { drained.set_value(); });
    const bool finished = drained.get_future().wait_for(kWaitLimit) == std::future_status::ready;
    threads->shutdown();
    const bool passed = finished && check->violations() == 1 && application->offQueueResults() == 0;
    std::printf(
        "%s  a result already running on the kit's queue when -1 arrives elsewhere is not late; the next "
        "one is (%ld violations, expected 1)\n",
        passed ? "ok    " : "FAILED", check->violations());
    return passed;
}

int runSelfCheck() {
    const bool scripted = checkScriptedOrders();
    const bool ordering = checkQueueOrdering();
    return scripted && ordering ? 0 : 1;
}

}  // namespace
}  // namespace halvora::soak

int main(int argc, char** argv) {
    long cycles = halvora::soak::kDefaultCycles;
    std::uint64_t seed = 1;
    for (int i = 1; i < argc; ++i) {
        const std::string flag = argv[i];
        if (flag == "--self-check") return halvora::soak::runSelfCheck();
        if (flag == "--cycles" && i + 1 < argc) {
            cycles = std::atol(argv[++i]);
        } else if (flag == "--seed" && i + 1 < argc) {
            seed = std::strtoull(argv[++i], nullptr, 10);
        } else {
            std::fprintf(stderr, "usage: halvora_soak_cycles [--cycles N] [--seed S] | --self-check\n");
            return 2;
        }
    }
    return halvora::soak::runSoak(cycles, seed);
}
