#include "lab/Devices/RM830/VirtualRM830.hpp"

#include <algorithm>
#include <set>
#include <span>

#include "halvora/Core/Log.hpp"
#include "lab/Devices/RM830/RM830History.hpp"
#include "lab/Devices/RM830/VirtualRM830Bootloader.hpp"
#include "lab/Devices/RM830/internal/RM830Answers.hpp"
#include "lab/Devices/RM830/internal/RM830Command.hpp"
#include "lab/Devices/RM830/internal/RM830Protocol.hpp"
#include "lab/Radio.hpp"

namespace halvora::lab {

namespace {

constexpr std::int64_t kDaySeconds = 86400;
constexpr int kQuarterSeconds = 900;
constexpr int kMinHeartRate = 1;
constexpr int kMaxHeartRate = 255;
constexpr int kCentimetresPerDistanceUnit = 1000;       // a hundredth of a kilometre
constexpr std::uint8_t kStrayKinds = rm830::kDayFrame;  // byte 1 of a stray frame: 0x00 to 0xEF

bool validHourMinute(std::optional<int> hour, std::optional<int> minute) {
    return hour && minute && *hour <= 23 && *minute <= 59;
}

bool contains(const std::vector<std::uint8_t>& codes, std::uint8_t code) {
    return std::find(codes.begin(), codes.end(), code) != codes.end();
}

}  // namespace

VirtualRM830::VirtualRM830(VirtualPeripheralConfig config)
    : VirtualPeripheral(std::move(config)),
      bootloader_(std::make_shared<VirtualRM830Bootloader>(VirtualRM830Bootloader::configFor(this->config()))) {
    addService(kService);
    addCharacteristic(kService, kWrite, CharacteristicPropertyWrite | CharacteristicPropertyWriteWithoutResponse);
    addCharacteristic(kService, kNotify, CharacteristicPropertyNotify);
}

// The bootloader goes with its bracelet (the radio holds it too while it is in range).
VirtualRM830::~VirtualRM830() {
    if (auto radio = bootloader_->radio()) radio->removePeripheral(bootloader_->identifier());
}

std::shared_ptr<VirtualRM830> VirtualRM830::make(const std::string& identifier, int rssi, const std::string& name) {
    VirtualPeripheralConfig config;
    config.identifier = identifier;
    config.name = name;
    config.localName = name;
    config.rssi = rssi;
    config.advertisedServices = {kService};
    return std::make_shared<VirtualRM830>(config);
}

std::optional<std::array<std::uint8_t, 4>> VirtualRM830::versionBytes(const std::string& text) {
    return rm830::versionBytes(text);
}

// ---------------------------------------------------------------- script and state

void VirtualRM830::setScript(const RM830Script& script) {
    std::lock_guard lock(mutex_);
    script_ = script;
    firmwareVersion_ = script.version;
    addedSteps_ = 0;
    heartPackets_.reset();
    // A clock set before the bracelet is in a radio waits for its first link.
    if (script.clock) clock_.set(*script.clock, now(), !radio());
}

RM830Script VirtualRM830::script() const {
    std::lock_guard lock(mutex_);
    return script_;
}

RM830Settings VirtualRM830::settings() const {
    std::lock_guard lock(mutex_);
    RM830Settings settings = settings_;
    settings.clock = clockNow();
    settings.realTimeSteps = realTimeStream_ != 0;
    settings.realTimeHeartRate = heartRateStream_ != 0;
    return settings;
}

std::vector<std::vector<std::uint8_t>> VirtualRM830::framesReceived() const {
    std::lock_guard lock(mutex_);
    return {frames_.begin(), frames_.end()};
}

int VirtualRM830::rejectedFrames() const {
    std::lock_guard lock(mutex_);
    return rejectedFrames_;
}

int VirtualRM830::updateModeRequests() const {
    std::lock_guard lock(mutex_);
    return settings_.updateModeRequests;
}

std::string VirtualRM830::firmwareVersion() const {
    std::lock_guard lock(mutex_);
    return firmwareVersion_;
}

BraceletTime VirtualRM830::clockNow() const {
    return clock_.read(now(), date());
}

void VirtualRM830::anchorClock(const BraceletTime& time) {
    clock_.set(time, now());
}

// ---------------------------------------------------------------- link (lab queue)

void VirtualRM830::onConnected() {
    std::lock_guard lock(mutex_);
    ++generation_;
    pacer_.reset();
    clock_.linkUp(now());
}

void VirtualRM830::onDisconnected() {
    std::lock_guard lock(mutex_);
    ++generation_;
    pacer_.reset();
    realTimeStream_ = 0;
    heartRateStream_ = 0;
}

void VirtualRM830::onWrite(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value, WriteType) {
    if (characteristic != kWrite) return;
    handleFrame(value);
}

// ---------------------------------------------------------------- commands

VirtualRM830::Handler VirtualRM830::handlerFor(std::uint8_t code) {
    static const std::vector<std::pair<std::uint8_t, Handler>> table = {
        {rm830::kSetClock, &VirtualRM830::onSetClock},
        {rm830::kReadClock, &VirtualRM830::onReadClock},
        {rm830::kSetTimeFormat, &VirtualRM830::onSetTimeFormat},
        {rm830::kReadTimeFormat, &VirtualRM830::onReadTimeFormat},
        {rm830::kSetPersonalData, &VirtualRM830::onSetPersonalData},
        {rm830::kReadPersonalData, &VirtualRM830::onReadPersonalData},
        {rm830::kSetStepGoal, &VirtualRM830::onSetStepGoal},
        {rm830::kSetMonitoring, &VirtualRM830::onSetMonitoring},
        {rm830::kSetMonitoringWindow, &VirtualRM830::onSetMonitoringWindow},
        {rm830::kReadVersion, &VirtualRM830::onReadVersion},
        {rm830::kUpdateMode, &VirtualRM830::onUpdateMode},
        {rm830::kStartRealTime, &VirtualRM830::onStartRealTime},
        {rm830::kStopRealTime, &VirtualRM830::onStopRealTime},
        {rm830::kRealTimeHeartRate, &VirtualRM830::onRealTimeHeartRate},
        {rm830::kHeartRate, &VirtualRM830::onHeartRate},
        {rm830::kDatesWithData, &VirtualRM830::onDatesWithData},
        {rm830::kHistoryDay, &VirtualRM830::onHistoryDay},
        {rm830::kHeartHistory, &VirtualRM830::onHeartHistory},
    };
    for (const auto& [known, handler] : table) {
        if (known == code) return handler;
    }
    return nullptr;
}

void VirtualRM830::handleFrame(const std::vector<std::uint8_t>& value) {
    std::optional<RM830Command> command;
    Reply reply;
    bool lost = false;
    {
        std::lock_guard lock(mutex_);
        recordFrame(value);
        command = RM830Command::parse(value);
        if (!command) {
            ++rejectedFrames_;
        } else {
            ++commandCount_;
            const std::uint8_t code = command->code();
            lost = answerIsLost(code);
            const Handler handler = fails(code) ? nullptr : handlerFor(code);
            reply = handler ? (this->*handler)(*command) : answer(RM830Answers::error(code));
        }
    }
    if (!command) {
        Log::shared().writef("Lab: RM830 %s ignores a write of %zu bytes (not a frame, or a wrong checksum)",
                             identifier().c_str(), value.size());
        return;
    }
    if (lost) {
        Log::shared().writef("Lab: RM830 %s loses its answer to command 0x%02X", identifier().c_str(),
                             static_cast<unsigned>(command->code()));
    } else {
        send(std::move(reply.notifications));
    }
    if (reply.then) reply.then();
}

void VirtualRM830::recordFrame(const std::vector<std::uint8_t>& value) {
    frames_.push_back(value);
    if (frames_.size() > kMaxRecordedFrames) frames_.pop_front();
}

bool VirtualRM830::answerIsLost(std::uint8_t code) const {
    const auto& faults = script_.faults;
    if (faults.loseAnswerToCommand && *faults.loseAnswerToCommand == commandCount_) return true;
    return contains(faults.loseAnswersTo, code);
}

bool VirtualRM830::fails(std::uint8_t code) const {
    return contains(script_.faults.failCodes, code);
}

VirtualRM830::Reply VirtualRM830::answer(Frame frame) const {
    return {{std::move(frame)}, nullptr};
}

VirtualRM830::Reply VirtualRM830::onSetClock(const RM830Command& command) {
    const auto time = DeviceClock::bcdTime(command, 1);
    if (!time) return answer(RM830Answers::error(command.code()));
    anchorClock(*time);
    settings_.clockSetByPhone = true;
    return answer(RM830Answers::acknowledgement(command.code()));
}

VirtualRM830::Reply VirtualRM830::onReadClock(const RM830Command&) {
    return answer(RM830Answers::clock(clockNow()));
}

VirtualRM830::Reply VirtualRM830::onSetTimeFormat(const RM830Command& command) {
    settings_.timeFormat = command.byte(1);
    return answer(RM830Answers::acknowledgement(command.code()));
}

VirtualRM830::Reply VirtualRM830::onReadTimeFormat(const RM830Command&) {
    return answer(RM830Answers::timeFormat(settings_.timeFormat));
}

VirtualRM830::Reply VirtualRM830::onSetPersonalData(const RM830Command& command) {
    auto& personal = settings_.personal;
    personal.gender = command.byte(1);
    personal.age = command.byte(2);
    personal.height = command.byte(3);
    personal.weight = command.byte(4);
    personal.stride = command.byte(5);
    return answer(RM830Answers::acknowledgement(command.code()));
}

VirtualRM830::Reply VirtualRM830::onReadPersonalData(const RM830Command&) {
    return answer(RM830Answers::personalData(settings_.personal));
}

VirtualRM830::Reply VirtualRM830::onSetStepGoal(const RM830Command& command) {
    settings_.stepGoal = static_cast<int>(command.bigEndian24(1));
    return answer(RM830Answers::acknowledgement(command.code()));
}

VirtualRM830::Reply VirtualRM830::onSetMonitoring(const RM830Command& command) {
    settings_.monitoring = command.byte(1) != 0;
    return answer(RM830Answers::acknowledgement(command.code()));
}

VirtualRM830::Reply VirtualRM830::onSetMonitoringWindow(const RM830Command& command) {
    const auto startHour = command.bcd(2);
    const auto startMinute = command.bcd(3);
    const auto endHour = command.bcd(4);
    const auto endMinute = command.bcd(5);
    if (!validHourMinute(startHour, startMinute) || !validHourMinute(endHour, endMinute)) {
        return answer(RM830Answers::error(command.code()));
    }
    settings_.window = {command.byte(1) != 0, *startHour, *startMinute, *endHour, *endMinute, command.byte(6)};
    return answer(RM830Answers::acknowledgement(command.code()));
}

VirtualRM830::Reply VirtualRM830::onReadVersion(const RM830Command&) {
    return answer(RM830Answers::version(rm830::versionBytes(firmwareVersion_).value_or(std::array<std::uint8_t, 4>{})));
}

VirtualRM830::Reply VirtualRM830::onUpdateMode(const RM830Command& command) {
    ++settings_.updateModeRequests;
    Reply reply = answer(RM830Answers::acknowledgement(command.code()));
    if (switching_) return reply;
    switching_ = true;
    const Duration delay = script_.updater.switchDelay;
    reply.then = [this, delay] { schedule(delay, [this] { enterUpdater(); }); };
    return reply;
}

// ---------------------------------------------------------------- the switch into the bootloader and back

void VirtualRM830::enterUpdater() {
    auto radio = this->radio();
    if (radio && !bootloader_->radio()) radio->addPeripheral(bootloader_);
    if (!radio || bootloader_->radio() != radio) {
        Log::shared().writef("Lab: RM830 %s cannot put its bootloader %s on the air; it stays as it is",
                             identifier().c_str(), bootloader_->identifier().c_str());
        std::lock_guard lock(mutex_);
        switching_ = false;
        return;
    }
    RM830UpdaterScript updater;
    {
        std::lock_guard lock(mutex_);
        updater = script_.updater;
    }
    Log::shared().writef("Lab: RM830 %s restarts into its bootloader %s", identifier().c_str(),
                         bootloader_->identifier().c_str());
    setPresent(false);
    bootloader_->setRssi(rssi());
    std::weak_ptr<VirtualRM830> weak = std::static_pointer_cast<VirtualRM830>(shared_from_this());
    bootloader_->enter(updater, [weak, restart = updater.restartDelay](std::optional<std::string> newVersion) {
        auto self = weak.lock();
        if (!self) return;
        self->schedule(restart, [raw = self.get(), newVersion] { raw->comeBack(newVersion); });
    });
}

void VirtualRM830::comeBack(std::optional<std::string> newVersion) {
    {
        std::lock_guard lock(mutex_);
        if (newVersion) firmwareVersion_ = *newVersion;
        switching_ = false;
    }
    Log::shared().writef("Lab: RM830 %s is back, running %s", identifier().c_str(), firmwareVersion().c_str());
    setPresent(true);
}

// ---------------------------------------------------------------- real-time streams

VirtualRM830::Frame VirtualRM830::currentDayFrame() const {
    const long long calories = script_.calories + addedSteps_ * script_.caloriesPerStep;
    const long long distance = script_.distance + addedSteps_ * settings_.personal.stride / kCentimetresPerDistanceUnit;
    return RM830Answers::currentDay(script_.steps + addedSteps_, calories, distance);
}

int VirtualRM830::heartReading() {
    int rate = script_.heartRate;
    const int spread = std::min(script_.heartRateSpread, kMaxHeartRate);  // a wider one changes nothing
    if (spread > 0) {
        const std::uint64_t span = static_cast<std::uint64_t>(spread) * 2 + 1;
        rate += static_cast<int>(random()() % span) - spread;
    }
    return std::clamp(rate, kMinHeartRate, kMaxHeartRate);
}

Duration VirtualRM830::streamInterval(Duration scripted) const {
    return std::max<Duration>(scripted, kMinStreamInterval);
}

VirtualRM830::Reply VirtualRM830::onStartRealTime(const RM830Command&) {
    const int stream = ++streamCounter_;
    realTimeStream_ = stream;
    Reply reply = answer(currentDayFrame());
    const int generation = generation_;
    const Duration interval = streamInterval(script_.realTimeInterval);
    reply.then = [this, generation, stream, interval] {
        schedule(interval, [this, generation, stream] { tickRealTime(generation, stream); });
    };
    return reply;
}

VirtualRM830::Reply VirtualRM830::onStopRealTime(const RM830Command& command) {
    realTimeStream_ = 0;
    return answer(RM830Answers::acknowledgement(command.code()));
}

void VirtualRM830::tickRealTime(int generation, int stream) {
    Frame frame;
    Duration interval{};
    {
        std::lock_guard lock(mutex_);
        if (generation != generation_ || realTimeStream_ != stream) return;  // stopped, or the link went
        addedSteps_ += std::max(script_.stepsPerUpdate, 0);
        frame = currentDayFrame();
        interval = streamInterval(script_.realTimeInterval);
    }
    send({frame});
    schedule(interval, [this, generation, stream] { tickRealTime(generation, stream); });
}

VirtualRM830::Reply VirtualRM830::onRealTimeHeartRate(const RM830Command& command) {
    if (command.byte(1) == 0) {
        heartRateStream_ = 0;
        return answer(RM830Answers::heartRate(command.code(), 0));
    }
    const int stream = ++streamCounter_;
    heartRateStream_ = stream;
    Reply reply = answer(RM830Answers::heartRate(command.code(), heartReading()));
    const int generation = generation_;
    const Duration interval = streamInterval(script_.heartRateInterval);
    reply.then = [this, generation, stream, interval] {
        schedule(interval, [this, generation, stream] { tickHeartRate(generation, stream); });
    };
    return reply;
}

void VirtualRM830::tickHeartRate(int generation, int stream) {
    Frame frame;
    Duration interval{};
    {
        std::lock_guard lock(mutex_);
        if (generation != generation_ || heartRateStream_ != stream) return;
        frame = RM830Answers::heartRate(rm830::kRealTimeHeartRate, heartReading());
        interval = streamInterval(script_.heartRateInterval);
    }
    send({frame});
    schedule(interval, [this, generation, stream] { tickHeartRate(generation, stream); });
}

VirtualRM830::Reply VirtualRM830::onHeartRate(const RM830Command& command) {
    return answer(RM830Answers::heartRate(command.code(), heartReading()));
}

// ---------------------------------------------------------------- history

std::vector<int> VirtualRM830::storedDays() const {
    std::set<int> days;
    for (int d = 0; d < std::min(script_.seededDays, kMaxDaysAgo + 1); ++d) days.insert(d);
    for (const auto& day : script_.days) {
        if (day.daysAgo >= 0 && day.daysAgo <= kMaxDaysAgo) days.insert(day.daysAgo);
    }
    return {days.begin(), days.end()};
}

std::optional<RM830Day> VirtualRM830::storedDay(int daysAgo, const BraceletTime& clock) const {
    for (auto day = script_.days.rbegin(); day != script_.days.rend(); ++day) {
        if (day->daysAgo == daysAgo) return *day;
    }
    if (daysAgo >= std::min(script_.seededDays, kMaxDaysAgo + 1)) return std::nullopt;
    const BraceletTime date = clock.plusSeconds(-daysAgo * kDaySeconds);
    const int lastQuarter =
        daysAgo == 0 ? (clock.hour * 3600 + clock.minute * 60) / kQuarterSeconds : RM830Quarter::kPerDay - 1;
    return RM830History::seededDay(daysAgo, date, script_.seed, lastQuarter);
}

VirtualRM830::Reply VirtualRM830::onDatesWithData(const RM830Command&) {
    return answer(RM830Answers::datesWithData(storedDays()));
}

VirtualRM830::Reply VirtualRM830::onHistoryDay(const RM830Command& command) {
    const int daysAgo = command.byte(1);
    const BraceletTime clock = clockNow();
    const auto day = storedDay(daysAgo, clock);
    if (!day) return answer(RM830Answers::noDayData());
    const BraceletTime date = clock.plusSeconds(-daysAgo * kDaySeconds);
    Reply reply{RM830Answers::day(date, *day), nullptr};
    mixInStrayFrames(reply.notifications);
    return reply;
}

void VirtualRM830::mixInStrayFrames(Notifications& frames) {
    const int strays = std::clamp(script_.faults.strayDayFrames, 0, kMaxStrayDayFrames);
    if (frames.empty()) return;
    auto& random = this->random();
    for (int i = 0; i < strays; ++i) {
        Frame stray = frames[random() % frames.size()];
        stray[1] = static_cast<std::uint8_t>(random() % kStrayKinds);
        stray.back() = rm830::checksum(std::span<const std::uint8_t>(stray).first(stray.size() - 1));
        const auto at = static_cast<std::ptrdiff_t>(random() % (frames.size() + 1));
        frames.insert(frames.begin() + at, std::move(stray));
    }
}

const std::vector<RM830HeartPacket>& VirtualRM830::heartPackets(bool anew) {
    if (anew || !heartPackets_) {
        std::vector<RM830HeartPacket> packets = script_.heartHistory;
        const int count = std::min(script_.seededHeartPackets, kMaxHeartPackets);
        const auto seeded = RM830History::seededHeartPackets(count, clockNow(), script_.seed);
        packets.insert(packets.end(), seeded.begin(), seeded.end());
        heartPackets_ = std::move(packets);
    }
    return *heartPackets_;
}

VirtualRM830::Reply VirtualRM830::onHeartHistory(const RM830Command& command) {
    const std::size_t number = command.byte(1);
    const auto& packets = heartPackets(number == 0);
    const bool endless = script_.faults.endlessHeartHistory;
    if (number < packets.size()) {
        return answer(RM830Answers::heartPacket(packets[number], endless || number + 1 < packets.size()));
    }
    if (endless && !packets.empty()) return answer(RM830Answers::heartPacket(packets[number % packets.size()], true));
    RM830HeartPacket empty;
    empty.start = clockNow();
    return answer(RM830Answers::heartPacket(empty, endless));
}

// ---------------------------------------------------------------- sending (lab queue)

void VirtualRM830::cutIfScripted(Notifications& notifications) const {
    const auto& faults = script_.faults;
    if (!faults.cutAnswersTo) return;
    for (auto& notification : notifications) {
        if (notification.empty()) continue;
        if (!faults.cutAnswerCodes.empty() && !contains(faults.cutAnswerCodes, notification[0])) continue;
        if (notification.size() > *faults.cutAnswersTo) notification.resize(*faults.cutAnswersTo);
    }
}

void VirtualRM830::send(Notifications notifications) {
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
