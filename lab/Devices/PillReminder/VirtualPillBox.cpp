#include "lab/Devices/PillReminder/VirtualPillBox.hpp"

#include <algorithm>

#include "halvora/Core/Log.hpp"
#include "lab/Devices/PillReminder/PillBoxHistory.hpp"
#include "lab/Devices/PillReminder/internal/PillBoxAnswers.hpp"
#include "lab/Devices/PillReminder/internal/PillBoxProtocol.hpp"

namespace halvora::lab {

namespace {

constexpr int kLastHour = 23;
constexpr int kLastMinute = 59;

template <typename T>
bool contains(const std::vector<T>& list, const T& value) {
    return std::find(list.begin(), list.end(), value) != list.end();
}

/// The command of a code the box knows.
std::optional<PillBoxCommand> commandOf(std::uint8_t code) {
    switch (static_cast<PillBoxCommand>(code)) {
        case PillBoxCommand::SetClock:
        case PillBoxCommand::SetZone:
        case PillBoxCommand::ReadZone:
        case PillBoxCommand::ReadBattery:
        case PillBoxCommand::ReadLastSync:
        case PillBoxCommand::MarkSynchronised:
        case PillBoxCommand::ClearHistory:
        case PillBoxCommand::ReadClock:
        case PillBoxCommand::ReadSchedule:
        case PillBoxCommand::WriteSchedule:
        case PillBoxCommand::ReadHistory:
        case PillBoxCommand::SetAlarmDuration:
        case PillBoxCommand::SetConfirmationTime:
        case PillBoxCommand::ClearSchedule:
            return static_cast<PillBoxCommand>(code);
    }
    return std::nullopt;
}

/// The length byte of the command's frame.
std::uint8_t lengthOf(PillBoxCommand command) {
    switch (command) {
        case PillBoxCommand::SetClock:
            return pillbox::kSetClockLength;
        case PillBoxCommand::SetZone:
            return pillbox::kSetZoneLength;
        case PillBoxCommand::SetAlarmDuration:
        case PillBoxCommand::SetConfirmationTime:
            return pillbox::kOneValueLength;
        case PillBoxCommand::WriteSchedule:
            return pillbox::kScheduleLength;
        case PillBoxCommand::ReadZone:
        case PillBoxCommand::ReadBattery:
        case PillBoxCommand::ReadLastSync:
        case PillBoxCommand::MarkSynchronised:
        case PillBoxCommand::ClearHistory:
        case PillBoxCommand::ReadClock:
        case PillBoxCommand::ReadSchedule:
        case PillBoxCommand::ReadHistory:
        case PillBoxCommand::ClearSchedule:
            break;
    }
    return pillbox::kBareLength;
}

/// How many history entries the next reply carries when `left` remain (see kMinPiecedEntries).
std::size_t entriesInReply(std::size_t left) {
    if (left >= pillbox::kMinPiecedEntries) return std::min(left, pillbox::kMaxEntriesPerReply);
    return std::min(left, pillbox::kMaxSingleNotificationEntries);
}

int signedByte(std::uint8_t value) {
    return static_cast<std::int8_t>(value);
}

}  // namespace

VirtualPillBox::VirtualPillBox(VirtualPeripheralConfig config) : VirtualPeripheral(std::move(config)) {
    addService(kService);
    for (const auto& notify : {kNotify, kNotify2, kNotify3, kNotify4}) {
        addCharacteristic(kService, notify, CharacteristicPropertyNotify);
    }
    addCharacteristic(kService, kWrite, CharacteristicPropertyWrite | CharacteristicPropertyWriteWithoutResponse);
    addService(kInfoService);
    addCharacteristic(kInfoService, kHardwareRevision, CharacteristicPropertyRead);
    setReadValue(kHardwareRevision, {kHardwareRevisionText.begin(), kHardwareRevisionText.end()});
}

VirtualPillBox::~VirtualPillBox() = default;

std::shared_ptr<VirtualPillBox> VirtualPillBox::make(const std::string& identifier, std::optional<std::string> gapName,
                                                     int rssi) {
    VirtualPeripheralConfig config;
    config.identifier = identifier;
    config.name = std::move(gapName);
    config.localName = kName;
    config.rssi = rssi;
    return std::make_shared<VirtualPillBox>(config);
}

// ---------------------------------------------------------------- script and state

void VirtualPillBox::setScript(const PillBoxScript& script) {
    std::lock_guard lock(mutex_);
    script_ = script;
    if (script.clock) clock_.set(*script.clock, now(), !radio());
    zoneHours_ = script.zoneHours;
    zoneMinutes_ = script.zoneMinutes;
    lastSync_ = script.lastSync;
    storeSchedule(script.schedule);
    keepHistory(script.history);
    historyClearedAt_.reset();
}

void VirtualPillBox::keepHistory(std::optional<std::vector<PillBoxDose>> history) {
    scriptedHistory_ = std::move(history);
    if (scriptedHistory_ && scriptedHistory_->size() > kMaxHistory) {
        scriptedHistory_->erase(scriptedHistory_->begin(),
                                scriptedHistory_->end() - static_cast<std::ptrdiff_t>(kMaxHistory));
    }
}

PillBoxMemory VirtualPillBox::memory() const {
    std::lock_guard lock(mutex_);
    return memoryNow();
}

PillBoxMemory VirtualPillBox::memoryNow() const {
    return {zoneHours_,        zoneMinutes_,   lastSync_,        alarmDuration_,
            confirmationTime_, flatSchedule(), scriptedHistory_, historyClearedAt_};
}

void VirtualPillBox::restore(const PillBoxMemory& memory) {
    std::lock_guard lock(mutex_);
    zoneHours_ = memory.zoneHours;
    zoneMinutes_ = memory.zoneMinutes;
    lastSync_ = memory.lastSync;
    alarmDuration_ = memory.alarmDuration;
    confirmationTime_ = memory.confirmationTime;
    storeSchedule(memory.schedule);
    keepHistory(memory.history);
    historyClearedAt_ = memory.historyClearedAt;
}

void VirtualPillBox::setMemoryCallback(MemoryCallback callback) {
    std::lock_guard lock(mutex_);
    memoryCallback_ = std::move(callback);
}

void VirtualPillBox::storeSchedule(const std::vector<PillBoxAlarm>& alarms) {
    schedule_.clear();
    auto sorted = alarms;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const PillBoxAlarm& a, const PillBoxAlarm& b) { return a.time < b.time; });
    for (auto alarm : sorted) {
        alarm.time.second = 0;
        const BraceletTime day{alarm.time.year, alarm.time.month, alarm.time.day, 0, 0, 0};
        const bool newDay = !schedule_.contains(day);
        if (newDay && schedule_.size() >= kMaxDays) continue;
        auto& held = schedule_[day];
        if (held.size() < kMaxAlarmsPerDay) held.push_back(alarm);
    }
}

