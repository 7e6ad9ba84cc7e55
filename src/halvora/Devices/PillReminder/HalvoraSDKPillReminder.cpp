#include "halvora/Devices/PillReminder/HalvoraSDKPillReminder.hpp"

#include <array>
#include <random>

#include "halvora/Core/Calendar.hpp"
#include "halvora/Devices/PillReminder/internal/PillReminderFrame.hpp"
#include "halvora/Devices/PillReminder/internal/PillReminderMessages.hpp"
#include "halvora/Devices/PillReminder/internal/PillReminderSchedule.hpp"

namespace halvora {

namespace {

using Request = PillReminderRequest;

constexpr std::int32_t kSecondsPerHour = 3600;
constexpr std::int32_t kSecondsPerMinute = 60;
/// The zone hours the box accepts.
constexpr std::int32_t kMaxZoneHours = 12;
/// The zone minutes the box accepts are below this.
constexpr std::uint32_t kZoneMinutesLimit = 60;
/// The largest value of a one-byte setting.
constexpr std::int32_t kMaxByteValue = 255;

/// The characteristics asked for in the protocol service, in this order.
std::vector<BLEUUID> protocolCharacteristics() {
    return {BLEUUID(HalvoraSDKPillReminder::kReadCharacteristicUUIDText),
            BLEUUID(HalvoraSDKPillReminder::kReadCharacteristic4060UUIDText),
            BLEUUID(HalvoraSDKPillReminder::kReadCharacteristic60UUIDText),
            BLEUUID(HalvoraSDKPillReminder::kReadCharacteristicRealtimeUUIDText),
            BLEUUID(HalvoraSDKPillReminder::kSendCharacteristicUUIDText)};
}

/// A fixed frame.
std::function<std::vector<std::uint8_t>(HalvoraSDKPillReminder&)> fixed(const std::vector<std::uint8_t>& frame) {
    return [&frame](HalvoraSDKPillReminder&) { return frame; };
}

std::string nameOf(const std::shared_ptr<Peripheral>& peripheral) {
    return peripheral ? peripheral->name().value_or("(null)") : std::string("(null)");
}

}  // namespace

// ------------------------------------------------------------------------------------ class operations

bool HalvoraSDKPillReminder::matchDevice(const std::shared_ptr<Peripheral>& peripheral,
                                         const AdvertisementData* advertisement) {
    return matchDevice(peripheral, advertisement, Log::shared());
}

bool HalvoraSDKPillReminder::matchDevice(const std::shared_ptr<Peripheral>& peripheral,
                                         const AdvertisementData* advertisement, Log& log) {
    const auto name = peripheral ? peripheral->name() : std::nullopt;
    const auto localName = advertisement ? advertisement->localName : std::nullopt;
    log.writef("FOUND DEVICE: %s - LOCALNAME: %s", name.value_or("(null)").c_str(),
               localName.value_or("(null)").c_str());
    if (name && *name == getName()) return true;
    return localName && *localName == getName();
}

// ------------------------------------------------------------------------------------ life

HalvoraSDKPillReminder::HalvoraSDKPillReminder(DriverContext context) : BLEDevice(std::move(context)) {
    const auto& executor = this->context().executor;
    queue_ = this->context().callbackQueue;
    if (!queue_ && executor) queue_ = executor->makeQueue(kSendQueueLabel);
    commands_ = std::make_unique<CommandQueue>(executor, queue_);
    uuidState_ = std::random_device{}();
    uuidState_ = (uuidState_ << 32) ^ std::random_device{}();
}

HalvoraSDKPillReminder::~HalvoraSDKPillReminder() = default;

void HalvoraSDKPillReminder::deinit() {
    disposed_ = true;
    packetsToSend_.clear();
    lastAlarmSchedule_.clear();
    alarms_.clear();
    lastSchedulePerformance_.clear();
    records_.clear();
    commands_->dispose();
}

void HalvoraSDKPillReminder::didConnect() {
    BLEDevice::didConnect();
    log().write("Did start service discovery.");
}

void HalvoraSDKPillReminder::didDisconnect() {
    const auto peripheral = device();
    log().writef("Device disconected! %s - %s", nameOf(peripheral).c_str(),
                 peripheral ? peripheral->identifier().c_str() : "(null)");
    BLEDevice::didDisconnect();
}

Date HalvoraSDKPillReminder::now() const {
    const auto& executor = context().executor;
    return executor ? executor->date() : Date{};
}

std::string HalvoraSDKPillReminder::newUUID() {
    std::mt19937_64 generator(uuidState_++);
    std::array<std::uint8_t, 16> bytes{};
    for (auto& b : bytes) b = static_cast<std::uint8_t>(generator());
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
    return BLEUUID::fromBytes(bytes).toLongString();
}

// ------------------------------------------------------------------------------------ discovery

void HalvoraSDKPillReminder::peripheralDidDiscoverServices(const std::shared_ptr<Peripheral>& peripheral,
                                                           const OptionalError& error) {
    if (error) {
        log().writef("Error discovering services: %s", error->description.c_str());
        return;
    }
    if (!peripheral) return;
    for (const auto& service : peripheral->services()) {
        log().writef("Service discovered %s", service->uuid().toString().c_str());
        if (service->uuid() == rsServiceUUID()) {
            log().write("Found correct service");
            rs232Service_ = service;
            peripheral->discoverCharacteristics(protocolCharacteristics(), service);
        } else if (service->uuid() == deviceInformationServiceUUID()) {
            peripheral->discoverCharacteristics({hardwareRevisionStringUUID()}, service);
        }
    }
}

void HalvoraSDKPillReminder::peripheralDidDiscoverCharacteristicsForService(
    const std::shared_ptr<Peripheral>& peripheral, const std::shared_ptr<Service>& service,
    const OptionalError& error) {
    if (error) {
        log().writef("Error discovering characteristics: %s", error->description.c_str());
        return;
    }
    if (!peripheral || !service) return;
    for (const auto& c : service->characteristics()) {
        log().writef("c.UUID %s", c->uuid().toString().c_str());
        const auto& uuid = c->uuid();
        if (uuid == readCharacteristicUUID()) {
            readCharacteristic40_ = c;
            peripheral->setNotifyValue(true, c);
        } else if (uuid == BLEUUID(kReadCharacteristic4060UUIDText)) {
            readCharacteristic4060_ = c;
            peripheral->setNotifyValue(true, c);
        } else if (uuid == BLEUUID(kReadCharacteristic60UUIDText)) {
            readCharacteristic60_ = c;
            peripheral->setNotifyValue(true, c);
        } else if (uuid == BLEUUID(kReadCharacteristicRealtimeUUIDText)) {
            readCharacteristicRealtime_ = c;
            peripheral->setNotifyValue(true, c);
        } else if (uuid == sendCharacteristicUUID()) {
            sendCharacteristic_ = c;
            log().write("    Found TX characteristic");
        } else if (uuid == hardwareRevisionStringUUID()) {
            log().write("    Found Hardware Revision String characteristic");
            peripheral->readValue(c);
        }
    }
    if (service->uuid() != rsServiceUUID()) return;
    reportReady();
    setClockFromPhone();
}

void HalvoraSDKPillReminder::peripheralDidWriteValueForDescriptor(const std::shared_ptr<Peripheral>& /*peripheral*/,
                                                                  const std::shared_ptr<Characteristic>& characteristic,
                                                                  const OptionalError& /*error*/) {
    // One more ready report, for the replies' own characteristic.
    if (characteristic && characteristic->uuid() == readCharacteristicUUID()) reportReady();
}

void HalvoraSDKPillReminder::setClockFromPhone() {
    const std::tm local = Calendar::toLocal(now());
    const auto offset = static_cast<std::int32_t>(local.tm_gmtoff);
    setDeviceTimeZone(offset / kSecondsPerHour, (offset % kSecondsPerHour) / kSecondsPerMinute);
    setDeviceTime();
}

// ------------------------------------------------------------------------------------ the command slot

void HalvoraSDKPillReminder::enqueueWork(Work work) {
    std::weak_ptr<BLEDevice> weak = weak_from_this();
    commands_->enqueue(
        [weak, work = std::move(work)] {
            if (auto self = std::static_pointer_cast<HalvoraSDKPillReminder>(weak.lock())) self->runUnderPermit(work);
        },
        kCommandWaitLimit);
}

void HalvoraSDKPillReminder::runUnderPermit(const Work& work) {
    if (disposed_) return;  // let go by deinit: nothing more goes out
    permitHeld_ = true;
    currentUUID_ = newUUID();
    packetsToSend_.clear();  // a schedule write whose replies never came is abandoned
    if (!device()) {
        releasePermit();
        return;
    }
    work(*this);
}

void HalvoraSDKPillReminder::enqueueRequest(std::int32_t request, FrameMaker makeFrame) {
    enqueueWork([request, makeFrame = std::move(makeFrame)](HalvoraSDKPillReminder& self) {
        self.sendFrame(request, makeFrame);
    });
}

void HalvoraSDKPillReminder::sendFrame(std::int32_t request, const FrameMaker& makeFrame) {
    const auto frame = makeFrame(*this);
    if (frame.empty()) {
        sendError(request, PillReminderMessages::error(request));
        releasePermit();
        return;
    }
    writeRequest(request, frame);
}

void HalvoraSDKPillReminder::writeRequest(std::int32_t request, const std::vector<std::uint8_t>& frame) {
    currentRequest_ = request;
    writeFrame(frame);
}

void HalvoraSDKPillReminder::writeFrame(const std::vector<std::uint8_t>& frame) {
    log().writef("WRITING DATA: %s", PillReminderFrame::describe(frame).c_str());
    writeInPieces(frame, sendCharacteristic_);
}

void HalvoraSDKPillReminder::releasePermit() {
    if (!permitHeld_) return;
    permitHeld_ = false;
    commands_->release();
}

// ------------------------------------------------------------------------------------ requests

void HalvoraSDKPillReminder::setDeviceTime() {
    enqueueRequest(Request::kSetDeviceTime, [](HalvoraSDKPillReminder& self) {
        return PillReminderFrame::setTime(Calendar::toLocal(self.now()));
    });
}

void HalvoraSDKPillReminder::getDeviceTime() {
    enqueueRequest(Request::kGetDeviceTime, fixed(PillReminderFrame::kGetTime));
}

void HalvoraSDKPillReminder::setDeviceTimeZone(std::int32_t hours, std::int32_t minutes) {
    // Minutes are taken as unsigned: a negative count is far above the limit.
    if (hours < -kMaxZoneHours || hours > kMaxZoneHours) return;
    if (static_cast<std::uint32_t>(minutes) >= kZoneMinutesLimit) return;
    enqueueRequest(Request::kSetDeviceTimeZone,
                   [hours, minutes](HalvoraSDKPillReminder&) { return PillReminderFrame::setZone(hours, minutes); });
}

void HalvoraSDKPillReminder::getDeviceTimeZone() {
    enqueueRequest(Request::kGetDeviceTimeZone, fixed(PillReminderFrame::kGetZone));
}

void HalvoraSDKPillReminder::getBatteryLevel() {
    enqueueRequest(Request::kGetBatteryLevel, fixed(PillReminderFrame::kGetBattery));
}

void HalvoraSDKPillReminder::getLatestSynchronizationTime() {
    enqueueRequest(Request::kGetLatestSynchronizationTime, fixed(PillReminderFrame::kGetSyncTime));
}

void HalvoraSDKPillReminder::setSuccessfulSynchronizationStatus(bool takePermit) {
    if (takePermit) {
        enqueueRequest(Request::kSetSuccessfulSynchronizationStatus, fixed(PillReminderFrame::kSetSyncStatus));
        return;
    }
    if (!queue_) return;
    std::weak_ptr<BLEDevice> weak = weak_from_this();
    queue_->async([weak] {
        if (auto self = std::static_pointer_cast<HalvoraSDKPillReminder>(weak.lock()))
            self->writeSynchronizationStatusUnderHeldPermit();
    });
}

void HalvoraSDKPillReminder::writeSynchronizationStatusUnderHeldPermit() {
    if (disposed_) return;
    if (!device()) {
        releasePermit();
        return;
    }
    writeRequest(Request::kSetSuccessfulSynchronizationStatus, PillReminderFrame::kSetSyncStatus);
}

void HalvoraSDKPillReminder::clearSchedulePerformanceHistory() {
    enqueueRequest(Request::kClearSchedulePerformanceHistory, fixed(PillReminderFrame::kClearHistory));
}

void HalvoraSDKPillReminder::setAlarmsSchedule(const std::vector<HalvoraSDKPillReminderAlarmData>& alarms) {
    clearAlarmSchedule();
    enqueueWork([alarms](HalvoraSDKPillReminder& self) { self.writeSchedule(alarms); });
}

void HalvoraSDKPillReminder::writeSchedule(const std::vector<HalvoraSDKPillReminderAlarmData>& alarms) {
    auto packing = PillReminderSchedule::pack(alarms);
    if (packing.error) {
        sendError(Request::kSetAlarmsSchedule, packing.error);
        releasePermit();
        return;
    }
    if (packing.frames.empty()) {
        // Nothing to write: the box is cleared, which is the schedule asked for.
        writeSynchronizationStatusUnderHeldPermit();
        return;
    }
    packetsToSend_ = std::move(packing.frames);
    // The slot stays held across the frames and the closing synchronisation status, so that no other
    // request can come between a frame and its reply.
    writeRequest(Request::kSetAlarmsSchedule, packetsToSend_.front());
}

void HalvoraSDKPillReminder::getAlarmSchedule() {
    enqueueWork([](HalvoraSDKPillReminder& self) {
        self.lastAlarmSchedule_.clear();
        self.alarms_.clear();
        self.writeRequest(Request::kGetAlarmSchedule, PillReminderFrame::kGetSchedule);
    });
}

void HalvoraSDKPillReminder::getSchedulePerformanceHistory() {
    enqueueWork([](HalvoraSDKPillReminder& self) {
        self.lastSchedulePerformance_.clear();
        self.records_.clear();
        self.writeRequest(Request::kGetSchedulePerformanceHistory, PillReminderFrame::kGetHistory);
    });
}

void HalvoraSDKPillReminder::setValueRequest(std::int32_t request, std::uint8_t code, std::int32_t value) {
    enqueueRequest(request, [code, value](HalvoraSDKPillReminder&) {
        if (value < 0 || value > kMaxByteValue) return std::vector<std::uint8_t>{};
        return PillReminderFrame::setValue(code, value);
    });
}

void HalvoraSDKPillReminder::setAlarmDuration(std::int32_t value) {
    setValueRequest(Request::kSetAlarmDuration, PillReminderFrame::kSetDuration, value);
}

void HalvoraSDKPillReminder::setAlarmConfirmationTime(std::int32_t value) {
    setValueRequest(Request::kSetAlarmConfirmationTime, PillReminderFrame::kSetConfirmation, value);
}

void HalvoraSDKPillReminder::clearAlarmSchedule() {
    enqueueRequest(Request::kClearAlarmSchedule, fixed(PillReminderFrame::kClearSchedule));
}

}  // namespace halvora
