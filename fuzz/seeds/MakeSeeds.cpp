// Writes the fuzz targets' seed corpora from what the lab's devices really send: each driver is connected
// through the manager to the virtual device that plays it, its commands are run once, and every
// notification that reaches it is recorded (with the time between events) into an event script of the
// driver harness's format. The RM830's updater is recorded the way it is met: an RM830 on old firmware is
// switched to its bootloader, and the update runs there. A few hand-written scripts add the answers a
// well-behaved lab device does not give (refusals, errors, split frames), and the Intel HEX converter gets
// small HEX texts.
// Run from the repository's root: halvora_fuzz_seeds fuzz/corpus [TARGET ...] (no target: all of them).
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "DFU/HexRecords.hpp"
#include "LabCatalog.hpp"
#include "LabFile.hpp"
#include "halvora/Core/Log.hpp"
#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Core/ResourceBundle.hpp"
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

/// A manager on the virtual executor with one lab device in range and Bluetooth on, as a seed is recorded.
struct LabWorld {
    LabWorld(const std::string& name, const cli::LabClass& labClass, nlohmann::json script,
             std::shared_ptr<ResourceBundle> resources = nullptr) {
        const auto file = std::filesystem::path(scratchFolder()) / ("seeds-" + name);
        std::filesystem::remove(file);
        preferences = std::make_shared<PreferenceUtils>(file, log.get());
        cli::LabDeviceSpec entry;
        entry.className = labClass.className;
        entry.identifier = "6F1C2D3E-0000-4000-8000-0000000000E1";
        entry.script = std::move(script);
        radio->addPeripheral(labClass.make(entry));
        manager = HalvoraSDKManager::create(
            ManagerEnvironment{executor, transport, preferences, log, "179", std::move(resources)});
        sinks = installSinkDelegates(*manager);
        manager->initCentralManagerWithoutBackgroundMode();
        executor->runUntilIdle();
    }
    ~LabWorld() { executor->dropPending(); }
    LabWorld(const LabWorld&) = delete;
    LabWorld& operator=(const LabWorld&) = delete;

    /// The driver of `kind` once the manager has one (after a connection it asked for), within 30 s.
    std::shared_ptr<BLEDevice> waitForDriver(DeviceKind kind, const std::string& what) {
        if (!executor->runUntil([&] { return manager->driverForKind(kind) != nullptr; }, std::chrono::seconds(30))) {
            throw std::runtime_error(what + ": the lab device was not connected");
        }
        return manager->driverForKind(kind);
    }

    /// Lets the last answers in, then drops the link of `kind` and everything still waiting.
    void finish(DeviceKind kind) {
        executor->advance(std::chrono::seconds(10));
        manager->disconnectDevice(kind);
        executor->advance(std::chrono::seconds(1));
        executor->dropPending();
    }

    // Made in this order, so that the manager goes before the preferences and the log it was given.
    std::shared_ptr<VirtualExecutor> executor = VirtualExecutor::create();
    std::shared_ptr<lab::Radio> radio = std::make_shared<lab::Radio>(executor, 1);
    std::shared_ptr<lab::LabTransport> transport = std::make_shared<lab::LabTransport>(radio);
    std::shared_ptr<Log> log = Log::makeSilent();
    std::shared_ptr<PreferenceUtils> preferences;
    std::shared_ptr<HalvoraSDKManager> manager;
    std::shared_ptr<void> sinks;
};

/// Puts a tap between `driver` and its peripheral, recording into `script`.
std::shared_ptr<Tap> tapDriver(const std::shared_ptr<BLEDevice>& driver, const DriverTarget& target,
                               const std::shared_ptr<Executor>& executor, std::vector<std::uint8_t>& script) {
    auto tap = std::make_shared<Tap>(driver, target, executor, script);
    driver->device()->setDelegate(tap);
    return tap;
}

/// The operands of some commands of a target, by command index (the others get zeros).
using Operands = std::map<std::size_t, std::vector<std::uint8_t>>;

/// The Vital target (support/DriverTargets.cpp): its commands are the 21 settings, then the history requests
/// (first kVitalFirstHistory, each reading byte 1 from one operand byte), then the ECG's start, status and
/// waveform (the record number from two operand bytes, high byte first).
constexpr const char* kVitalTarget = "vital_notifications";
constexpr std::uint8_t kVitalFirstHistory = 21;
constexpr std::uint8_t kVitalECGStart = 33;
constexpr std::uint8_t kVitalECGStatus = 34;
constexpr std::uint8_t kVitalECGWaveform = 35;
constexpr std::size_t kVitalCommandCount = 36;

