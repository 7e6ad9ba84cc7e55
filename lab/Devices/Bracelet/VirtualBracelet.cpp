#include "lab/Devices/Bracelet/VirtualBracelet.hpp"

#include <algorithm>

#include "halvora/Core/Format.hpp"
#include "halvora/Core/Log.hpp"
#include "lab/Devices/Bracelet/internal/BraceletText.hpp"
#include "lab/Devices/Bracelet/internal/CommandLine.hpp"
#include "lab/Devices/Bracelet/internal/HistoryAnswers.hpp"
#include "lab/Devices/Bracelet/internal/LineAssembler.hpp"
#include "lab/Devices/Bracelet/internal/SettingTexts.hpp"

namespace halvora::lab {

namespace {

constexpr const char* kError = "ERR";
constexpr const char* kOk = "OK";
constexpr const char* kAlarm2 = "AT+ALARM2";
constexpr const char* kBondRefused = "AT+BOND:ERR";
constexpr const char* kBondAccepted = "AT+BOND:OK";
constexpr const char* kHeartFailed = "AT+HEART:ERR";
constexpr long long kStartDownload = 0;
constexpr std::size_t kMaxPhoneModeDigits = 3;

/// "0" or "1".
std::optional<bool> switchValue(const std::string& text) {
    if (text == "0") return false;
    if (text == "1") return true;
    return std::nullopt;
}

std::string reply(const std::string& command, const std::string& value) {
    return command + ":" + value;
}

}  // namespace

VirtualBracelet::VirtualBracelet(VirtualPeripheralConfig config)
    : VirtualPeripheral(std::move(config)), assembler_(std::make_unique<LineAssembler>()) {
    addService(kService);
    addCharacteristic(kService, kWrite, CharacteristicPropertyWrite | CharacteristicPropertyWriteWithoutResponse);
    addCharacteristic(kService, kNotify, CharacteristicPropertyNotify);
    addService(kScanService);
}

VirtualBracelet::~VirtualBracelet() = default;

std::shared_ptr<VirtualBracelet> VirtualBracelet::make(const std::string& identifier, int rssi,
                                                       const std::string& name) {
    VirtualPeripheralConfig config;
    config.identifier = identifier;
    config.name = name;
    config.localName = name;
    config.rssi = rssi;
    config.advertisedServices = {kScanService};
    return std::make_shared<VirtualBracelet>(config);
}

// ---------------------------------------------------------------- script and state

void VirtualBracelet::setScript(const BraceletScript& script) {
    std::lock_guard lock(mutex_);
    script_ = script;
    unsynced_ = BraceletHistory(script.history);
    download_.reset();
}

BraceletScript VirtualBracelet::script() const {
    std::lock_guard lock(mutex_);
    return script_;
}

void VirtualBracelet::addHistory(const std::vector<BraceletRecord>& records) {
    std::lock_guard lock(mutex_);
    unsynced_.add(records);
}

BraceletSettings VirtualBracelet::settings() const {
    std::lock_guard lock(mutex_);
    BraceletSettings settings = settings_;
    settings.clock = clockNow();
    return settings;
}

std::vector<std::string> VirtualBracelet::commandsReceived() const {
    std::lock_guard lock(mutex_);
    return {commands_.begin(), commands_.end()};
}

std::vector<BraceletRecord> VirtualBracelet::unsyncedHistory() const {
    std::lock_guard lock(mutex_);
    BraceletHistory all(unsynced_.records());
    if (download_) all.add(download_->records.records());
    return all.sortedRecords();
}

int VirtualBracelet::packagesSent() const {
    std::lock_guard lock(mutex_);
    return packagesSent_;
}

int VirtualBracelet::heartMeasurements() const {
    std::lock_guard lock(mutex_);
    return heartMeasurements_;
}

std::optional<BraceletTime> VirtualBracelet::clockNow() const {
    if (!clockSetTo_) return std::nullopt;
    const auto elapsed = std::chrono::duration_cast<std::chrono::seconds>(now() - clockSetAt_).count();
    return clockSetTo_->plusSeconds(elapsed);
}

// ---------------------------------------------------------------- link (lab queue)

void VirtualBracelet::onConnected() {
    std::lock_guard lock(mutex_);
    ++generation_;
    pacer_.reset();
    assembler_->reset();
}

void VirtualBracelet::onDisconnected() {
    std::lock_guard lock(mutex_);
    ++generation_;
    assembler_->reset();
    pacer_.reset();
    heartRunning_ = 0;
    abandonDownload();
}

void VirtualBracelet::onNotifyChanged(const BLEUUID& characteristic, bool enabled) {
    if (characteristic != kNotify || !enabled) return;
    std::vector<BraceletEvent> events;
    int generation = 0;
    {
        std::lock_guard lock(mutex_);
        events = script_.events;
        generation = generation_;
    }
    for (const auto& event : events) {
        schedule(event.at, [this, generation, text = event.text] {
            {
                std::lock_guard lock(mutex_);
                if (generation != generation_) return;
            }
            send(braceletNotifications(braceletLine(text)));
        });
    }
}

void VirtualBracelet::onWrite(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value, WriteType) {
    if (characteristic != kWrite) return;
    LineAssembler::Result result;
    {
        std::lock_guard lock(mutex_);
        result = assembler_->feed(value);
    }
    for (const auto& line : result.lines) handleLine(line);
    for (int i = 0; i < result.overflows; ++i) {
        Log::shared().writef("Lab: bracelet %s dropped a command line longer than %zu bytes", identifier().c_str(),
                             LineAssembler::kMaxLineLength);
        send(braceletNotifications(braceletLine(kError)));
    }
}

// ---------------------------------------------------------------- commands

const std::vector<std::pair<std::string, VirtualBracelet::Handler>>& VirtualBracelet::handlers() {
    static const std::vector<std::pair<std::string, Handler>> table = {
        {"AT+PACE", &VirtualBracelet::onReading},
        {"AT+BAT", &VirtualBracelet::onReading},
        {"AT+BATT", &VirtualBracelet::onReading},
        {"AT+VER", &VirtualBracelet::onReading},
        {"AT+HEIGHT", &VirtualBracelet::onNumberSetting},
        {"AT+WEIGHT", &VirtualBracelet::onNumberSetting},
        {"AT+DEST", &VirtualBracelet::onNumberSetting},
        {"AT+UNITS", &VirtualBracelet::onNumberSetting},
        {"AT+HANDSUP", &VirtualBracelet::onSwitchSetting},
        {"AT+ANTI_LOST", &VirtualBracelet::onSwitchSetting},
        {"AT+FINDPHONE", &VirtualBracelet::onSwitchSetting},
        {"AT+HRMONITOR", &VirtualBracelet::onSwitchSetting},
        {"BT+IOS", &VirtualBracelet::onPhoneMode},
        {"AT+ANCS", &VirtualBracelet::onNotificationMask},
        {"AT+DT", &VirtualBracelet::onClock},
        {"AT+ALARM", &VirtualBracelet::onAlarm},
        {"AT+ALARM2", &VirtualBracelet::onAlarm},
        {"AT+SIT", &VirtualBracelet::onSedentary},
        {"AT+NAME", &VirtualBracelet::onAction},
        {"AT+FINDBT", &VirtualBracelet::onAction},
        {"AT+STEPSTORE", &VirtualBracelet::onAction},
        {"AT+ACT", &VirtualBracelet::onAction},
        {"AT+TOPACE", &VirtualBracelet::onAction},
        {"AT+BOND", &VirtualBracelet::onBond},
        {"AT+RUN", &VirtualBracelet::onRun},
        {"AT+OFF", &VirtualBracelet::onPowerOff},
        {"AT+HEART", &VirtualBracelet::onHeart},
        {"AT+DATA", &VirtualBracelet::onData},
    };
    return table;
}

VirtualBracelet::Handler VirtualBracelet::handlerFor(const std::string& command) {
    for (const auto& [name, handler] : handlers()) {
        if (name == command) return handler;
    }
    return nullptr;
}

const VirtualBracelet::NumberSetting* VirtualBracelet::numberSetting(const std::string& command) {
    static const NumberSetting settings[] = {
        {"AT+HEIGHT", &BraceletSettings::height, 0, 999},
        {"AT+WEIGHT", &BraceletSettings::weight, 0, 999},
        {"AT+DEST", &BraceletSettings::stepGoal, 0, 999999999},
        {"AT+UNITS", &BraceletSettings::distanceUnit, 0, 9},
    };
    for (const auto& setting : settings) {
        if (command == setting.command) return &setting;
    }
    return nullptr;
}

const VirtualBracelet::SwitchSetting* VirtualBracelet::switchSetting(const std::string& command) {
    static const SwitchSetting settings[] = {
        {"AT+HANDSUP", &BraceletSettings::raiseToWake},
        {"AT+ANTI_LOST", &BraceletSettings::antiLost},
        {"AT+FINDPHONE", &BraceletSettings::findPhone},
        {"AT+HRMONITOR", &BraceletSettings::heartRateMonitoring},
    };
    for (const auto& setting : settings) {
        if (command == setting.command) return &setting;
    }
    return nullptr;
}

void VirtualBracelet::handleLine(const std::string& line) {
    Reply reply;
    bool lost = false;
    {
        std::lock_guard lock(mutex_);
        recordCommand(line);
        const auto command = CommandLine::parse(line);
        lost = answerIsLost(command.name);
        currentAnswerLost_ = lost;
        const Handler handler = handlerFor(command.name);
        reply = handler ? (this->*handler)(command) : error();
        currentAnswerLost_ = false;
    }
    if (lost) {
        Log::shared().writef("Lab: bracelet %s loses its answer to \"%s\"", identifier().c_str(), line.c_str());
    } else {
        send(std::move(reply.notifications));
    }
    if (reply.then) reply.then();
}

void VirtualBracelet::recordCommand(const std::string& line) {
    commands_.push_back(line);
    if (commands_.size() > kMaxRecordedCommands) commands_.pop_front();
    ++commandCount_;
}

bool VirtualBracelet::answerIsLost(const std::string& command) const {
    const auto& faults = script_.faults;
    if (faults.loseAnswerToCommand && *faults.loseAnswerToCommand == commandCount_) return true;
    return std::find(faults.loseAnswersTo.begin(), faults.loseAnswersTo.end(), command) != faults.loseAnswersTo.end();
}

VirtualBracelet::Reply VirtualBracelet::answer(const std::string& text) const {
    return {braceletNotifications(braceletLine(text)), nullptr};
}

VirtualBracelet::Reply VirtualBracelet::error() const {
    return answer(kError);
}

VirtualBracelet::Reply VirtualBracelet::onReading(const CommandLine& command) {
    if (command.name == "AT+PACE") return answer(reply(command.name, std::to_string(script_.steps)));
    if (command.name == "AT+VER") return answer(reply(command.name, script_.version));
    return answer(reply("AT+BAT", std::to_string(script_.battery)));
}

VirtualBracelet::Reply VirtualBracelet::onNumberSetting(const CommandLine& command) {
    const NumberSetting* setting = numberSetting(command.name);
    if (!setting) return error();
    if (command.argument) {
        const auto value = braceletDecimal(*command.argument);
        if (!value || *value < setting->low || *value > setting->high) return error();
        settings_.*(setting->field) = static_cast<int>(*value);
    }
    return answer(reply(command.name, std::to_string(settings_.*(setting->field))));
}

VirtualBracelet::Reply VirtualBracelet::onSwitchSetting(const CommandLine& command) {
    const SwitchSetting* setting = switchSetting(command.name);
    if (!setting) return error();
    if (command.argument) {
        const auto on = switchValue(*command.argument);
        if (!on) return error();
        settings_.*(setting->field) = *on;
    }
    return answer(reply(command.name, settings_.*(setting->field) ? "1" : "0"));
}

VirtualBracelet::Reply VirtualBracelet::onPhoneMode(const CommandLine& command) {
    if (command.argument) {
        const auto mode = braceletDecimal(*command.argument, kMaxPhoneModeDigits);
        if (!mode) return error();
        settings_.phoneMode = static_cast<int>(*mode);
    }
    if (!settings_.phoneMode) return error();
    return answer(reply(command.name, std::to_string(*settings_.phoneMode)));
}

VirtualBracelet::Reply VirtualBracelet::onNotificationMask(const CommandLine& command) {
    if (command.argument) {
        const auto mask = braceletHexadecimal(*command.argument);
        if (!mask) return error();
        settings_.notificationMask = *mask;
    }
    return answer(reply(command.name, format("%04X", static_cast<unsigned>(settings_.notificationMask))));
}

VirtualBracelet::Reply VirtualBracelet::onClock(const CommandLine& command) {
    if (command.argument) {
        const auto time = BraceletTime::parseCompact(*command.argument);
        if (!time) return error();
        clockSetTo_ = *time;
        clockSetAt_ = now();
    }
    const auto clock = clockNow();
    if (!clock) return error();
    return answer(reply(command.name, clock->compactText()));
}

VirtualBracelet::Reply VirtualBracelet::onAlarm(const CommandLine& command) {
    auto& alarm = settings_.alarms[command.name == kAlarm2 ? 1 : 0];
    if (command.argument) {
        const auto parsed = parseAlarmArgument(*command.argument);
        if (!parsed) return error();
        alarm = *parsed;
    }
    return answer(reply(command.name, alarmArgument(alarm)));
}

VirtualBracelet::Reply VirtualBracelet::onSedentary(const CommandLine& command) {
    if (command.argument) {
        const auto parsed = parseSedentaryArgument(*command.argument);
        if (!parsed) return error();
        settings_.sedentary = *parsed;
    }
    return answer(reply(command.name, sedentaryArgument(settings_.sedentary)));
}

VirtualBracelet::Reply VirtualBracelet::onAction(const CommandLine& command) {
    if (command.name == "AT+NAME") {
        if (!command.argument) return error();
        settings_.displayText = *command.argument;
    } else if (command.name == "AT+TOPACE") {
        const auto on = command.argument ? switchValue(*command.argument) : std::nullopt;
        if (!on) return error();
        settings_.autoStepsRunning = *on;
    } else if (command.name == "AT+FINDBT") {
        ++settings_.findDeviceRequests;
    } else if (command.name == "AT+STEPSTORE") {
        ++settings_.stepStores;
    } else {
        ++settings_.activations;
    }
    return answer(reply(command.name, kOk));
}

VirtualBracelet::Reply VirtualBracelet::onBond(const CommandLine&) {
    ++settings_.bondRequests;
    return answer(script_.bondRefused ? kBondRefused : kBondAccepted);
}

VirtualBracelet::Reply VirtualBracelet::onRun(const CommandLine& command) {
    if (command.argument) {
        const auto on = switchValue(*command.argument);
        if (!on) return error();
        settings_.exerciseRunning = *on;
    }
    return answer(reply(command.name, settings_.exerciseRunning ? "1" : "0"));
}

VirtualBracelet::Reply VirtualBracelet::onPowerOff(const CommandLine& command) {
    ++settings_.powerOffs;
    Reply off = answer(reply(command.name, kOk));
    const int generation = generation_;
    off.then = [this, generation] {
        schedule(kPowerOffDelay, [this, generation] {
            {
                std::lock_guard lock(mutex_);
                if (generation != generation_) return;
            }
            dropLink();
        });
    };
    return off;
}

VirtualBracelet::Reply VirtualBracelet::onHeart(const CommandLine& command) {
    const auto on = command.argument ? switchValue(*command.argument) : std::optional<bool>(true);
    if (!on) return error();
    Reply started = answer(reply(command.name, kOk));
    if (!*on) {
        heartRunning_ = 0;
        return started;
    }
    const int measurement = ++heartMeasurements_;
    heartRunning_ = measurement;
    const int generation = generation_;
    const Duration delay = script_.heartDelay;
    started.then = [this, generation, measurement, delay] {
        schedule(delay, [this, generation, measurement] { finishHeartMeasurement(generation, measurement); });
    };
    return started;
}

void VirtualBracelet::finishHeartMeasurement(int generation, int measurement) {
    std::string result;
    {
        std::lock_guard lock(mutex_);
        if (generation != generation_ || heartRunning_ != measurement) return;  // stopped, or the link went
        heartRunning_ = 0;
        result = script_.heartFails ? kHeartFailed : reply("AT+HEART", std::to_string(script_.heartRate));
    }
    send(braceletNotifications(braceletLine(result)));
}

// ---------------------------------------------------------------- history

VirtualBracelet::Reply VirtualBracelet::onData(const CommandLine& command) {
    const auto package = command.argument ? braceletDecimal(*command.argument) : std::nullopt;
    if (!package) return error();
    if (*package == kStartDownload) return startDownload();
    if (!download_ || *package > static_cast<long long>(download_->packages.size())) {
        return {HistoryAnswers::nothingToSend(script_.faults), nullptr};
    }
    return sendPackage(static_cast<int>(*package));
}

VirtualBracelet::Reply VirtualBracelet::startDownload() {
    abandonDownload();
    const auto& faults = script_.faults;
    if (faults.hostile == BraceletFaults::Hostile::EndlessHeader)
        return {HistoryAnswers::endlessHeader(faults), nullptr};
    Download download;
    download.records.absorb(unsynced_);
    download.packages = download.records.packages(script_.itemsPerPackage);
    if (download.packages.empty()) return {HistoryAnswers::nothingToSend(faults), nullptr};
    download_ = std::move(download);
    return sendPackage(1);
}

VirtualBracelet::Reply VirtualBracelet::sendPackage(int number) {
    const int total = static_cast<int>(download_->packages.size());
    Reply reply{HistoryAnswers::package(download_->packages[static_cast<std::size_t>(number - 1)], number, total,
                                        script_.faults),
                nullptr};
    if (currentAnswerLost_) return reply;
    ++packagesSent_;
    if (number == total && !download_->finished) {
        // The last package went out: what the download carried counts as synced.
        download_->finished = true;
        download_->records.clear();
    }
    return reply;
}

void VirtualBracelet::abandonDownload() {
    if (!download_) return;
    unsynced_.absorb(download_->records);
    download_.reset();
}

// ---------------------------------------------------------------- sending (lab queue)

void VirtualBracelet::send(Notifications notifications) {
    if (notifications.empty()) return;
    scrambleIfHostile(notifications);
    Duration gap{};
    {
        std::lock_guard lock(mutex_);
        gap = script_.notificationGap;
    }
    pacer_.send(std::move(notifications), gap);
}

void VirtualBracelet::scrambleIfHostile(Notifications& notifications) {
    {
        std::lock_guard lock(mutex_);
        if (script_.faults.hostile != BraceletFaults::Hostile::RandomBinary) return;
    }
    auto& random = this->random();
    for (auto& notification : notifications) {
        for (auto& byte : notification) byte = static_cast<std::uint8_t>(0x80 | (random() & 0x7F));
    }
}

}  // namespace halvora::lab
