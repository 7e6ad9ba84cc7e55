#include "lab/Devices/Vital/internal/VitalAnswers.hpp"

#include <algorithm>

#include "lab/Devices/Vital/internal/VitalFrameBuilder.hpp"
#include "lab/Devices/Vital/internal/VitalProtocol.hpp"

namespace halvora::lab {

namespace {

constexpr int kCentury = 2000;
constexpr int kMaxByte = 0xFF;

// Window layout (0x25, 0x26, 0x2A, 0x2B): four BCD times, then the week days.
constexpr std::size_t kActivityWindow = 1;
constexpr std::size_t kActivityReminder = 6;
constexpr std::size_t kActivitySteps = 7;
constexpr std::size_t kActivityMotion = 8;
constexpr std::size_t kDetectionMode = 1;
constexpr std::size_t kDetectionWindow = 2;
constexpr std::size_t kDetectionInterval = 7;
constexpr std::size_t kDetectionType = 9;

// Device parameters as 0x04 reads them: the flags and notification bytes where 0x03 sets them, then the
// rest in the bytes that follow: the heart-rate base as a number (without the marker bit the phone sets),
// brightness and dial as sent (marker bit on), the language byte as sent.
constexpr std::size_t kParameterFlags = 1;
constexpr std::size_t kNotificationsSecond = 7;
constexpr std::size_t kNotificationsFirst = 8;
constexpr std::size_t kHeartRateBase = 9;
constexpr std::size_t kBrightness = 10;
constexpr std::size_t kDial = 11;
constexpr std::size_t kLanguage = 12;
constexpr std::uint8_t kMarkerBit = 0x80;

// Real-time and heartbeat layouts.
constexpr std::size_t kRealTimeSteps = 1;
constexpr std::size_t kRealTimeHeartRate = 5;
constexpr std::size_t kRealTimeTemperature = 6;
constexpr std::size_t kHeartbeatRate = 1;
constexpr std::size_t kHeartbeatSteps = 2;

std::uint8_t byteOf(int value) {
    return static_cast<std::uint8_t>(std::clamp(value, 0, kMaxByte));
}

void putWindow(VitalFrameBuilder& frame, std::size_t at, const VitalSettings::Window& window) {
    frame.bcd(at, window.startHour).bcd(at + 1, window.startMinute).bcd(at + 2, window.endHour);
    frame.bcd(at + 3, window.endMinute).set(at + 4, window.weekDays);
}

}  // namespace

VitalAnswers::Frame VitalAnswers::acknowledgement(std::uint8_t code) {
    return VitalFrameBuilder(code).bytes();
}

VitalAnswers::Frame VitalAnswers::refusal(std::uint8_t code) {
    return VitalFrameBuilder(static_cast<std::uint8_t>(code | vital::kRefusedBit)).bytes();
}

VitalAnswers::Frame VitalAnswers::clock(const BraceletTime& time) {
    return VitalFrameBuilder(vital::kReadClock)
        .bcd(1, time.year - kCentury)
        .bcd(2, time.month)
        .bcd(3, time.day)
        .bcd(4, time.hour)
        .bcd(5, time.minute)
        .bcd(6, time.second)
        .bytes();
}

VitalAnswers::Frame VitalAnswers::stepGoal(std::uint32_t goal) {
    return VitalFrameBuilder(vital::kReadStepGoal).littleEndian32(1, goal).bytes();
}

VitalAnswers::Frame VitalAnswers::user(const VitalSettings::User& user) {
    return VitalFrameBuilder(vital::kReadUser)
        .set(1, byteOf(user.sex))
        .set(2, byteOf(user.age))
        .set(3, byteOf(user.height))
        .set(4, byteOf(user.weight))
        .set(5, byteOf(user.extra))
        .bytes();
}

VitalAnswers::Frame VitalAnswers::parameters(const VitalSettings::Parameters& parameters) {
    VitalFrameBuilder frame(vital::kReadParameters);
    for (std::size_t i = 0; i < parameters.flags.size(); ++i) frame.set(kParameterFlags + i, parameters.flags[i]);
    return frame.set(kNotificationsSecond, parameters.notificationsSecond)
        .set(kNotificationsFirst, parameters.notificationsFirst)
        .set(kHeartRateBase, static_cast<std::uint8_t>(parameters.heartRateBase & ~kMarkerBit))
        .set(kBrightness, parameters.brightness)
        .set(kDial, parameters.dial)
        .set(kLanguage, parameters.language)
        .bytes();
}

VitalAnswers::Frame VitalAnswers::parametersRest(const VitalSettings::Parameters& parameters) {
    return VitalFrameBuilder(vital::kReadParametersRest).set(1, parameters.further).bytes();
}

VitalAnswers::Frame VitalAnswers::activityPeriod(const VitalSettings::ActivityPeriod& period) {
    VitalFrameBuilder frame(vital::kReadActivityPeriod);
    putWindow(frame, kActivityWindow, period.window);
    return frame.set(kActivityReminder, byteOf(period.reminderPeriod))
        .set(kActivitySteps, byteOf(period.minimumSteps))
        .set(kActivityMotion, byteOf(period.motion))
        .bytes();
}

VitalAnswers::Frame VitalAnswers::detectionSet(int typeCode) {
    return VitalFrameBuilder(vital::kSetDetection).set(1, byteOf(typeCode)).bytes();
}

VitalAnswers::Frame VitalAnswers::detection(int typeCode, const VitalSettings::Detection& detection) {
    VitalFrameBuilder frame(vital::kReadDetection);
    frame.set(kDetectionMode, byteOf(detection.mode));
    putWindow(frame, kDetectionWindow, detection.window);
    return frame.littleEndian16(kDetectionInterval, detection.interval).set(kDetectionType, byteOf(typeCode)).bytes();
}

VitalAnswers::Frame VitalAnswers::measurementControl(int quantity, int enable) {
    return VitalFrameBuilder(vital::kMeasurementControl).set(1, byteOf(quantity)).set(2, byteOf(enable)).bytes();
}

VitalAnswers::Frame VitalAnswers::battery(int level) {
    return VitalFrameBuilder(vital::kBattery).set(1, byteOf(level)).bytes();
}

VitalAnswers::Frame VitalAnswers::macAddress(const std::array<std::uint8_t, 6>& address) {
    VitalFrameBuilder frame(vital::kMacAddress);
    for (std::size_t i = 0; i < address.size(); ++i) frame.set(1 + i, address[i]);
    return frame.bytes();
}

VitalAnswers::Frame VitalAnswers::qrCode(std::uint8_t shown) {
    return VitalFrameBuilder(vital::kQrCode).set(1, shown).bytes();
}

VitalAnswers::Frame VitalAnswers::realTime(long long steps, int heartRate, int temperature) {
    return VitalFrameBuilder(vital::kRealTime)
        .littleEndian32(kRealTimeSteps, steps)
        .set(kRealTimeHeartRate, byteOf(heartRate))
        .littleEndian16(kRealTimeTemperature, temperature)
        .bytes();
}

VitalAnswers::Frame VitalAnswers::firmwareCommand(int operation) {
    return VitalFrameBuilder(vital::kFirmwareCommand).set(1, byteOf(operation)).bytes();
}

VitalAnswers::Frame VitalAnswers::heartbeat(int heartRate, long long steps) {
    return VitalFrameBuilder(vital::kHeartbeatPacket)
        .set(kHeartbeatRate, byteOf(std::max(heartRate, 1)))
        .littleEndian32(kHeartbeatSteps, steps)
        .bytes();
}

VitalAnswers::Frame VitalAnswers::emptyHeartbeat() {
    return VitalFrameBuilder(vital::kHeartbeatPacket).bytes();
}

VitalAnswers::Frame VitalAnswers::sos() {
    return VitalFrameBuilder(vital::kSos).bytes();
}

}  // namespace halvora::lab