/// The commands a target's lab flow runs: all of them, but the Vital's settings only. Its history and ECG
/// have seeds of their own (vitalSessions): in one flow their answers, with the seconds of live ECG, would
/// run the script far past the 4 KiB an input may have.
std::size_t commandsInFlow(const DriverTarget& target) {
    return target.name == kVitalTarget ? std::min<std::size_t>(kVitalFirstHistory, target.commands.size())
                                       : target.commands.size();
}

/// The script of one driver target, recorded against its lab twin.
std::vector<std::uint8_t> recordDriver(const DriverTarget& target, const Operands& given = {}) {
    const auto* labClass = cli::LabCatalog::find(target.driverClass);
    if (!labClass) throw std::runtime_error("no lab device plays " + target.driverClass);
    LabWorld world(target.name, *labClass, labClass->defaultScript);
    auto& executor = world.executor;

    std::vector<std::uint8_t> script;
    world.manager->connectDevice(labClass->kind, 30);
    auto driver = world.waitForDriver(labClass->kind, target.name);
    auto tap = tapDriver(driver, target, executor, script);
    executor->advance(std::chrono::seconds(3));

    const std::vector<std::uint8_t> zeros(64, 0);
    for (std::size_t i = 0; i < commandsInFlow(target); ++i) {
        tap->markTime();
        const auto found = given.find(i);
        const std::vector<std::uint8_t>& bytes = found == given.end() ? zeros : found->second;
        appendCommand(script, static_cast<std::uint8_t>(i), bytes);
        FuzzInput operands(bytes);
        auto queue = driver->context().callbackQueue;
        auto run = [&, i] { target.commands[i](*driver, operands); };
        if (queue) {
            queue->async(run);
        } else {
            run();
        }
        executor->advance(std::chrono::seconds(20));
    }
    world.finish(labClass->kind);
    return script;
}

/// The target of the RM830 in update mode.
constexpr const char* kUpdaterTarget = "dfu_notifications";
/// A version the kit finds older than its image: the RM830 asks to be updated as soon as it is connected.
constexpr const char* kOldRM830Firmware = "54.51.55.9";

/// The updater's script, recorded as the update is met: the lab's RM830 on old firmware is connected, the kit
/// switches it to its bootloader, and the update runs there (upload, validation, activation) with the image
/// the fuzzed updater sends.
std::vector<std::uint8_t> recordUpdater(const DriverTarget& target) {
    const auto* bracelet = cli::LabCatalog::find("HalvoraSDKBraceletRM830");
    if (!bracelet) throw std::runtime_error("no lab device plays HalvoraSDKBraceletRM830");
    auto braceletScript = bracelet->defaultScript;
    braceletScript["version"] = kOldRM830Firmware;
    // The target's drivers carry the bundle with its small image: the recorded upload is the one they send.
    const auto resources = target.make(DriverContext{})->context().resources;
    LabWorld world(target.name, *bracelet, braceletScript, resources);

    std::vector<std::uint8_t> script;
    world.manager->connectDevice(bracelet->kind, 30);
    auto driver = world.waitForDriver(DeviceTypeBraceletRM830DFU, target.name);
    auto tap = tapDriver(driver, target, world.executor, script);
    world.executor->advance(std::chrono::seconds(20));
    world.finish(DeviceTypeBraceletRM830DFU);
    return script;
}

