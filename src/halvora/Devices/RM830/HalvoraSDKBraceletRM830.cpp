#include "halvora/Devices/RM830/HalvoraSDKBraceletRM830.hpp"

#include "halvora/Core/DateUtils.hpp"
#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Devices/RM830/internal/RM830Bcd.hpp"
#include "halvora/Devices/RM830/internal/RM830Commands.hpp"
#include "halvora/Devices/RM830/internal/RM830DayFrames.hpp"
#include "halvora/Devices/RM830/internal/RM830FirmwareVersion.hpp"
#include "halvora/Devices/RM830/internal/RM830Frame.hpp"
#include "halvora/Devices/RM830/internal/RM830HeartRateDownload.hpp"
#include "halvora/Manager/HalvoraDeviceDelegate.hpp"

namespace halvora {

namespace {

/// The queue of a driver made without a callback queue.
constexpr const char* kOwnQueueLabel = "rm830.sendDataQueue";
constexpr std::int32_t kToday = 0;
constexpr std::int32_t kFirstPacket = 0;
constexpr std::int32_t kStopUnderSlot = 0;

/// The protocol service and its two characteristics, asked for in this order.
SerialCommandDevice::Profile profile() {
    return {HalvoraSDKBraceletRM830::rsServiceUUID(),
            HalvoraSDKBraceletRM830::readCharacteristicUUID(),
            HalvoraSDKBraceletRM830::sendCharacteristicUUID(),
            {HalvoraSDKBraceletRM830::readCharacteristicUUID(), HalvoraSDKBraceletRM830::sendCharacteristicUUID()},
            kOwnQueueLabel};
}

}  // namespace

// ------------------------------------------------------------------------------------ class operations

bool HalvoraSDKBraceletRM830::matchDevice(const std::shared_ptr<Peripheral>& peripheral) {
    if (!peripheral) return false;
    const auto name = peripheral->name();
    return name && (*name == getName() || *name == getSecondName() || *name == getThirdName());
}

std::int32_t HalvoraSDKBraceletRM830::crcCalculation(const std::vector<std::int32_t>& values) {
    return RM830Frame::sum(values);
}

std::uint8_t HalvoraSDKBraceletRM830::intToHexa(std::int32_t value) {
    return RM830Bcd::encode(value);
}

std::int32_t HalvoraSDKBraceletRM830::hexaToInt(std::uint8_t value) {
    return RM830Bcd::decode(value);
}

std::string HalvoraSDKBraceletRM830::byteToString(std::uint8_t value) {
    return RM830Bcd::digits(value);
}

// ------------------------------------------------------------------------------------ life

HalvoraSDKBraceletRM830::HalvoraSDKBraceletRM830(DriverContext context)
    : SerialCommandDevice(std::move(context), profile()),
      dayFrames_(std::make_unique<RM830DayFrames>()),
      heartRates_(std::make_unique<RM830HeartRateDownload>()) {}

HalvoraSDKBraceletRM830::~HalvoraSDKBraceletRM830() = default;

std::shared_ptr<HalvoraBraceletRM830Delegate> HalvoraSDKBraceletRM830::rm830Delegate() const {
    if (auto delegates = context().delegates.lock()) return delegates->braceletRM830Delegate();
    return nullptr;
}

std::shared_ptr<HalvoraDeviceDelegate> HalvoraSDKBraceletRM830::deviceDelegate() const {
    if (auto delegates = context().delegates.lock()) return delegates->deviceDelegate();
    return nullptr;
}

// ------------------------------------------------------------------------------------ connection

void HalvoraSDKBraceletRM830::characteristicsReady(const std::shared_ptr<Peripheral>& peripheral) {
    // Whatever was found: the bracelet is ready, remembered, and asked for its version and time format.
    reportReady();
    preferences()->setBraceletUUID(peripheral->identifier());
    getFirmwareVersion();
    synchronizeParams(kOpeningParams);
}

void HalvoraSDKBraceletRM830::peripheralDidUpdateValueForCharacteristic(
    const std::shared_ptr<Peripheral>& /*peripheral*/, const std::shared_ptr<Characteristic>& characteristic,
    const std::vector<std::uint8_t>& value, const OptionalError& error) {
    if (error || !characteristic || isReleased() || characteristic != readCharacteristic()) return;
    handleAnswer(value);
}

// ------------------------------------------------------------------------------------ command slot

void HalvoraSDKBraceletRM830::sendWithSlot(std::vector<std::uint8_t> frame) {
    std::weak_ptr<BLEDevice> weak = weak_from_this();
    commands().enqueue(
        [weak, frame = std::move(frame)] {
            if (auto self = std::static_pointer_cast<HalvoraSDKBraceletRM830>(weak.lock())) self->writeRawData(frame);
        },
        kCommandWaitLimit);
}

void HalvoraSDKBraceletRM830::sendWithoutSlot(std::vector<std::uint8_t> frame) {
    std::weak_ptr<BLEDevice> weak = weak_from_this();
    commands().enqueueWithoutPermit([weak, frame = std::move(frame)] {
        if (auto self = std::static_pointer_cast<HalvoraSDKBraceletRM830>(weak.lock())) self->writeRawData(frame);
    });
}

void HalvoraSDKBraceletRM830::releaseSlot() {
    commands().release();
}

// ------------------------------------------------------------------------------------ commands

void HalvoraSDKBraceletRM830::synchronizeDateTime(Date date) {
    sendWithSlot(RM830Commands::dateTime(date));
}

void HalvoraSDKBraceletRM830::readDateTime() {
    sendWithSlot(RM830Commands::readDateTime());
}

void HalvoraSDKBraceletRM830::readDate() {
    readDateTime();
}

void HalvoraSDKBraceletRM830::synchronizeTimeFormat(std::int32_t /*flag*/) {
    sendWithSlot(RM830Commands::timeFormat());
}

void HalvoraSDKBraceletRM830::readTimeFormat() {
    sendWithSlot(RM830Commands::readTimeFormat());
}

void HalvoraSDKBraceletRM830::synchronizeParams(std::int32_t flag) {
    if (syncParams_) return;
    syncParams_ = true;
    synchronizeTimeFormat(flag);
}

void HalvoraSDKBraceletRM830::synchronizePersonalInformation(std::optional<std::int32_t> heightCm,
                                                             std::optional<std::int32_t> weightKg, std::int32_t gender,
                                                             std::optional<Date> birthday, bool /*vibrate*/) {
    const auto age = DateUtils::getAgeFromDate(birthday, now());
    sendWithSlot(RM830Commands::personalInformation(heightCm, weightKg, gender, age));
}

void HalvoraSDKBraceletRM830::synchronizeTargets(std::int64_t steps) {
    sendWithSlot(RM830Commands::targets(steps));
}

void HalvoraSDKBraceletRM830::getDatesWithInfo() {
    sendWithSlot(RM830Commands::datesWithInfo());
}

void HalvoraSDKBraceletRM830::startRealTime() {
    sendWithSlot(RM830Commands::startRealTime());
}

void HalvoraSDKBraceletRM830::stopRealtime(std::int32_t flag) {
    if (flag == kStopUnderSlot) {
        sendWithSlot(RM830Commands::stopRealtime());
    } else {
        sendWithoutSlot(RM830Commands::stopRealtime());
    }
}

void HalvoraSDKBraceletRM830::readPersonalInformation() {
    sendWithSlot(RM830Commands::readPersonalInformation());
}

void HalvoraSDKBraceletRM830::synchronizeDataDaysAgo(std::int32_t days) {
    std::weak_ptr<BLEDevice> weak = weak_from_this();
    commands().enqueue(
        [weak, days] {
            if (auto self = std::static_pointer_cast<HalvoraSDKBraceletRM830>(weak.lock())) self->requestDay(days);
        },
        kCommandWaitLimit);
}

void HalvoraSDKBraceletRM830::requestDay(std::int32_t days) {
    if (days == kToday) startRealTime();  // queued now, so it goes after this day's answer
    if (!device()) {
        releaseSlot();
        return;
    }
    dayFrames_->clear();
    writeRawData(RM830Commands::dataDaysAgo(days));
}

void HalvoraSDKBraceletRM830::getFirmwareVersion() {
    sendWithSlot(RM830Commands::firmwareVersion());
}

void HalvoraSDKBraceletRM830::updateFirmware() {
    if (!RM830FirmwareVersion::isOlderThanKit(version_)) {
        sendInformation(kFirmwareUpToDateMessage);
        return;
    }
    std::weak_ptr<BLEDevice> weak = weak_from_this();
    commands().enqueue(
        [weak] {
            if (auto self = std::static_pointer_cast<HalvoraSDKBraceletRM830>(weak.lock())) self->switchToUpdater();
        },
        kCommandWaitLimit);
}

void HalvoraSDKBraceletRM830::switchToUpdater() {
    writeRawData(RM830Commands::switchToUpdater());
    const auto& executor = context().executor;
    if (!executor) return;
    // The bracelet restarts as its updater and this driver goes with the link: the request holds only the
    // manager, and only weakly.
    executor->mainQueue()->asyncAfter(kUpdaterConnectionDelay, [connector = context().connector] {
        if (auto manager = connector.lock())
            manager->requestConnection(DeviceTypeBraceletRM830DFU, kUpdaterConnectionTimeout);
    });
}

void HalvoraSDKBraceletRM830::getHeartRateBasicValue() {
    sendWithSlot(RM830Commands::heartRateBasicValue());
}

void HalvoraSDKBraceletRM830::getHeartRateValue(std::int32_t packet) {
    std::weak_ptr<BLEDevice> weak = weak_from_this();
    Task work = [weak, packet] {
        if (auto self = std::static_pointer_cast<HalvoraSDKBraceletRM830>(weak.lock()))
            self->requestHeartRatePacket(packet);
    };
    if (packet == kFirstPacket) {
        commands().enqueue(std::move(work), kCommandWaitLimit);
    } else {
        commands().enqueueWithoutPermit(std::move(work));
    }
}

void HalvoraSDKBraceletRM830::getHeartRateValueNoLock(std::int32_t packet) {
    std::weak_ptr<BLEDevice> weak = weak_from_this();
    commands().enqueueWithoutPermit([weak, packet] {
        if (auto self = std::static_pointer_cast<HalvoraSDKBraceletRM830>(weak.lock()))
            self->requestHeartRatePacket(packet);
    });
}

void HalvoraSDKBraceletRM830::requestHeartRatePacket(std::int32_t packet) {
    heartRates_->request(packet);
    writeRawData(RM830Commands::heartRateValue(packet));
}

void HalvoraSDKBraceletRM830::setRealtimeHREnabled(bool enabled) {
    sendWithSlot(RM830Commands::realtimeHR(enabled));
}

void HalvoraSDKBraceletRM830::setMonitoringHREnabled(bool enabled) {
    sendWithSlot(RM830Commands::monitoringHR(enabled));
}

void HalvoraSDKBraceletRM830::setMonitoringHRAuto(bool enabled, std::optional<HalvoraSDKRM830TimeRange> range) {
    const auto peripheral = device();
    if (!peripheral || peripheral->name() != getThirdName()) return;
    sendWithSlot(RM830Commands::monitoringHRAuto(enabled, range));
}

}  // namespace halvora
