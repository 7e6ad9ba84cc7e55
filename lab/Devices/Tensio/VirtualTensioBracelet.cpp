#include "lab/Devices/Tensio/VirtualTensioBracelet.hpp"

#include <algorithm>

#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/Log.hpp"
#include "lab/Devices/Tensio/TensioHistory.hpp"
#include "lab/Devices/Tensio/internal/TensioAnswers.hpp"
#include "lab/Devices/Tensio/internal/TensioFrame.hpp"
#include "lab/Devices/Tensio/internal/TensioProtocol.hpp"

namespace halvora::lab {

namespace {

constexpr int kTmYearBase = 1900;
constexpr int kLastHour = 23;
constexpr int kLastMinute = 59;
constexpr int kLastSecond = 59;
constexpr int kStrayKinds = 7;
constexpr int kStraySubCodes = 6;

// The values of a clock frame (0x20).
constexpr std::size_t kClockYear = 4;
constexpr std::size_t kClockMonth = 5;
constexpr std::size_t kClockDay = 6;
constexpr std::size_t kClockHour = 7;
constexpr std::size_t kClockMinute = 8;
constexpr std::size_t kClockSecond = 9;
// The values of a window frame (0x21).
constexpr std::size_t kWindowStartHour = 4;
constexpr std::size_t kWindowStartMinute = 5;
constexpr std::size_t kWindowEndHour = 6;
constexpr std::size_t kWindowEndMinute = 7;
constexpr std::size_t kWindowSerial = 8;
constexpr std::size_t kWindowPeriod = 9;
// The values of a configuration frame (0x22).
constexpr std::size_t kConfigAmbulatory = 4;
constexpr std::size_t kConfigHand = 8;

template <typename T>
bool contains(const std::vector<T>& list, const T& value) {
    return std::find(list.begin(), list.end(), value) != list.end();
}

bool validHourMinute(int hour, int minute) {
    return hour <= kLastHour && minute <= kLastMinute;
}

}  // namespace

VirtualTensioBracelet::VirtualTensioBracelet(VirtualPeripheralConfig config) : VirtualPeripheral(std::move(config)) {
    addService(kService);
    addCharacteristic(kService, kWrite, CharacteristicPropertyWrite | CharacteristicPropertyWriteWithoutResponse);
    addCharacteristic(kService, kNotify, CharacteristicPropertyNotify);
}

VirtualTensioBracelet::~VirtualTensioBracelet() = default;

std::shared_ptr<VirtualTensioBracelet> VirtualTensioBracelet::make(const std::string& identifier, int rssi) {
    VirtualPeripheralConfig config;
    config.identifier = identifier;
    config.name = kName;
    config.localName = kName;
    config.rssi = rssi;
    config.advertisedServices = {kService};
    return std::make_shared<VirtualTensioBracelet>(config);
}

// ---------------------------------------------------------------- script and state

void VirtualTensioBracelet::setScript(const TensioScript& script) {
    {
        std::lock_guard lock(mutex_);
        script_ = script;
        memory_.reset();
        walk_.reset();
        if (script.clock) anchorClock(*script.clock);
        clockWaitsForRadio_ = script.clock && !radio();
    }
    if (isConnected()) startStrays();
}

TensioScript VirtualTensioBracelet::script() const {
    std::lock_guard lock(mutex_);
    return script_;
}

TensioSettings VirtualTensioBracelet::settings() const {
    std::lock_guard lock(mutex_);
    TensioSettings settings = settings_;
    settings.clock = clockNow();
    settings.measuring = measurement_.has_value();
    return settings;
}

std::vector<TensioReading> VirtualTensioBracelet::memory() const {
    std::lock_guard lock(mutex_);
    const auto& readings = storedReadings();
    return {readings.begin(), readings.end()};
}

std::vector<std::vector<std::uint8_t>> VirtualTensioBracelet::framesReceived() const {
    std::lock_guard lock(mutex_);
    return {frames_.begin(), frames_.end()};
}

int VirtualTensioBracelet::rejectedFrames() const {
    std::lock_guard lock(mutex_);
    return rejectedFrames_;
}

int VirtualTensioBracelet::measurementsStarted() const {
    std::lock_guard lock(mutex_);
    return measurementsStarted_;
}

BraceletTime VirtualTensioBracelet::clockNow() const {
    if (!clockAnchor_) return labLocalTime();
    if (clockWaitsForRadio_) return *clockAnchor_;
    const auto elapsed = std::chrono::duration_cast<std::chrono::seconds>(now() - clockAnchoredAt_).count();
    return clockAnchor_->plusSeconds(elapsed);
}

BraceletTime VirtualTensioBracelet::labLocalTime() const {
    const std::tm local = Calendar::toLocal(date());
    return {local.tm_year + kTmYearBase,        local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min,
            std::min(local.tm_sec, kLastSecond)};
}

void VirtualTensioBracelet::anchorClock(const BraceletTime& time) {
    clockAnchor_ = time;
    clockAnchoredAt_ = now();
    clockWaitsForRadio_ = false;
}

std::deque<TensioReading>& VirtualTensioBracelet::storedReadings() const {
    if (!memory_) {
        const int seeded = std::clamp(script_.seededReadings, 0, static_cast<int>(kMaxStoredReadings));
        const auto made = TensioHistory::seededReadings(seeded, clockNow(), script_.seed);
        std::deque<TensioReading> readings(made.begin(), made.end());
        readings.insert(readings.end(), script_.readings.begin(), script_.readings.end());
        while (readings.size() > kMaxStoredReadings) readings.pop_front();
        memory_ = std::move(readings);
    }
    return *memory_;
}

void VirtualTensioBracelet::store(const TensioReading& reading) {
    auto& readings = storedReadings();
    readings.push_back(reading);
    if (readings.size() <= kMaxStoredReadings) return;
    readings.pop_front();
    if (walk_ && *walk_ > 0) --*walk_;  // the walk keeps its place among the records left
}

// ---------------------------------------------------------------- link (lab queue)

void VirtualTensioBracelet::onConnected() {
    {
        std::lock_guard lock(mutex_);
        ++generation_;
        if (clockWaitsForRadio_) anchorClock(*clockAnchor_);
    }
    startStrays();
}

void VirtualTensioBracelet::onDisconnected() {
    std::lock_guard lock(mutex_);
    ++generation_;
    measurement_.reset();
    walk_.reset();
}

void VirtualTensioBracelet::onWrite(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value, WriteType) {
    if (characteristic != kWrite) return;
    handleWrite(value);
}

// ---------------------------------------------------------------- commands

void VirtualTensioBracelet::handleWrite(const std::vector<std::uint8_t>& value) {
    const TensioFrame frame = TensioFrame::read(value);
    Reply reply;
    bool lost = false;
    {
        std::lock_guard lock(mutex_);
        recordFrame(value);
        switch (frame.kind()) {
            case TensioFrame::Kind::NotAFrame:
                ++rejectedFrames_;
                break;
            case TensioFrame::Kind::WrongCheck:
                ++rejectedFrames_;
                reply = refuse({TensioError::Kind::Frame, TensioError::kWrongCheck});
                break;
            case TensioFrame::Kind::UnknownCommand:
                ++commandCount_;
                lost = script_.faults.loseAnswerToCommand == commandCount_;
                reply = refuse({TensioError::Kind::Frame, TensioError::kUnknownCommand});
                break;
            case TensioFrame::Kind::Command: {
                ++commandCount_;
                const TensioCommand command = *frame.command();
                lost = answerIsLost(command);
                const auto refusal = refusalOf(command);
                reply = refusal ? refuse(*refusal) : handle(command, frame);
                break;
            }
        }
    }
    if (frame.kind() == TensioFrame::Kind::NotAFrame) {
        Log::shared().writef("Lab: BPW1 %s ignores a write of %zu bytes (not a frame)", identifier().c_str(),
                             value.size());
        return;
    }
    if (lost) {
        Log::shared().writef("Lab: BPW1 %s loses its answer to command %02X %02X", identifier().c_str(),
                             static_cast<unsigned>(frame.byte(tensio::kCodeIndex)),
                             static_cast<unsigned>(frame.byte(tensio::kParameterIndex)));
    } else {
        send(reply.notifications);
    }
    if (reply.then) reply.then();
}

void VirtualTensioBracelet::recordFrame(const std::vector<std::uint8_t>& value) {
    frames_.push_back(value);
    if (frames_.size() > kMaxRecordedFrames) frames_.pop_front();
}

bool VirtualTensioBracelet::answerIsLost(TensioCommand command) const {
    const auto& faults = script_.faults;
    return faults.loseAnswerToCommand == commandCount_ || contains(faults.loseAnswersTo, command);
}

std::optional<TensioError> VirtualTensioBracelet::refusalOf(TensioCommand command) const {
    for (const auto& refusal : script_.faults.refusals) {
        if (refusal.command == command) return refusal.error;
    }
    return std::nullopt;
}

VirtualTensioBracelet::Reply VirtualTensioBracelet::handle(TensioCommand command, const TensioFrame& frame) {
    switch (command) {
        case TensioCommand::StartMeasurement:
            return onStartMeasurement();
        case TensioCommand::StopMeasurement:
            return onStopMeasurement();
        case TensioCommand::ReadMemory:
            return onReadMemory();
        case TensioCommand::ClearMemory:
            return onClearMemory();
        case TensioCommand::ReadClock:
            return onReadClock();
        case TensioCommand::ReadSchedule:
            return onReadSchedule();
        case TensioCommand::ReadBasicInfo:
            return onReadBasicInfo();
        case TensioCommand::RepeatMeasurement:
            return onRepeatMeasurement();
        case TensioCommand::ResetDefaults:
            return onResetDefaults();
        case TensioCommand::SetClock:
            return onSetClock(frame);
        case TensioCommand::SetScheduleWindow:
            return onSetScheduleWindow(frame);
        case TensioCommand::SetConfiguration:
            return onSetConfiguration(frame);
    }
    return {};
}

VirtualTensioBracelet::Reply VirtualTensioBracelet::answer(Frame frame) const {
    return {{std::move(frame)}, nullptr};
}

VirtualTensioBracelet::Reply VirtualTensioBracelet::refuse(const TensioError& error) const {
    return answer(TensioAnswers::error(error));
}

VirtualTensioBracelet::Reply VirtualTensioBracelet::onStartMeasurement() {
    Measurement measurement;
    measurement.number = ++measurementsStarted_;
    measurement.pressures = script_.cuffPressures();
    measurement.result = {{}, script_.systolic, script_.diastolic, script_.pulse, script_.irregular};
    measurement.error = script_.measurementError;
    measurement.interval = std::max<Duration>(script_.pressureInterval, kMinStreamInterval);
    measurement_ = measurement;  // a measurement running is replaced
    Reply reply = answer(TensioAnswers::acknowledgement());
    reply.then = [this, generation = generation_, number = measurement.number, interval = measurement.interval] {
        schedule(interval, [this, generation, number] { tickMeasurement(generation, number, 0); });
    };
    return reply;
}

VirtualTensioBracelet::Reply VirtualTensioBracelet::onStopMeasurement() {
    measurement_.reset();
    return answer(TensioAnswers::acknowledgement());
}

void VirtualTensioBracelet::tickMeasurement(int generation, int number, std::size_t step) {
    Frame frame;
    Duration interval{};
    bool more = false;
    {
        std::lock_guard lock(mutex_);
        if (generation != generation_ || !measurement_ || measurement_->number != number) return;
        const Measurement& running = *measurement_;
        interval = running.interval;
        if (step < running.pressures.size()) {
            frame = TensioAnswers::cuffPressure(running.pressures[step]);
            more = true;
        } else if (running.error) {
            frame = TensioAnswers::error(*running.error);
            measurement_.reset();
        } else {
            TensioReading result = running.result;
            result.date = clockNow();
            result.date.second = 0;  // the result carries the minute
            store(result);
            frame = TensioAnswers::result(result);
            measurement_.reset();
        }
    }
    send({frame});
    if (more) schedule(interval, [this, generation, number, step] { tickMeasurement(generation, number, step + 1); });
}

VirtualTensioBracelet::Reply VirtualTensioBracelet::onReadMemory() {
    const auto& readings = storedReadings();
    if (!walk_ || *walk_ >= readings.size()) {
        walk_ = 0;
        return answer(TensioAnswers::count(readings.size()));
    }
    const std::size_t index = (*walk_)++;
    return answer(TensioAnswers::record(index + 1, readings[index]));
}

VirtualTensioBracelet::Reply VirtualTensioBracelet::onClearMemory() {
    storedReadings().clear();
    walk_.reset();
    return answer(TensioAnswers::acknowledgement());
}

VirtualTensioBracelet::Reply VirtualTensioBracelet::onReadClock() {
    return answer(TensioAnswers::clock(clockNow()));
}

VirtualTensioBracelet::Reply VirtualTensioBracelet::onSetClock(const TensioFrame& frame) {
    const auto time = tensio::calendarTime(frame.byte(kClockYear), frame.byte(kClockMonth), frame.byte(kClockDay),
                                           frame.byte(kClockHour), frame.byte(kClockMinute), frame.byte(kClockSecond));
    if (!time) return refuse({TensioError::Kind::Frame, TensioError::kBadValue});
    anchorClock(*time);
    settings_.clockSetByPhone = true;
    return answer(TensioAnswers::acknowledgement());
}

VirtualTensioBracelet::Reply VirtualTensioBracelet::onReadSchedule() {
    const auto& windows = settings_.windows;
    if (windows.empty()) return answer(TensioAnswers::window({}, 0, 0));
    Reply reply;
    for (std::size_t i = 0; i < windows.size(); ++i) {
        reply.notifications.push_back(TensioAnswers::window(windows[i], i + 1, windows.size()));
    }
    return reply;
}

VirtualTensioBracelet::Reply VirtualTensioBracelet::onSetScheduleWindow(const TensioFrame& frame) {
    const TensioWindow window{frame.byte(kWindowStartHour), frame.byte(kWindowStartMinute), frame.byte(kWindowEndHour),
                              frame.byte(kWindowEndMinute), frame.byte(kWindowPeriod)};
    const std::size_t number = frame.byte(kWindowSerial) >> 4;
    const std::size_t total = frame.byte(kWindowSerial) & 0x0F;
    auto& windows = settings_.windows;
    const std::size_t held = number == 1 ? 0 : windows.size();
    const bool fits = number >= 1 && number <= total && number <= kMaxWindows && number - 1 <= held;
    if (!fits || !validHourMinute(window.startHour, window.startMinute) ||
        !validHourMinute(window.endHour, window.endMinute)) {
        return refuse({TensioError::Kind::Frame, TensioError::kBadValue});
    }
    if (number == 1) windows.clear();
    if (number - 1 < windows.size()) {
        windows[number - 1] = window;
    } else {
        windows.push_back(window);
    }
    return answer(TensioAnswers::acknowledgement());
}

VirtualTensioBracelet::Reply VirtualTensioBracelet::onReadBasicInfo() {
    return answer(TensioAnswers::basicInfo(script_.battery, settings_.ambulatoryEnabled, script_.unit, script_.hold,
                                           storedReadings().size()));
}

VirtualTensioBracelet::Reply VirtualTensioBracelet::onRepeatMeasurement() {
    const auto& readings = storedReadings();
    if (readings.empty()) return refuse({TensioError::Kind::Device, TensioError::kNothingStored});
    return {{TensioAnswers::acknowledgement(), TensioAnswers::result(readings.back())}, nullptr};
}

VirtualTensioBracelet::Reply VirtualTensioBracelet::onSetConfiguration(const TensioFrame& frame) {
    settings_.ambulatoryEnabled = frame.byte(kConfigAmbulatory) != 0;
    settings_.hand = frame.byte(kConfigHand);
    return answer(TensioAnswers::acknowledgement());
}

VirtualTensioBracelet::Reply VirtualTensioBracelet::onResetDefaults() {
    const TensioSettings defaults;
    settings_.hand = defaults.hand;
    settings_.ambulatoryEnabled = defaults.ambulatoryEnabled;
    settings_.windows = defaults.windows;
    return answer(TensioAnswers::acknowledgement());
}

// ---------------------------------------------------------------- stray frames (lab queue)

void VirtualTensioBracelet::startStrays() {
    int generation = 0;
    int loop = 0;
    Duration interval{};
    {
        std::lock_guard lock(mutex_);
        loop = ++strayLoop_;
        generation = generation_;
        if (!script_.faults.strayEvery) return;
        interval = std::max<Duration>(*script_.faults.strayEvery, kMinStreamInterval);
    }
    schedule(interval, [this, generation, loop] { tickStray(generation, loop); });
}

void VirtualTensioBracelet::tickStray(int generation, int loop) {
    Frame frame;
    Duration interval{};
    {
        std::lock_guard lock(mutex_);
        if (generation != generation_ || loop != strayLoop_ || !script_.faults.strayEvery) return;
        frame = strayFrame();
        interval = std::max<Duration>(*script_.faults.strayEvery, kMinStreamInterval);
    }
    send({frame});
    schedule(interval, [this, generation, loop] { tickStray(generation, loop); });
}

VirtualTensioBracelet::Frame VirtualTensioBracelet::strayFrame() {
    auto& random = this->random();
    const auto& readings = storedReadings();
    TensioReading newest{clockNow(), script_.systolic, script_.diastolic, script_.pulse, script_.irregular};
    if (!readings.empty()) newest = readings.back();
    switch (random() % kStrayKinds) {
        case 0:
            return TensioAnswers::cuffPressure(1 + static_cast<int>(random() % TensioScript::kMaxCuffPressure));
        case 1:
            return TensioAnswers::acknowledgement();
        case 2:
            return TensioAnswers::count(readings.size());
        case 3:
            return TensioAnswers::record(readings.size(), newest);
        case 4:
            return TensioAnswers::clock(clockNow());
        case 5:
            return TensioAnswers::result(newest);
        default: {
            static constexpr TensioError::Kind kKinds[] = {TensioError::Kind::Measurement, TensioError::Kind::Frame,
                                                           TensioError::Kind::Device};
            const auto kind = kKinds[random() % std::size(kKinds)];
            return TensioAnswers::error({kind, static_cast<std::uint8_t>(1 + random() % kStraySubCodes)});
        }
    }
}

// ---------------------------------------------------------------- sending (lab queue)

void VirtualTensioBracelet::send(const Notifications& notifications) {
    for (const auto& notification : notifications) notify(kNotify, notification);
}

}  // namespace halvora::lab