void writeSeed(const std::filesystem::path& folder, const std::string& name, const std::vector<std::uint8_t>& bytes) {
    std::filesystem::create_directories(folder);
    std::ofstream out(folder / name, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    std::printf("%s/%s: %zu bytes\n", folder.string().c_str(), name.c_str(), bytes.size());
}

using Bytes = std::vector<std::uint8_t>;
/// Seeds of one target, by file name.
using NamedSeeds = std::vector<std::pair<std::string, Bytes>>;

void writeSeeds(const std::filesystem::path& folder, const NamedSeeds& seeds) {
    for (const auto& [name, bytes] : seeds) writeSeed(folder, name, bytes);
}

/// Writes an event script by hand (see support/FuzzEvents.hpp).
class ScriptWriter {
public:
    ScriptWriter& notify(std::uint8_t characteristic, const Bytes& value) {
        appendNotify(script_, characteristic, value);
        return *this;
    }
    ScriptWriter& command(std::uint8_t index, const Bytes& operands = {}) {
        appendCommand(script_, index, operands);
        return *this;
    }
    ScriptWriter& wait(int milliseconds) {
        appendAdvance(script_, milliseconds);
        return *this;
    }
    ScriptWriter& disconnect() { return operation(Operation::Disconnect); }
    ScriptWriter& reconnect() { return operation(Operation::Reconnect); }
    const Bytes& script() const { return script_; }

private:
    ScriptWriter& operation(Operation operation) {
        script_.push_back(static_cast<std::uint8_t>(operation));
        return *this;
    }

    Bytes script_;
};

// ------------------------------------------------------------------ the RM830 in update mode, by hand

/// The updater target's characteristics in script order, and its commands (support/DriverTargets.cpp).
constexpr std::uint8_t kUpdaterControlPoint = 0;
constexpr std::uint8_t kUpdaterVersion = 2;
constexpr std::uint8_t kUpdaterLinkEnded = 1;
constexpr std::uint8_t kUpdaterErrorEvent = 2;

/// The bootloader's control-point notifications: 10 OP ST answers a request, 11 is a packet receipt (with the
/// bytes received, 200 after the first burst).
const Bytes kStartAccepted{0x10, 0x01, 0x01};
const Bytes kStartNotSupported{0x10, 0x01, 0x03};
const Bytes kReceipt{0x11, 0xC8, 0x00, 0x00, 0x00};
const Bytes kImageReceived{0x10, 0x03, 0x01};
const Bytes kImageTooLong{0x10, 0x03, 0x04};
const Bytes kValidated{0x10, 0x04, 0x01};
const Bytes kCrcError{0x10, 0x04, 0x05};

/// The ways an update goes that the lab's default bootloader does not show, from the bootloader's side.
NamedSeeds updaterScripts() {
    auto answers = [](std::initializer_list<Bytes> notifications) {
        ScriptWriter writer;
        writer.notify(kUpdaterVersion, {0x08, 0x00});
        for (const auto& notification : notifications) writer.wait(30).notify(kUpdaterControlPoint, notification);
        return writer.script();
    };
    ScriptWriter linkLost;
    linkLost.notify(kUpdaterControlPoint, kStartAccepted).notify(kUpdaterControlPoint, kReceipt).disconnect();
    linkLost.wait(2000).reconnect().notify(kUpdaterControlPoint, kStartAccepted).command(kUpdaterLinkEnded);
    return {
        {"new-procedure", answers({kStartAccepted, kReceipt, kImageReceived, kValidated})},
        {"old-procedure", answers({kStartNotSupported, kStartAccepted, kReceipt, kImageReceived, kValidated})},
        {"old-procedure-refused", answers({kStartNotSupported, kStartNotSupported})},
        {"crc-error", answers({kStartAccepted, kReceipt, kImageReceived, kCrcError})},
        {"upload-left-running", answers({kStartAccepted, kReceipt})},
        {"image-too-long", answers({kStartAccepted, kImageTooLong})},
        {"version-zero", ScriptWriter().notify(kUpdaterVersion, {0x00}).script()},
        {"version-read-failed", ScriptWriter().command(kUpdaterErrorEvent, {1, 0}).script()},
        {"link-lost-and-back", linkLost.script()},
    };
}

// ------------------------------------------------------------------ the wrist blood-pressure bracelet, by hand

/// The wrist bracelet target's notify characteristic and commands (support/DriverTargets.cpp).
constexpr std::uint8_t kTensioNotify = 0;
enum TensioCommand : std::uint8_t {
    kStart,
    kStop,
    kReturn,
    kHistory,
    kRemoveHistory,
    kGetClock,
    kSetClock,
    kBasicInfo,
    kReset,
    kSetConfig,
    kSetSchedule,
    kGetSchedule,
};

/// A frame of the bracelet: 5A 00, the count of `values`, the values, then the check (the XOR of the count and
/// the values, as the phone's commands have it), so that a frame is the count + 4 bytes long.
Bytes tensioFrame(const Bytes& values) {
    const auto count = static_cast<std::uint8_t>(values.size());
    Bytes frame{0x5A, 0x00, count};
    std::uint8_t check = count;
    for (auto value : values) {
        frame.push_back(value);
        check ^= value;
    }
    frame.push_back(check);
    return frame;
}

/// The answers that frames of 6, 10 and 14 bytes carry, each under the request that asks for it.
NamedSeeds tensioScripts() {
    const Bytes ack = tensioFrame({0x40, 0x00});
    auto pressure = [](std::uint8_t value) { return tensioFrame({0x00, value}); };
    const Bytes result = tensioFrame({0x13, 0x01, 0x16, 0x0A, 0x05, 0x00, 0x7A, 0x50, 0x48, 0x00});
    const Bytes stored = tensioFrame({0x00, 0x00, 0x7A, 0x50, 0x48, 0x00});
    const Bytes storedIrregular = tensioFrame({0x00, 0x00, 0x8C, 0x5A, 0x58, 0x01});
    const Bytes clock = tensioFrame({0x13, 0x01, 0x16, 0x0A, 0x05, 0x09});
    const Bytes basicInfo = tensioFrame({0x4C, 0x10, 0x00, 0x00, 0x05, 0x00});
    // 8:00 to 12:30 every 60 minutes (window 1 of 2), 12:30 to 18:00 (window 2 of 2).
    const Bytes firstWindow = tensioFrame({0x08, 0x00, 0x0C, 0x1E, 0x3C, 0x12});
    const Bytes secondWindow = tensioFrame({0x0C, 0x1E, 0x12, 0x00, 0x3C, 0x22});
    auto notifyAll = [](ScriptWriter& writer, std::initializer_list<Bytes> frames) {
        for (const auto& frame : frames) writer.wait(500).notify(kTensioNotify, frame);
    };

    ScriptWriter measurement;
    measurement.command(kStart);
    notifyAll(measurement, {ack, pressure(0x50), pressure(0x78), pressure(0xA0), pressure(0x64), result});
    measurement.command(kReturn);
    notifyAll(measurement, {ack, result});

    ScriptWriter stopped;
    stopped.command(kStart);
    notifyAll(stopped, {ack, pressure(0x50)});
    stopped.command(kStop);
    notifyAll(stopped, {ack});

    ScriptWriter errors;
    for (const Bytes& error :
         {tensioFrame({0x50, 0x01}), tensioFrame({0x51, 0x01}), tensioFrame({0x52, 0x03}), tensioFrame({0x52, 0x09})}) {
        errors.command(kStart);
        notifyAll(errors, {ack, error});
    }

    ScriptWriter memory;
    memory.command(kHistory);
    notifyAll(memory, {tensioFrame({0x60, 0x02})});
    for (const Bytes& record : {stored, storedIrregular}) {
        memory.command(kHistory);
        notifyAll(memory, {record});
    }
    memory.command(kRemoveHistory);
    notifyAll(memory, {ack});

    ScriptWriter texts;
    texts.command(kGetClock);
    notifyAll(texts, {clock});
    texts.command(kGetSchedule);
    notifyAll(texts, {firstWindow, secondWindow});
    texts.command(kBasicInfo);
    notifyAll(texts, {basicInfo});

    ScriptWriter settings;
    const Bytes twoWindows{2, 8, 0, 12, 1, 0, 0, 0, 1, 12, 1, 18, 0, 0, 0, 0, 3};
    settings.command(kSetClock).command(kSetConfig, {0, 0, 0, 1, 1}).command(kSetSchedule, twoWindows).command(kReset);
    notifyAll(settings, {ack, ack, ack, ack, ack});

    // Frames cut over several notifications; while an answer is awaited (one that never comes: the next
    // command goes after its 60 s wait), a frame that runs past its length and one that grows past the cap.
    ScriptWriter pieces;
    pieces.command(kStart);
    notifyAll(pieces, {{0x5A, 0x00}, {0x02, 0x40, 0x00, 0x42}});
    notifyAll(pieces, {Bytes(result.begin(), result.begin() + 5), Bytes(result.begin() + 5, result.begin() + 9),
                       Bytes(result.begin() + 9, result.end())});
    pieces.command(kGetClock);
    Bytes longFrame{0x5A, 0x00, 0xFF};
    longFrame.resize(200, 0x11);
    notifyAll(pieces, {{0x5A, 0x00, 0x02, 0x00, 0x50, 0x52, 0x00}, longFrame, longFrame});
    pieces.command(kBasicInfo).wait(61000);
    notifyAll(pieces, {basicInfo});

    // Frames nobody asked for: dropped.
    ScriptWriter stray;
    notifyAll(stray, {ack, pressure(0x50), result, clock});

    return {{"measurement", measurement.script()},   {"measurement-stopped", stopped.script()},
            {"measurement-errors", errors.script()}, {"memory", memory.script()},
            {"clock-schedule-info", texts.script()}, {"settings", settings.script()},
            {"split-and-overflow", pieces.script()}, {"stray-frames", stray.script()}};
}

// ------------------------------------------------------------------ the Vital bracelet's history and ECG, recorded

/// Where the lab bracelet's clock stands in every Vital seed, so that the seeds are the same on every run.
constexpr const char* kVitalClock = "2026-03-09 22:00";

/// One command of a recorded session, its operand bytes, and how long the bracelet then has to answer.
struct VitalStep {
    std::uint8_t command = 0;
    Bytes operands;
    std::chrono::milliseconds wait{std::chrono::seconds(5)};
};

/// The script of `steps` run against the lab's Vital bracelet playing `braceletScript`.
Bytes recordVitalSession(const DriverTarget& target, const nlohmann::json& braceletScript,
                         const std::vector<VitalStep>& steps) {
    if (target.commands.size() != kVitalCommandCount) throw std::runtime_error("the Vital commands moved");
    const auto* labClass = cli::LabCatalog::find(target.driverClass);
    if (!labClass) throw std::runtime_error("no lab device plays " + target.driverClass);
    LabWorld world(target.name, *labClass, braceletScript);
    Bytes script;
    world.manager->connectDevice(labClass->kind, 30);
    auto driver = world.waitForDriver(labClass->kind, target.name);
    auto tap = tapDriver(driver, target, world.executor, script);
    world.executor->advance(std::chrono::seconds(3));
    for (const auto& step : steps) {
        tap->markTime();
        appendCommand(script, step.command, step.operands);
        auto run = [&] {
            FuzzInput operands(step.operands);
            target.commands[step.command](*driver, operands);
        };
        if (auto queue = driver->context().callbackQueue) {
            queue->async(run);
        } else {
            run();
        }
        world.executor->advance(step.wait);
    }
    world.finish(labClass->kind);
    return script;
}

/// Each history request once against three days of generated history; an ECG started, streamed for two
/// seconds and polled while measuring and finished; a stored waveform downloaded; a start the bracelet
/// refuses.
NamedSeeds vitalSessions(const DriverTarget& target) {
    const char* kinds[] = {
        "totals", "totals-of-today", "steps",        "sleep",       "automatic-heart-rate",  "heart-rate",
        "hrv",    "sport",           "blood-oxygen", "temperature", "automatic-temperature", "automatic-blood-oxygen"};
    const nlohmann::json days = {{"clock", kVitalClock}, {"history", {{"seed", 3}, {"days", 3}}}};
    NamedSeeds seeds;
    for (std::uint8_t k = 0; k < std::size(kinds); ++k) {
        const std::uint8_t command = kVitalFirstHistory + k;
        seeds.emplace_back(std::string("history-") + kinds[k], recordVitalSession(target, days, {{command, {0}}}));
    }
    using std::chrono::seconds;
    const nlohmann::json measured = {{"clock", kVitalClock}, {"ecg", {{"seconds", 2}, {"records", 0}}}};
    seeds.emplace_back("ecg-measured", recordVitalSession(target, measured,
                                                          {{kVitalECGStart, {}, seconds(1)},
                                                           {kVitalECGStatus, {}, seconds(2)},
                                                           {kVitalECGStatus, {}}}));
    const nlohmann::json stored = {{"clock", kVitalClock}, {"ecg", {{"seconds", 1}, {"records", 1}}}};
    seeds.emplace_back("ecg-waveform", recordVitalSession(target, stored, {{kVitalECGWaveform, {0, 1}}}));
    const nlohmann::json refused = {{"clock", kVitalClock}, {"ecg", {{"refuse", 2}}}};
    seeds.emplace_back("ecg-refused",
                       recordVitalSession(target, refused, {{kVitalECGStart, {}}, {kVitalECGStatus, {}}}));
    return seeds;
}

// ------------------------------------------------------------------ Intel HEX texts

/// The kit's firmware file, read from the repository's root.
constexpr const char* kFirmwareFile = "resources/firmware/J055_07_V638_20190122.hex";
/// How a type-4 record (the upper 16 bits of the address) starts.
constexpr const char* kBlockRecordStart = ":02000004";
/// Lines of the firmware file in one seed: 90 lines of 44 bytes stay within the 4 KiB that fuzz/run.sh lets an
/// input have.
constexpr std::size_t kLinesPerPiece = 90;

/// The converter tests' kinds of text: line ends, gaps, moves of the base that continue the image or end it,
/// and each way a text holds no image.
NamedSeeds hexCases() {
    using namespace halvora::test;
    const Bytes a = pattern(16, 0x10), b = pattern(8, 0x80), c = pattern(4, 0xC0);
    const std::vector<std::pair<std::string, std::string>> texts = {
        {"line-feeds", hexText({dataRecord(0x0FF8, c), dataRecord(0x1000, a), dataRecord(0x1010, b), endRecord()})},
        {"cr-lf", hexText({dataRecord(0x1000, a), dataRecord(0x1010, b), endRecord()}, "\r\n")},
        {"no-line-ends", hexText({dataRecord(0x1000, a), dataRecord(0x1010, b), endRecord()}, "")},
        {"gaps-vanish", hexText({dataRecord(0x3000, b), dataRecord(0x1000, a), endRecord()})},
        {"linear-next-block", hexText({dataRecord(0x1000, a), linearRecord(1), dataRecord(0x0000, b), endRecord()})},
        {"linear-jump", hexText({dataRecord(0x1000, a), linearRecord(2), dataRecord(0x0000, b), endRecord()})},
        {"segment-next", hexText({dataRecord(0x1000, a), segmentRecord(0x1000), dataRecord(0x0000, b), endRecord()})},
        {"segment-jump", hexText({dataRecord(0x1000, a), segmentRecord(0x2000), dataRecord(0x0000, b), endRecord()})},
        {"segment-below-floor", hexText({segmentRecord(0x00F0), dataRecord(0x0000, a), dataRecord(0x0100, b)})},
        {"trailing-text", hexText({dataRecord(0x1000, a), endRecord()}) + "\n"},
        {"not-a-record", hexText({dataRecord(0x1000, a), " " + dataRecord(0x1010, b), endRecord()})},
        {"cut-short", hexText({dataRecord(0x1000, a)}).substr(0, 20)},
        {"short-address-record", hexText({dataRecord(0x1000, a), hexRecord(0x04, 0, {})})},
        {"updater-image", imageText(pattern(330))},
    };
    NamedSeeds seeds;
    for (const auto& [name, text] : texts) seeds.emplace_back(name, textBytes(text));
    return seeds;
}

/// Pieces of the kit's firmware file: its first lines, the lines around its first move to the next 64 KiB
/// block, and its end (the jump to the settings area and the end record). A piece starts with the last
/// block record before it, so that it is read with the base the whole file has there. None when the file is
/// not there.
NamedSeeds firmwarePieces() {
    std::ifstream in(kFirmwareFile);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line + "\n");
    if (lines.size() < 3 * kLinesPerPiece) {
        std::printf("%s: not found or short, no firmware pieces\n", kFirmwareFile);
        return {};
    }
    auto isBlockRecord = [&](std::size_t line) { return lines[line].rfind(kBlockRecordStart, 0) == 0; };
    auto piece = [&](std::size_t first) {
        first = std::min(first, lines.size() - kLinesPerPiece);
        Bytes bytes;
        for (std::size_t i = first; i-- > 0;) {
            if (!isBlockRecord(i)) continue;
            bytes.assign(lines[i].begin(), lines[i].end());
            break;
        }
        for (std::size_t i = first; i < first + kLinesPerPiece; ++i)
            bytes.insert(bytes.end(), lines[i].begin(), lines[i].end());
        return bytes;
    };
    std::size_t blockMove = 0;
    while (blockMove < lines.size() && !isBlockRecord(blockMove)) ++blockMove;
    return {{"firmware-lines-1", piece(0)},
            {"firmware-lines-91", piece(kLinesPerPiece)},
            {"firmware-lines-181", piece(2 * kLinesPerPiece)},
            {"firmware-next-block", piece(blockMove > kLinesPerPiece / 2 ? blockMove - kLinesPerPiece / 2 : 0)},
            {"firmware-end", piece(lines.size() - kLinesPerPiece)}};
}

