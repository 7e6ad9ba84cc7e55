#include "halvora/Devices/Bracelet/HalvoraSDKBracelet.hpp"

#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Devices/Bracelet/internal/BraceletCommands.hpp"
#include "halvora/Devices/Bracelet/internal/BraceletEstimates.hpp"
#include "halvora/Devices/Bracelet/internal/BraceletHistory.hpp"
#include "halvora/Devices/Bracelet/internal/BraceletTransfer.hpp"

namespace halvora {

namespace {

/// The queue of a driver made without a callback queue.
constexpr const char* kOwnQueueLabel = "moxenta.sendDataQueue";
/// Package number that starts a history download.
constexpr std::int32_t kFirstPackage = 0;
constexpr std::int32_t kHeartStart = 1;
constexpr std::uint32_t kLowByte = 0xFF;

std::vector<std::uint8_t> bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

/// The protocol service and its two characteristics, asked for in this order.
SerialCommandDevice::Profile profile() {
    return {HalvoraSDKBracelet::rsServiceUUID(),
            HalvoraSDKBracelet::readCharacteristicUUID(),
            HalvoraSDKBracelet::sendCharacteristicUUID(),
            {HalvoraSDKBracelet::sendCharacteristicUUID(), HalvoraSDKBracelet::readCharacteristicUUID()},
            kOwnQueueLabel};
}

}  // namespace

// ------------------------------------------------------------------------------------ class operations

bool HalvoraSDKBracelet::matchDevice(const std::shared_ptr<Peripheral>& peripheral) {
    if (!peripheral) return false;
    const auto name = peripheral->name();
    return name && (*name == getName() || *name == getSecondName());
}

float HalvoraSDKBracelet::getDistanceBySteps(std::int32_t steps, std::optional<std::int64_t> heightCm) {
    return BraceletEstimates::distanceBySteps(steps, heightCm);
}

float HalvoraSDKBracelet::getCaloriesByDistance(double metres, std::optional<double> weightKg) {
    return BraceletEstimates::caloriesByDistance(metres, weightKg);
}

double HalvoraSDKBracelet::geDistanceByCalories(double kcal, std::optional<double> weightKg) {
    return BraceletEstimates::distanceByCalories(kcal, weightKg);
}

std::int32_t HalvoraSDKBracelet::crcCalculation(const std::vector<std::int32_t>& values) {
    std::uint32_t sum = 0;  // unsigned: wraps instead of overflowing; only the low byte counts
    for (std::int32_t value : values) sum += static_cast<std::uint32_t>(value);
    return static_cast<std::int8_t>(sum & kLowByte);
}

// ------------------------------------------------------------------------------------ life

HalvoraSDKBracelet::HalvoraSDKBracelet(DriverContext context)
    : SerialCommandDevice(std::move(context), profile()),
      transfer_(std::make_unique<BraceletTransfer>()),
      history_(std::make_unique<BraceletHistory>()) {}

HalvoraSDKBracelet::~HalvoraSDKBracelet() = default;

bool HalvoraSDKBracelet::isReceivingData() const {
    return transfer_->isReceivingData();
}

std::shared_ptr<HalvoraBraceletDelegate> HalvoraSDKBracelet::braceletDelegate() const {
    if (auto delegates = context().delegates.lock()) return delegates->braceletDelegate();
    return nullptr;
}

std::optional<std::int64_t> HalvoraSDKBracelet::userHeight() const {
    return preferences()->getUserHeight();
}

std::optional<double> HalvoraSDKBracelet::userWeight() const {
    return preferences()->getUserWeight();
}

// ------------------------------------------------------------------------------------ connection

void HalvoraSDKBracelet::characteristicsReady(const std::shared_ptr<Peripheral>& peripheral) {
    // Whatever was found: the bracelet is ready, remembered, and greeted.
    reportReady();
    preferences()->setBraceletUUID(peripheral->identifier());
    scheduleOpening();
}

void HalvoraSDKBracelet::peripheralDidUpdateValueForCharacteristic(
    const std::shared_ptr<Peripheral>& /*peripheral*/, const std::shared_ptr<Characteristic>& characteristic,
    const std::vector<std::uint8_t>& value, const OptionalError& error) {
    if (error || !characteristic || isReleased() || characteristic != readCharacteristic()) return;
    handleNotification(value);
}

void HalvoraSDKBracelet::scheduleOpening() {
    if (!queue()) return;
    std::weak_ptr<BLEDevice> weak = weak_from_this();
    queue()->asyncAfter(kOpeningDelay, [weak] {
        auto self = std::static_pointer_cast<HalvoraSDKBracelet>(weak.lock());
        if (!self) return;
        self->sendBTIOS(kOpeningBTIOS);
        self->configureDistanceUnit(kOpeningDistanceUnit);
    });
}

// ------------------------------------------------------------------------------------ command slot

void HalvoraSDKBracelet::sendCommand(std::string text, Duration waitLimit) {
    std::weak_ptr<BLEDevice> weak = weak_from_this();
    commands().enqueue(
        [weak, text = std::move(text)] {
            if (auto self = std::static_pointer_cast<HalvoraSDKBracelet>(weak.lock())) self->writeUnderSlot(text);
        },
        waitLimit);
}

void HalvoraSDKBracelet::writeUnderSlot(const std::string& text) {
    if (!device()) {
        releaseSlot();
        return;
    }
    writeText(text);
}

void HalvoraSDKBracelet::writeText(const std::string& text) {
    writeRawData(bytesOf(text));
}

void HalvoraSDKBracelet::releaseSlot() {
    commands().release();
}

// ------------------------------------------------------------------------------------ commands

void HalvoraSDKBracelet::synchronizeHistoryData() {
    synchronizeData(true);
}

void HalvoraSDKBracelet::synchronizeData(bool /*flag*/) {
    if (transfer_->isReceivingData()) return;
    std::weak_ptr<BLEDevice> weak = weak_from_this();
    commands().enqueue(
        [weak] {
            if (auto self = std::static_pointer_cast<HalvoraSDKBracelet>(weak.lock())) self->requestData(kFirstPackage);
        },
        kHistoryWaitLimit);
}

void HalvoraSDKBracelet::requestData(std::int32_t package) {
    if (!device()) {
        releaseSlot();
        return;
    }
    writeText(BraceletCommands::requestData(package));
}

void HalvoraSDKBracelet::getCurrentSteps() {
    sendCommand(BraceletCommands::currentSteps());
}
void HalvoraSDKBracelet::sendStepStore() {
    sendCommand(BraceletCommands::stepStore());
}
void HalvoraSDKBracelet::getHeartBeat() {
    getHeartBeat(kHeartStart);
}
void HalvoraSDKBracelet::getHeartBeat(std::int32_t start) {
    sendCommand(BraceletCommands::heartBeat(start));
}
void HalvoraSDKBracelet::configureDate(Date date) {
    sendCommand(BraceletCommands::date(date));
}
void HalvoraSDKBracelet::configureUserHeight(std::int32_t centimetres) {
    sendCommand(BraceletCommands::userHeight(centimetres));
}
void HalvoraSDKBracelet::configureUserWeight(std::int32_t kilograms) {
    sendCommand(BraceletCommands::userWeight(kilograms));
}
void HalvoraSDKBracelet::configureBraceletRiseHand(std::int32_t enabled) {
    sendCommand(BraceletCommands::riseHand(enabled));
}
void HalvoraSDKBracelet::configureAntitheft(std::int32_t enabled) {
    sendCommand(BraceletCommands::antitheft(enabled));
}
void HalvoraSDKBracelet::configureSettingFindPhone(std::int32_t enabled) {
    sendCommand(BraceletCommands::findPhone(enabled));
}
void HalvoraSDKBracelet::sendFindDevice() {
    sendCommand(BraceletCommands::findDevice());
}
void HalvoraSDKBracelet::configureMonitorHeartRate(std::int32_t enabled) {
    sendCommand(BraceletCommands::monitorHeartRate(enabled));
}
void HalvoraSDKBracelet::sendBTIOS(std::int32_t value) {
    sendCommand(BraceletCommands::btIOS(value));
}
void HalvoraSDKBracelet::sendStartOrFinishExercise(std::int32_t start) {
    sendCommand(BraceletCommands::exercise(start));
}
void HalvoraSDKBracelet::sendStartOrFinishAutoSteps(std::int32_t start) {
    sendCommand(BraceletCommands::autoSteps(start));
}
void HalvoraSDKBracelet::configureStepTarget(std::int32_t steps) {
    sendCommand(BraceletCommands::stepTarget(steps));
}
void HalvoraSDKBracelet::configureDistanceUnit(std::int32_t unit) {
    sendCommand(BraceletCommands::distanceUnit(unit));
}
void HalvoraSDKBracelet::configureACNS(const std::vector<std::int32_t>& values) {
    sendCommand(BraceletCommands::ancs(values));
}
void HalvoraSDKBracelet::disableAlarm(bool secondary) {
    sendCommand(BraceletCommands::disableAlarm(secondary));
}
void HalvoraSDKBracelet::configureAlarm(const HalvoraSDKBraceletAlarm& alarm) {
    sendCommand(BraceletCommands::alarm(alarm));
}
void HalvoraSDKBracelet::disableSedentaryAlarm() {
    sendCommand(BraceletCommands::disableSedentaryAlarm());
}
void HalvoraSDKBracelet::configureBraceletSedentaryAlarm(const HalvoraSDKBraceletSedentaryAlarm& alarm) {
    sendCommand(BraceletCommands::sedentaryAlarm(alarm));
}
void HalvoraSDKBracelet::sendText(const std::string& text) {
    sendCommand(BraceletCommands::text(text));
}
void HalvoraSDKBracelet::sendCustomInstruction(const std::string& instruction) {
    sendCommand(instruction);
}

}  // namespace halvora
