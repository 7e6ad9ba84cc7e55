#include "Session.hpp"

#include <cstdio>
#include <thread>

#include "CliError.hpp"
#include "halvora/Core/Format.hpp"
#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Runtime/ThreadedExecutor.hpp"
#include "lab/LabTransport.hpp"
#ifdef HALVORA_WITH_BLUEZ
#include "halvora/Transport/BlueZ/BlueZTransport.hpp"
#endif

namespace halvora::cli {

namespace {

constexpr auto kRealtimePoll = std::chrono::milliseconds(5);
constexpr double kCentralStartLimit = 5.0;

std::shared_ptr<Log> makeLog(bool verbose) {
    if (!verbose) return Log::makeSilent();
    return std::make_shared<Log>([](const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); });
}

}  // namespace

std::string secondsText(Duration duration) {
    return format("%.1f s", std::chrono::duration<double>(duration).count());
}

Session::Session(const GlobalOptions& options) : options_(options), printer_(options.json) {
    // Real Bluetooth runs on the real clock.
    if (options_.realtime || options_.transport == "bluez") {
        executor_ = ThreadedExecutor::create();
    } else {
        virtualExecutor_ = VirtualExecutor::create();
        executor_ = virtualExecutor_;
    }
    start_ = executor_->now();
    auto log = makeLog(options_.verbose);
    // The kit's own helpers write to the process-wide log: it goes where the manager's log goes.
    Log::shared().setSink([log](const std::string& line) { log->write(line); });
    if (options_.transport == "lab") {
        buildLab();
    } else if (options_.transport == "bluez") {
#ifdef HALVORA_WITH_BLUEZ
        BlueZOptions bluezOptions;
        bluezOptions.adapter = options_.adapter;
        auto bluez = BlueZTransport::create(bluezOptions, executor_, log);
        if (auto unusable = bluez->probe(seconds(kCentralStartLimit))) {
            throw CliError(ExitTransportUnavailable, "no BlueZ transport: " + *unusable);
        }
        transport_ = bluez;
#else
        throw CliError(ExitTransportUnavailable, "this build of halvora has no BlueZ transport");
#endif
    } else {
        throw CliError(ExitBadArguments, "unknown transport \"" + options_.transport + "\" (use lab or bluez)");
    }
    manager_ = HalvoraSDKManager::create(ManagerEnvironment{executor_, transport_, nullptr, log, "179"});
    app_ = std::make_shared<CliApplication>();
    manager_->setDelegate(app_);
    manager_->setDeviceDelegate(app_);
    manager_->setDevicesScanDelegate(app_);
    manager_->setWeightscaleDelegate(app_);
    manager_->setThermometerDelegate(app_);
    manager_->setOximeterDelegate(app_);
    manager_->setBabyThermometerDelegate(app_);
}

Session::~Session() {
    // Watchers may refer to a command's locals; a command that failed left them set.
    app_->onStatus = nullptr;
    app_->onProgress = nullptr;
    app_->onScan = nullptr;
    app_->onWeighing = nullptr;
    app_->onOximeter = nullptr;
    app_->onThermometerEvent = nullptr;
    if (manager_) manager_->stopScan();
    if (virtualExecutor_) {
        // Close what is open, then drop what is still scheduled: the devices' timers and the kit's delayed
        // calls hold the pieces of this world and would otherwise keep each other alive.
        for (DeviceKind kind = DeviceTypeHeart; kind <= kHighestDeviceKind; ++kind) {
            if (manager_ && manager_->driverForKind(kind)) manager_->disconnectDevice(kind);
        }
        virtualExecutor_->advance(seconds(1));
        virtualExecutor_->dropPending();
    }
    if (auto threaded = std::dynamic_pointer_cast<ThreadedExecutor>(executor_)) threaded->shutdown();
}

void Session::buildLab() {
    LabDescription description =
        options_.labFile ? LabDescription::fromFile(*options_.labFile) : LabDescription::defaultLab();
    const std::uint64_t seed = options_.seed.value_or(description.seed.value_or(1));
    radio_ = std::make_shared<lab::Radio>(executor_, seed);
    if (description.link) radio_->setLinkModel(*description.link);
    for (auto& entry : description.devices) {
        LabDevice device;
        device.labClass = LabCatalog::find(entry.className);
        device.device = device.labClass->make(entry);
        device.entry = std::move(entry);
        radio_->addPeripheral(device.device);
        labDevices_.push_back(std::move(device));
    }
    transport_ = std::make_shared<lab::LabTransport>(radio_);
}

void Session::startCentral() {
    if (centralStarted_) return;
    centralStarted_ = true;
    manager_->initCentralManagerWithoutBackgroundMode();
    waitUntil([this] { return app_->poweredOn().has_value(); }, seconds(kCentralStartLimit));
    if (!manager_->isBluetoothOn()) {
        throw CliError(ExitTransportUnavailable, "Bluetooth is not powered on (" + transport_->name() + " transport)");
    }
}

bool Session::waitUntil(const std::function<bool()>& done, Duration limit) {
    if (virtualExecutor_) return virtualExecutor_->runUntil(done, limit);
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(kRealtimePoll);
    }
    return true;
}

void Session::pass(Duration duration) {
    if (virtualExecutor_) {
        virtualExecutor_->advance(duration);
    } else {
        std::this_thread::sleep_for(duration);
    }
}

Duration Session::elapsed() const { return executor_->now() - start_; }

}  // namespace halvora::cli