// ------------------------------------------------------------------ the pill box

/// The pill box target's characteristics and commands (support/DriverTargets.cpp).
constexpr std::uint8_t kPillNotify = 0;
constexpr std::uint8_t kPillRealtimeNotify = 3;
constexpr std::uint8_t kPillHardwareRevision = 5;
enum PillCommand : std::uint8_t {
    kPillSetTime,
    kPillGetTime,
    kPillSetZone,
    kPillGetZone,
    kPillBattery,
    kPillLastSync,
    kPillMarkSync,
    kPillClearHistory,
    kPillSetSchedule,
    kPillGetSchedule,
    kPillHistory,
    kPillDuration,
    kPillConfirmation,
    kPillClearSchedule,
    kPillCommandCount,
};
/// 2025-12-30 00:00 UTC, in seconds since 1970: the recorded schedule's first day. The lab box's clock is the
/// phone's (2026-01-01 00:00 on the virtual executor) and the recording clears the history (command 7, at about
/// 00:02:20) before it writes the schedule: the box makes doses of the alarms between that clearing and the
/// history read (command 10, at about 00:03:20), hence two alarms at 00:03 on the third day.
constexpr std::uint32_t kPillSeedDay = 1767052800;
/// The pill box's target.
constexpr const char* kPillTarget = "pillreminder_notifications";