PillBoxScript VirtualPillBox::script() const {
    std::lock_guard lock(mutex_);
    return script_;
}

BraceletTime VirtualPillBox::clock() const {
    std::lock_guard lock(mutex_);
    return clockNow();
}

int VirtualPillBox::zoneHours() const {
    std::lock_guard lock(mutex_);
    return zoneHours_;
}

int VirtualPillBox::zoneMinutes() const {
    std::lock_guard lock(mutex_);
    return zoneMinutes_;
}

std::optional<BraceletTime> VirtualPillBox::lastSync() const {
    std::lock_guard lock(mutex_);
    return lastSync_;
}

int VirtualPillBox::alarmDuration() const {
    std::lock_guard lock(mutex_);
    return alarmDuration_;
}

int VirtualPillBox::confirmationTime() const {
    std::lock_guard lock(mutex_);
    return confirmationTime_;
}

std::vector<PillBoxAlarm> VirtualPillBox::schedule() const {
    std::lock_guard lock(mutex_);
    return flatSchedule();
}

std::vector<PillBoxDose> VirtualPillBox::history() const {
    std::lock_guard lock(mutex_);
    return currentHistory();
}

std::vector<std::vector<std::uint8_t>> VirtualPillBox::framesReceived() const {
    std::lock_guard lock(mutex_);
    return {frames_.begin(), frames_.end()};
}

int VirtualPillBox::rejectedFrames() const {
    std::lock_guard lock(mutex_);
    return rejectedFrames_;
}

BraceletTime VirtualPillBox::clockNow() const {
    return clock_.read(now(), date());
}

std::vector<PillBoxAlarm> VirtualPillBox::flatSchedule() const {
    std::vector<PillBoxAlarm> alarms;
    for (const auto& [day, held] : schedule_) alarms.insert(alarms.end(), held.begin(), held.end());
    return alarms;
}

std::vector<PillBoxDose> VirtualPillBox::currentHistory() const {
    auto doses = scriptedHistory_
                     ? *scriptedHistory_
                     : PillBoxHistory::generated(flatSchedule(), historyClearedAt_, clockNow(), script_.historySeed);
    if (doses.size() > kMaxHistory) doses.erase(doses.begin(), doses.end() - static_cast<std::ptrdiff_t>(kMaxHistory));
    return doses;
}

