#include "lab/Devices/Vital/VirtualVitalBracelet.hpp"

#include <algorithm>

#include "halvora/Core/Log.hpp"
#include "lab/Devices/Vital/internal/VitalAlarmList.hpp"
#include "lab/Devices/Vital/internal/VitalAnswers.hpp"
#include "lab/Devices/Vital/internal/VitalCommand.hpp"
#include "lab/Devices/Vital/internal/VitalECGRecorder.hpp"
#include "lab/Devices/Vital/internal/VitalProtocol.hpp"
#include "lab/Radio.hpp"

namespace halvora::lab {

static_assert(VirtualVitalBracelet::kMaxAlarms == VitalAlarmList::kMaxAlarms);

namespace {

constexpr int kMinHeartRate = 1;
constexpr int kMaxHeartRate = 255;
constexpr int kMaxTemperature = 0xFFFF;
constexpr int kLastHour = 23;
constexpr int kLastMinute = 59;
constexpr std::uint8_t kQrShow = 0x80;
constexpr std::size_t kStrayPayload = vital::kChecksumIndex;
/// Byte 0 of a stray frame: the answers and events the bracelet sends, and codes it never sends.
constexpr std::uint8_t kStrayCodes[] = {0x01, 0x03, 0x04, 0x06, 0x07, 0x09, 0x0B, 0x13, 0x15, 0x16,
                                        0x18, 0x22, 0x23, 0x26, 0x28, 0x2A, 0x2B, 0x41, 0x42, 0x4B,
                                        0x83, 0xAA, 0xB0, 0xFE, 0x00, 0x5A, 0x7F, 0xEE};

/// The window of BCD bytes `at` to `at` + 3 (times) and `at` + 4 (week days); nothing when a time is not a
/// BCD hour or minute.
std::optional<VitalSettings::Window> windowAt(const VitalCommand& command, std::size_t at) {
    const auto startHour = command.bcd(at);
    const auto startMinute = command.bcd(at + 1);
    const auto endHour = command.bcd(at + 2);
    const auto endMinute = command.bcd(at + 3);
    if (!startHour || !startMinute || !endHour || !endMinute) return std::nullopt;
    if (*startHour > kLastHour || *endHour > kLastHour || *startMinute > kLastMinute || *endMinute > kLastMinute) {
        return std::nullopt;
    }
    return VitalSettings::Window{*startHour, *startMinute, *endHour, *endMinute, command.byte(at + 4)};
}

bool contains(const std::vector<std::uint8_t>& codes, std::uint8_t code) {
    return std::find(codes.begin(), codes.end(), code) != codes.end();
}

int signedByte(std::uint8_t byte) {
    return static_cast<std::int8_t>(byte);
}

}  // namespace

VirtualVitalBracelet::VirtualVitalBracelet(VirtualPeripheralConfig config)
    : VirtualPeripheral(std::move(config)),
      alarmList_(std::make_unique<VitalAlarmList>()),
      ecg_(std::make_unique<VitalECGRecorder>()) {
    addService(kService);
    addCharacteristic(kService, kWrite, CharacteristicPropertyWrite | CharacteristicPropertyWriteWithoutResponse);
    addCharacteristic(kService, kNotify, CharacteristicPropertyNotify);
}

VirtualVitalBracelet::~VirtualVitalBracelet() = default;

std::shared_ptr<VirtualVitalBracelet> VirtualVitalBracelet::make(const std::string& identifier, int rssi,
                                                                 const std::string& name) {
    VirtualPeripheralConfig config;
    config.identifier = identifier;
    config.name = name;
    config.localName = name;
    config.rssi = rssi;
    config.advertisedServices = {kService};
    return std::make_shared<VirtualVitalBracelet>(config);
}

// ---------------------------------------------------------------- script and state

void VirtualVitalBracelet::setScript(const VitalScript& script) {
    std::lock_guard lock(mutex_);
    script_ = script;
    addedSteps_ = 0;
    history_.reset();
    ecg_->stop();
    // A clock set before the bracelet is in a radio waits for its first link.
    if (script.clock) clock_.set(*script.clock, now(), !radio());
}

VitalScript VirtualVitalBracelet::script() const {
    std::lock_guard lock(mutex_);
    return script_;
}

VitalSettings VirtualVitalBracelet::settings() const {
    std::lock_guard lock(mutex_);
    VitalSettings settings = settings_;
    settings.clock = clockNow();
    settings.parametersPending = pendingParameters_.has_value();
    settings.realTime = realTimeStream_ != 0;
    return settings;
}

std::vector<VitalSettings::Alarm> VirtualVitalBracelet::alarms() const {
    std::lock_guard lock(mutex_);
    return settings_.alarms;
}

std::optional<VitalSettings::Weather> VirtualVitalBracelet::weather() const {
    std::lock_guard lock(mutex_);
    return settings_.weather;
}

VitalSettings::Parameters VirtualVitalBracelet::parameters() const {
    std::lock_guard lock(mutex_);
    return settings_.parameters;
}

std::vector<std::vector<std::uint8_t>> VirtualVitalBracelet::framesReceived() const {
    std::lock_guard lock(mutex_);
    return {frames_.begin(), frames_.end()};
}

int VirtualVitalBracelet::rejectedFrames() const {
    std::lock_guard lock(mutex_);
    return rejectedFrames_;
}

BraceletTime VirtualVitalBracelet::clockNow() const {
    return clock_.read(now(), date());
}

void VirtualVitalBracelet::anchorClock(const BraceletTime& time) {
    clock_.set(time, now());
}

// ---------------------------------------------------------------- link (lab queue)

void VirtualVitalBracelet::onConnected() {
    VitalScript script;
    int generation = 0;
    {
        std::lock_guard lock(mutex_);
        generation = ++generation_;
        pacer_.reset();
        clock_.linkUp(now());
        script = script_;
    }
    for (const auto& after : script.sos) {
        schedule(after, [this, generation] { raiseEvent(generation, VitalAnswers::sos()); });
    }
    for (const auto& event : script.firmwareCommands) {
        schedule(event.after, [this, generation, operation = event.operation] {
            raiseEvent(generation, VitalAnswers::firmwareCommand(operation));
        });
    }
    for (const auto& beat : script.heartbeats) {
        schedule(beat.after, [this, generation, withData = beat.withData] { raiseHeartbeat(generation, withData); });
    }
    if (script.faults.strayEvery) {
        schedule(streamInterval(*script.faults.strayEvery), [this, generation] { tickStray(generation); });
    }
}

void VirtualVitalBracelet::onDisconnected() {
    std::lock_guard lock(mutex_);
    ++generation_;
    pacer_.reset();
    realTimeStream_ = 0;
    alarmList_->reset();
    ecg_->stop();
}

void VirtualVitalBracelet::onWrite(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value, WriteType) {
    if (characteristic != kWrite) return;
    bool alarmPiece = false;
    {
        std::lock_guard lock(mutex_);
        recordFrame(value);
        alarmPiece = alarmList_->collecting() || (!value.empty() && value[0] == vital::kAlarms);
    }
    if (alarmPiece) {
        handleAlarmPiece(value);
    } else {
        handleFrame(value);
    }
}

// ---------------------------------------------------------------- commands

VirtualVitalBracelet::Handler VirtualVitalBracelet::handlerFor(std::uint8_t code) {
    static const std::vector<std::pair<std::uint8_t, Handler>> table = {
        {vital::kSetClock, &VirtualVitalBracelet::onSetClock},
        {vital::kReadClock, &VirtualVitalBracelet::onReadClock},
        {vital::kSetUser, &VirtualVitalBracelet::onSetUser},
        {vital::kReadUser, &VirtualVitalBracelet::onReadUser},
        {vital::kSetParameters, &VirtualVitalBracelet::onSetParameters},
        {vital::kApplyParameters, &VirtualVitalBracelet::onApplyParameters},
        {vital::kReadParameters, &VirtualVitalBracelet::onReadParameters},
        {vital::kReadParametersRest, &VirtualVitalBracelet::onReadParametersRest},
        {vital::kRealTime, &VirtualVitalBracelet::onRealTime},
        {vital::kSetStepGoal, &VirtualVitalBracelet::onSetStepGoal},
        {vital::kReadStepGoal, &VirtualVitalBracelet::onReadStepGoal},
        {vital::kBattery, &VirtualVitalBracelet::onBattery},
        {vital::kWeather, &VirtualVitalBracelet::onWeather},
        {vital::kSportHeartbeat, &VirtualVitalBracelet::onSportHeartbeat},
        {vital::kHeartbeatPacket, &VirtualVitalBracelet::onHeartbeatAnswer},
        {vital::kSportMode, &VirtualVitalBracelet::onSportMode},
        {vital::kMacAddress, &VirtualVitalBracelet::onMacAddress},
        {vital::kSetActivityPeriod, &VirtualVitalBracelet::onSetActivityPeriod},
        {vital::kReadActivityPeriod, &VirtualVitalBracelet::onReadActivityPeriod},
        {vital::kMeasurementControl, &VirtualVitalBracelet::onMeasurementControl},
        {vital::kSetDetection, &VirtualVitalBracelet::onSetDetection},
        {vital::kReadDetection, &VirtualVitalBracelet::onReadDetection},
        {vital::kQrCode, &VirtualVitalBracelet::onQrCode},
        {vital::kECGStart, &VirtualVitalBracelet::onECGStart},
        {vital::kECGStatus, &VirtualVitalBracelet::onECGStatus},
        {vital::kWaveform, &VirtualVitalBracelet::onWaveform},
    };
    for (const auto& [known, handler] : table) {
        if (known == code) return handler;
    }
    if (vital::isHistoryCode(code)) return &VirtualVitalBracelet::onHistory;
    return nullptr;
}

void VirtualVitalBracelet::handleFrame(const Frame& value) {
    std::optional<VitalCommand> command;
    Reply reply;
    bool lost = false;
    {
        std::lock_guard lock(mutex_);
        command = VitalCommand::parse(value);
        if (!command) {
            ++rejectedFrames_;
        } else {
            const std::uint8_t code = command->code();
            lost = answerIsLost(code);
            const Handler handler = fails(code) ? nullptr : handlerFor(code);
            reply = handler ? (this->*handler)(*command) : answer(VitalAnswers::refusal(code));
        }
    }
    if (!command) {
        Log::shared().writef("Lab: Vital %s ignores a write of %zu bytes (not a frame, or a wrong checksum)",
                             identifier().c_str(), value.size());
        return;
    }
    if (lost) {
        Log::shared().writef("Lab: Vital %s loses its answer to command 0x%02X", identifier().c_str(),
                             static_cast<unsigned>(command->code()));
    } else {
        send(std::move(reply.notifications));
    }
    if (reply.then) reply.then();
}

void VirtualVitalBracelet::handleAlarmPiece(const Frame& value) {
    Notifications answer;
    int piece = 0;
    int generation = 0;
    bool incomplete = false;
    {
        std::lock_guard lock(mutex_);
        const auto progress = alarmList_->add(value);
        piece = ++alarmPieces_;
        generation = generation_;
        switch (progress) {
            case VitalAlarmList::Progress::Incomplete:
                incomplete = true;
                break;
            case VitalAlarmList::Progress::Malformed:
                ++rejectedFrames_;
                answer.push_back(VitalAnswers::refusal(vital::kAlarms));
                break;
            case VitalAlarmList::Progress::Complete:
                if (fails(vital::kAlarms)) {
                    answer.push_back(VitalAnswers::refusal(vital::kAlarms));
                } else {
                    settings_.alarms = alarmList_->alarms();
                    answer.push_back(VitalAnswers::acknowledgement(vital::kAlarms));
                }
                break;
        }
        if (!answer.empty() && answerIsLost(vital::kAlarms)) answer.clear();
    }
    if (incomplete) {
        schedule(kAlarmPieceTimeout, [this, generation, piece] { dropStaleAlarmList(generation, piece); });
        return;
    }
    send(std::move(answer));
}

void VirtualVitalBracelet::dropStaleAlarmList(int generation, int piece) {
    std::lock_guard lock(mutex_);
    if (generation != generation_ || piece != alarmPieces_ || !alarmList_->collecting()) return;
    alarmList_->reset();
    ++rejectedFrames_;
    Log::shared().writef("Lab: Vital %s drops an alarm list that stopped arriving", identifier().c_str());
}

void VirtualVitalBracelet::recordFrame(const Frame& value) {
    frames_.push_back(value);
    if (frames_.size() > kMaxRecordedFrames) frames_.pop_front();
}

bool VirtualVitalBracelet::answerIsLost(std::uint8_t code) const {
    return contains(script_.faults.loseAnswersTo, code);
}

bool VirtualVitalBracelet::fails(std::uint8_t code) const {
    return contains(script_.faults.failCodes, code);
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::answer(Frame frame) const {
    return {{std::move(frame)}, nullptr};
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onSetClock(const VitalCommand& command) {
    const auto time = DeviceClock::bcdTime(command, 1);
    if (!time) return answer(VitalAnswers::refusal(command.code()));
    anchorClock(*time);
    settings_.clockSetByPhone = true;
    return answer(VitalAnswers::acknowledgement(command.code()));
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onReadClock(const VitalCommand&) {
    return answer(VitalAnswers::clock(clockNow()));
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onSetUser(const VitalCommand& command) {
    settings_.user = {command.byte(1), command.byte(2), command.byte(3), command.byte(4), command.byte(5)};
    return answer(VitalAnswers::acknowledgement(command.code()));
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onReadUser(const VitalCommand&) {
    return answer(VitalAnswers::user(settings_.user));
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onSetParameters(const VitalCommand& command) {
    VitalSettings::Parameters first = settings_.parameters;
    for (std::size_t i = 0; i < first.flags.size(); ++i) first.flags[i] = command.byte(1 + i);
    first.notificationsSecond = command.byte(7);
    first.notificationsFirst = command.byte(8);
    first.heartRateBase = command.byte(9);
    first.brightness = command.byte(11);
    first.dial = command.byte(12);
    first.language = command.byte(14);
    pendingParameters_ = first;
    return answer(VitalAnswers::acknowledgement(command.code()));
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onApplyParameters(const VitalCommand& command) {
    if (pendingParameters_) settings_.parameters = *pendingParameters_;
    pendingParameters_.reset();
    settings_.parameters.further = command.byte(1);
    return answer(VitalAnswers::acknowledgement(command.code()));
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onReadParameters(const VitalCommand&) {
    return answer(VitalAnswers::parameters(settings_.parameters));
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onReadParametersRest(const VitalCommand&) {
    return answer(VitalAnswers::parametersRest(settings_.parameters));
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onSetStepGoal(const VitalCommand& command) {
    settings_.stepGoal = command.littleEndian32(1);
    return answer(VitalAnswers::acknowledgement(command.code()));
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onReadStepGoal(const VitalCommand&) {
    return answer(VitalAnswers::stepGoal(settings_.stepGoal));
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onBattery(const VitalCommand&) {
    return answer(VitalAnswers::battery(script_.battery));
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onWeather(const VitalCommand& command) {
    VitalSettings::Weather weather;
    weather.status = command.byte(1);
    weather.temperature = signedByte(command.byte(2));
    weather.maxTemperature = signedByte(command.byte(3));
    weather.minTemperature = signedByte(command.byte(4));
    weather.airQuality = static_cast<int>(command.littleEndian16(5));
    weather.locationLength = command.byte(7);
    const std::size_t arrived = std::min<std::size_t>(command.byte(7), vital::kFrameLength - 8);
    for (std::size_t i = 0; i < arrived; ++i) weather.location.push_back(static_cast<char>(command.byte(8 + i)));
    settings_.weather = weather;
    return answer(VitalAnswers::acknowledgement(command.code()));
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onSportHeartbeat(const VitalCommand& command) {
    settings_.sportHeartbeat =
        VitalSettings::SportHeartbeat{command.littleEndian32(1), command.byte(5), command.byte(6), command.byte(7)};
    return answer(VitalAnswers::acknowledgement(command.code()));
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onHeartbeatAnswer(const VitalCommand&) {
    ++settings_.heartbeatAnswers;
    return {};
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onSportMode(const VitalCommand& command) {
    settings_.sport = {command.byte(1), command.byte(2), command.byte(3), command.byte(4)};
    return answer(VitalAnswers::acknowledgement(command.code()));
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onMacAddress(const VitalCommand&) {
    return answer(VitalAnswers::macAddress(script_.macAddress));
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onSetActivityPeriod(const VitalCommand& command) {
    const auto window = windowAt(command, 1);
    if (!window) return answer(VitalAnswers::refusal(command.code()));
    settings_.activity = {*window, command.byte(6), command.byte(7), command.byte(8)};
    return answer(VitalAnswers::acknowledgement(command.code()));
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onReadActivityPeriod(const VitalCommand&) {
    return answer(VitalAnswers::activityPeriod(settings_.activity));
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onMeasurementControl(const VitalCommand& command) {
    settings_.measurements[command.byte(1)] = command.byte(2);
    return answer(VitalAnswers::measurementControl(command.byte(1), command.byte(2)));
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onSetDetection(const VitalCommand& command) {
    VitalSettings::Detection detection;
    detection.mode = command.byte(1);
    if (detection.mode != 0) {
        const auto window = windowAt(command, 2);
        if (!window) return answer(VitalAnswers::refusal(command.code()));
        detection.window = *window;
    } else {
        detection.window = VitalSettings::Window{0, 0, 0, 0, 0};
    }
    detection.interval = static_cast<int>(command.littleEndian16(7));
    const int typeCode = command.byte(9);
    settings_.detection[typeCode] = detection;
    return answer(VitalAnswers::detectionSet(typeCode));
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onReadDetection(const VitalCommand& command) {
    const int typeCode = command.byte(1);
    const auto held = settings_.detection.find(typeCode);
    return answer(VitalAnswers::detection(
        typeCode, held != settings_.detection.end() ? held->second : VitalSettings::Detection{}));
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onQrCode(const VitalCommand& command) {
    settings_.qrShown = command.byte(1) == kQrShow;
    return answer(VitalAnswers::qrCode(command.byte(1)));
}

// ---------------------------------------------------------------- real-time data

int VirtualVitalBracelet::vary(int value, int spread, int low, int high) {
    const int width = std::clamp(spread, 0, high);  // a wider spread changes nothing more
    if (width > 0) {
        const std::uint64_t span = static_cast<std::uint64_t>(width) * 2 + 1;
        value += static_cast<int>(random()() % span) - width;
    }
    return std::clamp(value, low, high);
}

int VirtualVitalBracelet::heartReading() {
    return vary(script_.heartRate, script_.heartRateSpread, kMinHeartRate, kMaxHeartRate);
}

int VirtualVitalBracelet::temperatureReading() {
    return vary(script_.temperature, script_.temperatureSpread, 0, kMaxTemperature);
}

VirtualVitalBracelet::Frame VirtualVitalBracelet::realTimeFrame() {
    const int heartRate = heartReading();
    const int temperature = settings_.realTimeTemperature ? temperatureReading() : 0;
    return VitalAnswers::realTime(script_.steps + addedSteps_, heartRate, temperature);
}

Duration VirtualVitalBracelet::streamInterval(Duration scripted) const {
    return std::max<Duration>(scripted, kMinStreamInterval);
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onRealTime(const VitalCommand& command) {
    if (command.byte(1) == 0) {
        realTimeStream_ = 0;
        return answer(realTimeFrame());
    }
    settings_.realTimeTemperature = command.byte(2) != 0;
    const int stream = ++streamCounter_;
    realTimeStream_ = stream;
    Reply reply = answer(realTimeFrame());
    const int generation = generation_;
    const Duration interval = streamInterval(script_.realTimeInterval);
    reply.then = [this, generation, stream, interval] {
        schedule(interval, [this, generation, stream] { tickRealTime(generation, stream); });
    };
    return reply;
}

void VirtualVitalBracelet::tickRealTime(int generation, int stream) {
    Frame frame;
    Duration interval{};
    {
        std::lock_guard lock(mutex_);
        if (generation != generation_ || realTimeStream_ != stream) return;  // stopped, or the link went
        addedSteps_ += std::max(script_.stepsPerUpdate, 0);
        frame = realTimeFrame();
        interval = streamInterval(script_.realTimeInterval);
    }
    send({frame});
    schedule(interval, [this, generation, stream] { tickRealTime(generation, stream); });
}

// ---------------------------------------------------------------- events and stray frames

void VirtualVitalBracelet::raiseEvent(int generation, Frame frame) {
    {
        std::lock_guard lock(mutex_);
        if (generation != generation_) return;
    }
    send({std::move(frame)});
}

void VirtualVitalBracelet::raiseHeartbeat(int generation, bool withData) {
    Frame frame;
    {
        std::lock_guard lock(mutex_);
        if (generation != generation_) return;
        frame = withData ? VitalAnswers::heartbeat(heartReading(), script_.steps + addedSteps_)
                         : VitalAnswers::emptyHeartbeat();
    }
    send({std::move(frame)});
}

void VirtualVitalBracelet::tickStray(int generation) {
    Frame frame(vital::kFrameLength, 0);
    Duration interval{};
    {
        std::lock_guard lock(mutex_);
        if (generation != generation_ || !script_.faults.strayEvery) return;
        auto& random = this->random();
        frame[0] = kStrayCodes[random() % std::size(kStrayCodes)];
        for (std::size_t i = 1; i < kStrayPayload; ++i) frame[i] = static_cast<std::uint8_t>(random());
        frame[vital::kChecksumIndex] = vital::checksum(std::span<const std::uint8_t>(frame).first(kStrayPayload));
        interval = streamInterval(*script_.faults.strayEvery);
    }
    send({frame});
    schedule(interval, [this, generation] { tickStray(generation); });
}

// ---------------------------------------------------------------- sending (lab queue)

void VirtualVitalBracelet::cutIfScripted(Notifications& notifications) const {
    const auto& faults = script_.faults;
    if (!faults.cutAnswersTo) return;
    for (auto& notification : notifications) {
        if (notification.empty()) continue;
        if (!faults.cutAnswerCodes.empty() && !contains(faults.cutAnswerCodes, notification[0])) continue;
        if (notification.size() > *faults.cutAnswersTo) notification.resize(*faults.cutAnswersTo);
    }
}

void VirtualVitalBracelet::send(Notifications notifications) {
    if (notifications.empty()) return;
    Duration gap{};
    {
        std::lock_guard lock(mutex_);
        cutIfScripted(notifications);
        gap = script_.notificationGap;
    }
    pacer_.send(std::move(notifications), gap);
}

}  // namespace halvora::lab