/// The operands of the schedule command: nine alarms on four days, two of them in the history.
Bytes pillScheduleOperands() {
    struct Alarm {
        int day, hour, minute, colour;
    };
    const Alarm alarms[] = {{0, 8, 0, 1},   {0, 13, 0, 2}, {0, 20, 30, 3}, {1, 8, 0, 1}, {1, 13, 0, 2},
                            {1, 20, 30, 3}, {2, 0, 3, 2},  {2, 0, 3, 4},   {3, 8, 0, 4}};
    Bytes operands{static_cast<std::uint8_t>(std::size(alarms))};
    for (const auto& a : alarms) {
        const std::uint32_t at =
            kPillSeedDay + static_cast<std::uint32_t>(a.day * 86400 + a.hour * 3600 + a.minute * 60);
        for (int shift = 24; shift >= 0; shift -= 8) operands.push_back(static_cast<std::uint8_t>(at >> shift));
        operands.push_back(static_cast<std::uint8_t>(a.colour));
    }
    return operands;
}

/// A frame of the box: AA 55, the length (code, payload and checksum), the code, the payload, the checksum
/// (the low byte of the sum of the length, the code and the payload).
Bytes pillFrame(std::uint8_t code, const Bytes& payload) {
    Bytes frame{0xAA, 0x55, static_cast<std::uint8_t>(payload.size() + 2), code};
    frame.insert(frame.end(), payload.begin(), payload.end());
    unsigned sum = 0;
    for (std::size_t i = 2; i < frame.size(); ++i) sum += frame[i];
    frame.push_back(static_cast<std::uint8_t>(sum));
    return frame;
}