// ---------------------------------------------------------------- link (lab queue)

void VirtualPillBox::onConnected() {
    std::lock_guard lock(mutex_);
    clock_.linkUp(now());
}

void VirtualPillBox::onDisconnected() {
    std::lock_guard lock(mutex_);
    reader_.reset();
}

void VirtualPillBox::onWrite(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value, WriteType) {
    if (characteristic != kWrite) return;
    Replies replies;
    std::optional<PillBoxMemory> changed;
    MemoryCallback callback;
    {
        std::lock_guard lock(mutex_);
        recordFrame(value);
        const auto before = memoryCallback_ ? std::optional<PillBoxMemory>(memoryNow()) : std::nullopt;
        for (const auto& result : reader_.take(value, now())) {
            for (auto& reply : take(result)) replies.push_back(std::move(reply));
        }
        if (before) {
            auto after = memoryNow();
            if (after != *before) {
                changed = std::move(after);
                callback = memoryCallback_;
            }
        }
    }
    send(replies);
    if (changed) callback(*changed);
}

void VirtualPillBox::recordFrame(const Frame& value) {
    frames_.push_back(value);
    if (frames_.size() > kMaxRecordedFrames) frames_.pop_front();
}

// ---------------------------------------------------------------- commands

VirtualPillBox::Replies VirtualPillBox::take(const PillBoxFrameReader::Result& result) {
    using Kind = PillBoxFrameReader::Result::Kind;
    switch (result.kind) {
        case Kind::Frame:
            return handleFrame(result.bytes);
        case Kind::BadChecksum:
        case Kind::BadLength:
            Log::shared().writef("Lab: tameinagli %s refuses a frame of %zu bytes", identifier().c_str(),
                                 result.bytes.size());
            return refuse();
        case Kind::NotAFrame:
        case Kind::Unfinished:
            ++rejectedFrames_;
            Log::shared().writef("Lab: tameinagli %s ignores %zu bytes (no frame)", identifier().c_str(),
                                 result.bytes.size());
            return {};
    }
    return {};
}

VirtualPillBox::Replies VirtualPillBox::handleFrame(const Frame& frame) {
    const auto command = commandOf(frame[pillbox::kCodeIndex]);
    if (!command || frame[pillbox::kLengthIndex] != lengthOf(*command)) return refuse();
    const auto& faults = script_.faults;
    if (contains(faults.refuse, *command)) return refuse();
    Replies replies = handle(*command, frame);
    if (contains(faults.noReplyTo, *command)) return {};
    if (contains(faults.wrongLength, *command)) {
        for (auto& reply : replies) reply = PillBoxAnswers::lengthened(reply);
    }
    return replies;
}

VirtualPillBox::Replies VirtualPillBox::refuse() {
    ++rejectedFrames_;
    return {PillBoxAnswers::refusal()};
}

VirtualPillBox::Replies VirtualPillBox::handle(PillBoxCommand command, const Frame& frame) {
    switch (command) {
        case PillBoxCommand::SetClock:
            return onSetClock(frame);
        case PillBoxCommand::ReadClock:
            return {PillBoxAnswers::clock(clockNow())};
        case PillBoxCommand::SetZone:
            return onSetZone(frame);
        case PillBoxCommand::ReadZone:
            return {PillBoxAnswers::zone(zoneHours_, zoneMinutes_)};
        case PillBoxCommand::ReadBattery:
            return {PillBoxAnswers::battery(script_.battery)};
        case PillBoxCommand::ReadLastSync:
            return {PillBoxAnswers::lastSync(lastSync_.value_or(BraceletTime{pillbox::kCentury, 1, 1, 0, 0, 0}))};
        case PillBoxCommand::MarkSynchronised:
            return onMarkSynchronised();
        case PillBoxCommand::ClearHistory:
            return onClearHistory();
        case PillBoxCommand::ReadSchedule:
            return onReadSchedule();
        case PillBoxCommand::WriteSchedule:
            return onWriteSchedule(frame);
        case PillBoxCommand::ReadHistory:
            return onReadHistory();
        case PillBoxCommand::SetAlarmDuration:
            return onSetValue(alarmDuration_, frame);
        case PillBoxCommand::SetConfirmationTime:
            return onSetValue(confirmationTime_, frame);
        case PillBoxCommand::ClearSchedule:
            schedule_.clear();
            return {PillBoxAnswers::ack()};
    }
    return {};
}