/// What a well-behaved lab box does not send: refusals of every command, schedule and history replies cut
/// where the kit does not expect them, replies nobody asked for, and notifications on the other
/// characteristics.
NamedSeeds pillReminderScripts() {
    const Bytes ack = pillFrame(0xF0, {});
    const Bytes refusal = pillFrame(0xF1, {});
    const Bytes scheduleError = pillFrame(0xFE, {0x00});
    // 2026-11-19 (packed 35 73), two alarms: 08:00 colour 1 (40 01) and 19:19 colour 2 (9A 62).
    Bytes day{0x35, 0x73, 0x02, 0x40, 0x01, 0x9A, 0x62};
    day.resize(day.size() + 16, 0xFF);
    const Bytes scheduleDay = pillFrame(0xD3, day);
    // 2025-12-31: planned 08:00, taken 08:03 on time; planned 20:30, missed.
    const Bytes history =
        pillFrame(0xD5, {0x02, 0x06, 0x73, 0xE8, 0x0C, 0x08, 0x00, 0x06, 0x73, 0xE0, 0x02, 0x14, 0x1E});
    auto pieces = [](const Bytes& frame, std::size_t size) {
        std::vector<Bytes> out;
        for (std::size_t at = 0; at < frame.size(); at += size) {
            out.emplace_back(frame.begin() + static_cast<std::ptrdiff_t>(at),
                             frame.begin() + static_cast<std::ptrdiff_t>(std::min(frame.size(), at + size)));
        }
        return out;
    };

    ScriptWriter refusals;
    for (std::uint8_t command = 0; command < kPillCommandCount; ++command) {
        refusals.command(command, Bytes(16, 0x01)).wait(100).notify(kPillNotify, refusal);
    }
    refusals.command(kPillSetSchedule, pillScheduleOperands()).wait(100).notify(kPillNotify, ack);
    for (int frame = 0; frame < 4; ++frame) refusals.wait(100).notify(kPillNotify, frame % 2 ? scheduleError : refusal);

    ScriptWriter schedule;
    schedule.command(kPillGetSchedule);
    for (const auto& piece : pieces(scheduleDay, 20)) schedule.wait(30).notify(kPillNotify, piece);
    for (const auto& piece : pieces(scheduleDay, 7)) schedule.wait(30).notify(kPillNotify, piece);
    schedule.wait(30).notify(kPillNotify, ack);

    ScriptWriter records;
    records.command(kPillHistory);
    for (const auto& piece : pieces(history, 20)) records.wait(30).notify(kPillNotify, piece);
    for (const auto& piece : pieces(history, 3)) records.wait(30).notify(kPillNotify, piece);
    records.wait(30).notify(kPillNotify, ack);

    ScriptWriter stray;
    stray.notify(kPillNotify, ack)
        .notify(kPillNotify, history)
        .notify(kPillRealtimeNotify, {0xAA, 0x55, 0x03, 0xE1, 0x01, 0xE5});
    stray.notify(kPillHardwareRevision, {'T', 'M', 'G'})
        .command(kPillBattery)
        .wait(61000)
        .notify(kPillNotify, pillFrame(0xB9, {0x5A}));
    return {{"refusals", refusals.script()},
            {"schedule-pieces", schedule.script()},
            {"history-pieces", records.script()},
            {"stray", stray.script()}};
}