VirtualPillBox::Replies VirtualPillBox::onSetClock(const Frame& frame) {
    const auto time = DeviceClock::realTime(
        pillbox::kCentury + frame[pillbox::kSetClockYear], frame[pillbox::kSetClockMonth], frame[pillbox::kSetClockDay],
        frame[pillbox::kSetClockHour], frame[pillbox::kSetClockMinute], frame[pillbox::kSetClockSecond]);
    if (!time) return refuse();
    clock_.set(*time, now());
    return {PillBoxAnswers::ack()};
}

VirtualPillBox::Replies VirtualPillBox::onSetZone(const Frame& frame) {
    const int hours = signedByte(frame[pillbox::kZoneHours]);
    const int minutes = signedByte(frame[pillbox::kZoneMinutes]);
    if (hours < pillbox::kMinZoneHours || hours > pillbox::kMaxZoneHours ||
        std::abs(minutes) > pillbox::kMaxZoneMinutes) {
        return refuse();
    }
    zoneHours_ = hours;
    zoneMinutes_ = minutes;
    return {PillBoxAnswers::ack()};
}

VirtualPillBox::Replies VirtualPillBox::onMarkSynchronised() {
    lastSync_ = clockNow();
    return {PillBoxAnswers::ack()};
}

VirtualPillBox::Replies VirtualPillBox::onClearHistory() {
    if (scriptedHistory_) {
        scriptedHistory_->clear();
    } else {
        historyClearedAt_ = clockNow();
    }
    return {PillBoxAnswers::ack()};
}

VirtualPillBox::Replies VirtualPillBox::onSetValue(int& value, const Frame& frame) {
    value = frame[pillbox::kValueIndex];
    return {PillBoxAnswers::ack()};
}

VirtualPillBox::Replies VirtualPillBox::onWriteSchedule(const Frame& frame) {
    const Replies refused{PillBoxAnswers::scheduleRefusal()};
    const auto day = pillbox::unpackDay(frame[pillbox::kScheduleDayIndex], frame[pillbox::kScheduleDayIndex + 1]);
    const std::size_t dayCount = frame[pillbox::kDayHeaderIndex + pillbox::kDayHeaderSize - 1] & pillbox::kDayCountMask;
    if (!day || dayCount > kMaxAlarmsPerDay) return refused;
    std::vector<PillBoxAlarm> alarms;
    for (std::size_t i = 0; i < pillbox::kSlotsPerFrame; ++i) {
        const std::size_t at = pillbox::kScheduleFirstSlot + 2 * i;
        if (frame[at] == pillbox::kEmptySlot[0] && frame[at + 1] == pillbox::kEmptySlot[1]) continue;
        const auto slot = pillbox::unpackSlot(frame[at], frame[at + 1]);
        if (slot.hour > kLastHour || slot.minute > kLastMinute || slot.colour < PillBoxAlarm::kFirstColour ||
            slot.colour > PillBoxAlarm::kLastColour) {
            return refused;
        }
        alarms.push_back({{day->year, day->month, day->day, slot.hour, slot.minute, 0}, slot.colour});
    }
    const auto held = schedule_.find(*day);
    const std::size_t already = held == schedule_.end() ? 0 : held->second.size();
    if (already + alarms.size() > kMaxAlarmsPerDay) return refused;
    if (held == schedule_.end() && !alarms.empty() && schedule_.size() >= kMaxDays) return refused;
    if (!alarms.empty()) {
        auto& list = schedule_[*day];
        list.insert(list.end(), alarms.begin(), alarms.end());
    }
    return {PillBoxAnswers::ack()};
}

VirtualPillBox::Replies VirtualPillBox::onReadSchedule() const {
    Replies replies;
    for (const auto& [day, alarms] : schedule_) replies.push_back(PillBoxAnswers::scheduleDay(day, alarms));
    replies.push_back(PillBoxAnswers::ack());
    return replies;
}

VirtualPillBox::Replies VirtualPillBox::onReadHistory() const {
    const auto doses = currentHistory();
    Replies replies;
    for (std::size_t at = 0; at < doses.size();) {
        const std::size_t count = entriesInReply(doses.size() - at);
        const auto first = doses.begin() + static_cast<std::ptrdiff_t>(at);
        replies.push_back(PillBoxAnswers::history({first, first + static_cast<std::ptrdiff_t>(count)}));
        at += count;
    }
    replies.push_back(PillBoxAnswers::ack());
    return replies;
}

// ---------------------------------------------------------------- sending (lab queue)

void VirtualPillBox::send(const Replies& replies) {
    for (const auto& reply : replies) {
        for (const auto& piece : PillBoxAnswers::pieces(reply)) notify(kNotify, piece);
    }
}

}  // namespace halvora::lab