/// A preferences file with every key set, as the kit writes it.
std::vector<std::uint8_t> preferencesFile() {
    const auto file = std::filesystem::path(scratchFolder()) / "seed-preferences";
    std::filesystem::remove(file);
    const auto silent = Log::makeSilent();
    {
        PreferenceUtils preferences(file, silent.get());
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

/// The facade target's scripts: each device of the default lab alone (connected, then every call with time
/// to measure and download), and three devices at once. A script opens with the number of devices in range
/// less one and each device's place in the default lab.
NamedSeeds managerScripts() {
    const auto lab = cli::LabDescription::defaultLab();
    const auto calls = [](Bytes& script, std::uint8_t kind) {
        // The calls from startMeasurement on, in the target's order, each with its operands.
        const std::vector<Bytes> operands = {{kind}, {kind}, {kind}, {0, 0, 0, 1}, {0, 180, 1, 40}, {}, {}, {},
                                             {},     {0, 0, 39, 16}, {1}, {}, {2}, {}, {1}, {}};
        script.insert(script.end(), {0, 0, kind, 30, 2, 255, 2, 255});
        for (std::size_t i = 0; i < operands.size(); ++i) {
            script.insert(script.end(), {0, static_cast<std::uint8_t>(6 + i)});
            script.insert(script.end(), operands[i].begin(), operands[i].end());
            script.insert(script.end(), {2, 120});
        }
        script.insert(script.end(), {3, 0, 2, 200, 4, 0, 2, 10, 4, 1, 2, 255});
    };
    NamedSeeds seeds;
    for (std::size_t i = 0; i < lab.devices.size(); ++i) {
        const auto* labClass = cli::LabCatalog::find(lab.devices[i].className);
        Bytes script{0, static_cast<std::uint8_t>(i)};
        calls(script, static_cast<std::uint8_t>(labClass->kind + 1));  // the script's kinds start at -1
        seeds.emplace_back("alone-" + lab.devices[i].className, script);
    }
    Bytes three{2, 0, 4, 8};
    for (std::uint8_t kind = 1; kind <= 12; ++kind) three.insert(three.end(), {0, 0, kind, 30});
    three.insert(three.end(), {2, 255, 2, 255, 0, 3, 2, 255});
    seeds.emplace_back("three-devices", three);
    return seeds;
}

}  // namespace
}  // namespace halvora::fuzz

int main(int argc, char** argv) {
    using namespace halvora::fuzz;
    const std::filesystem::path root = argc > 1 ? argv[1] : "fuzz/corpus";
    const std::set<std::string> only(argv + std::min(argc, 2), argv + argc);
    const auto wanted = [&](const std::string& target) { return only.empty() || only.count(target) > 0; };
    for (const auto& target : driverTargets()) {
        if (!wanted(target.name)) continue;
        const bool updater = target.name == kUpdaterTarget;
        const bool pillBox = target.name == kPillTarget;
        writeSeed(root / target.name, "lab-flow",
                  updater   ? recordUpdater(target)
                  : pillBox ? recordDriver(target, {{kPillSetSchedule, pillScheduleOperands()}})
                            : recordDriver(target));
    }
    if (wanted(kUpdaterTarget)) writeSeeds(root / kUpdaterTarget, updaterScripts());
    for (const auto& target : driverTargets()) {
        if (target.name == kVitalTarget && wanted(kVitalTarget)) writeSeeds(root / kVitalTarget, vitalSessions(target));
    }
    if (wanted("tensio_notifications")) writeSeeds(root / "tensio_notifications", tensioScripts());
    if (wanted(kPillTarget)) writeSeeds(root / kPillTarget, pillReminderScripts());
    if (wanted("dfu_hex_converter")) {
        writeSeeds(root / "dfu_hex_converter", hexCases());
        writeSeeds(root / "dfu_hex_converter", firmwarePieces());
    }
    if (wanted("manager_facade")) writeSeeds(root / "manager_facade", managerScripts());
    if (wanted("core_preferences")) writeSeed(root / "core_preferences", "every-key", preferencesFile());
    if (!wanted("lab_file")) return 0;
    std::error_code ignored;
    for (const auto& lab : std::filesystem::directory_iterator("tests/cli/labs", ignored)) {
        std::ifstream in(lab.path(), std::ios::binary);
        std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        writeSeed(root / "lab_file", lab.path().filename().string(), bytes);
    }
    return 0;
}
