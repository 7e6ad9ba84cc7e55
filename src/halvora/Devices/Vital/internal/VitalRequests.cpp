#include "halvora/Devices/Vital/internal/VitalRequests.hpp"

#include <algorithm>
#include <array>

#include "halvora/Core/ByteUtils.hpp"
#include "halvora/Core/Calendar.hpp"
#include "halvora/Devices/Vital/internal/VitalCodes.hpp"
#include "halvora/Devices/Vital/internal/VitalFrame.hpp"

namespace halvora {

namespace {

// Boolean encodings of the parameter frame: XOR 0x81 makes true 0x80 and false 0x81; OR 0x80 makes true
// 0x81 and false 0x80. The bracelet wants both, byte by byte.
constexpr std::uint8_t kXorFlag = 0x81;
constexpr std::uint8_t kOrFlag = 0x80;
constexpr std::uint8_t kMarker = 0x80;
constexpr std::uint8_t kFirstLanguage = 0x81;
constexpr std::uint8_t kOtherLanguage = 0x80;
constexpr std::uint8_t kByteOn = 0x81;
constexpr std::uint8_t kByteOff = 0x80;

// Parameter frame.
constexpr std::size_t kDistanceIndex = 1;
constexpr std::size_t kHourDisplayIndex = 2;
constexpr std::size_t kWristSenseIndex = 3;
constexpr std::size_t kTemperatureUnitIndex = 4;
constexpr std::size_t kNightModeIndex = 5;
constexpr std::size_t kANCSIndex = 6;
constexpr std::size_t kNotificationSecondIndex = 7;
constexpr std::size_t kNotificationFirstIndex = 8;
constexpr std::size_t kHeartRateIndex = 9;
constexpr std::size_t kBrightnessIndex = 11;
constexpr std::size_t kDialIndex = 12;
constexpr std::size_t kLanguageIndex = 14;
constexpr std::size_t kSecondFrameSettingIndex = 1;

// Date frame.
constexpr std::size_t kDateIndex = 1;
constexpr int kTmYearBase = 1900;
constexpr int kYearDigits = 100;

// User frame.
constexpr std::size_t kSexIndex = 1;
constexpr std::size_t kAgeIndex = 2;
constexpr std::size_t kHeightIndex = 3;
constexpr std::size_t kWeightIndex = 4;
constexpr std::size_t kExtraIndex = 5;
constexpr std::int32_t kSexSentAsZero = 1;
constexpr std::int32_t kByteCeiling = 255;

// Window frames: BCD start hour, start minute, end hour, end minute, week byte.
constexpr std::size_t kActivityWindowIndex = 1;
constexpr std::size_t kReminderIndex = 6;
constexpr std::size_t kStepsIndex = 7;
constexpr std::size_t kMotionIndex = 8;
constexpr std::size_t kModeIndex = 1;
constexpr std::size_t kDetectionWindowIndex = 2;
constexpr std::size_t kIntervalIndex = 7;
constexpr std::size_t kTypeCodeIndex = 9;
constexpr std::int32_t kModeOff = 0;
constexpr std::int32_t kModeInterval = 2;

// Single-argument frames.
constexpr std::size_t kFirstArgument = 1;
constexpr std::size_t kSecondArgument = 2;

// Sport frames.
constexpr std::size_t kSportModeIndex = 2;
constexpr std::size_t kLevelIndex = 3;
constexpr std::size_t kTimePeriodIndex = 4;
constexpr std::int32_t kModeWithLevel = 6;
constexpr std::size_t kDistanceBytesIndex = 1;
constexpr std::size_t kPaceMinutesIndex = 5;
constexpr std::size_t kPaceSecondsIndex = 6;
constexpr std::size_t kGpsIndex = 7;
constexpr std::int32_t kSecondsPerMinute = 60;

// Weather layout.
constexpr std::size_t kStatusIndex = 1;
constexpr std::size_t kTemperatureIndex = 2;
constexpr std::size_t kMaxTemperatureIndex = 3;
constexpr std::size_t kMinTemperatureIndex = 4;
constexpr std::size_t kAirQualityIndex = 5;
constexpr std::size_t kLocationLengthIndex = 7;
constexpr std::size_t kLocationIndex = 8;
constexpr std::size_t kAirQualityBytes = 2;

// Alarm block.
constexpr std::size_t kAlarmTotalIndex = 1;
constexpr std::size_t kAlarmNumberIndex = 2;
constexpr std::size_t kAlarmEnabledIndex = 3;
constexpr std::size_t kAlarmTypeIndex = 4;
constexpr std::size_t kAlarmHourIndex = 5;
constexpr std::size_t kAlarmMinuteIndex = 6;
constexpr std::size_t kAlarmWeekIndex = 7;
constexpr std::size_t kAlarmLabelIndex = 8;
/// The label every alarm carries: its length, 5, then "12345".
constexpr std::array<std::uint8_t, 6> kAlarmLabel = {0x05, '1', '2', '3', '4', '5'};
/// The two bytes after the last block.
constexpr std::array<std::uint8_t, 2> kAlarmsEnd = {VitalCodes::kAlarms, 0xFF};

std::uint8_t low(std::int64_t value) {
    return static_cast<std::uint8_t>(value & 0xFF);
}

std::uint8_t bcd(std::int32_t value) {
    return low(ByteUtils::decToBCD(value));
}

std::uint8_t flag(bool on) {
    return on ? 1 : 0;
}

std::uint8_t weekByte(bool mon, bool tue, bool wed, bool thu, bool fri, bool sat, bool sun) {
    const std::array<bool, 7> days = {mon, tue, wed, thu, fri, sat, sun};
    unsigned byte = 0;
    for (std::size_t bit = 0; bit < days.size(); ++bit) {
        if (days[bit]) byte |= 1U << bit;
    }
    return static_cast<std::uint8_t>(byte);
}

VitalFrame& setWindow(VitalFrame& frame, std::size_t index, const HalvoraSDKPeriod& period) {
    return frame.set(index, bcd(period.startHour))
        .set(index + 1, bcd(period.startMinute))
        .set(index + 2, bcd(period.endHour))
        .set(index + 3, bcd(period.endMinute))
        .set(index + 4, VitalRequests::getWeekByte(period));
}

std::vector<std::uint8_t> withArguments(std::uint8_t code, std::uint8_t first, std::uint8_t second = 0) {
    return VitalFrame(code).set(kFirstArgument, first).set(kSecondArgument, second).bytes();
}

std::uint8_t capped(std::int32_t value) {
    return low(std::min(value, kByteCeiling));
}

}  // namespace

std::vector<std::uint8_t> VitalRequests::plain(std::uint8_t code) {
    return VitalFrame(code).bytes();
}

std::vector<std::uint8_t> VitalRequests::history(std::uint8_t code, std::int32_t first) {
    return VitalFrame(code).set(kFirstArgument, low(first)).bytes();
}

std::vector<std::uint8_t> VitalRequests::automaticHeartRate(std::int32_t first, std::optional<std::int32_t> record) {
    VitalFrame frame(VitalCodes::kAutomaticHeartRate);
    frame.set(kFirstArgument, low(first));
    if (record) frame.set(kSecondArgument, low(*record)).set(kSecondArgument + 1, low(*record >> 8));
    return frame.bytes();
}

std::vector<std::uint8_t> VitalRequests::setTime(Date date) {
    const std::tm local = Calendar::toLocal(date);
    const std::array<std::uint8_t, 6> fields = {bcd((local.tm_year + kTmYearBase) % kYearDigits),
                                                bcd(local.tm_mon + 1),
                                                bcd(local.tm_mday),
                                                bcd(local.tm_hour),
                                                bcd(local.tm_min),
                                                bcd(local.tm_sec)};
    return VitalFrame(VitalCodes::kSetTime).set(kDateIndex, fields).bytes();
}

std::vector<std::uint8_t> VitalRequests::setStepGoal(std::uint32_t goal) {
    return VitalFrame(VitalCodes::kSetStepGoal).set(kFirstArgument, ByteUtils::intToBytesLittleIndian(goal)).bytes();
}

std::vector<std::uint8_t> VitalRequests::setUserInformation(const HalvoraSDKUser& user, std::int32_t age) {
    return VitalFrame(VitalCodes::kSetUser)
        .set(kSexIndex, user.sex == kSexSentAsZero ? 0 : 1)
        .set(kAgeIndex, low(age))
        .set(kHeightIndex, capped(user.height))
        .set(kWeightIndex, capped(user.weight))
        .set(kExtraIndex, low(user.extra))
        .bytes();
}

std::vector<std::uint8_t> VitalRequests::setDeviceParameters(const HalvoraSDKVitalParams& p) {
    const auto notifications = p.notifications.value_or(HalvoraSDKVitalNotification{}).getDataFromNotifications();
    return VitalFrame(VitalCodes::kSetParameters)
        .set(kDistanceIndex, flag(p.distanceUnitKm) ^ kXorFlag)
        .set(kHourDisplayIndex, flag(p.hourDisplay24h) ^ kXorFlag)
        .set(kWristSenseIndex, flag(p.wristSenseEnabled) | kOrFlag)
        .set(kTemperatureUnitIndex, flag(p.temperatureUnitCelsius) ^ kXorFlag)
        .set(kNightModeIndex, flag(p.nightMode) | kOrFlag)
        .set(kANCSIndex, flag(p.ANCSEnabled) | kOrFlag)
        .set(kNotificationFirstIndex, notifications[0])
        .set(kNotificationSecondIndex, notifications[1])
        .set(kHeartRateIndex, low(p.basicHeartRateSetting) | kMarker)
        .set(kBrightnessIndex, low(p.screenBrightness) ^ kMarker)
        .set(kDialIndex, low(p.dialInterface) ^ kMarker)
        .set(kLanguageIndex, p.language == 0 ? kFirstLanguage : kOtherLanguage)
        .bytes();
}

std::vector<std::uint8_t> VitalRequests::setDeviceNewParameters(const HalvoraSDKVitalParams& p) {
    return VitalFrame(VitalCodes::kSetNewParameters)
        .set(kSecondFrameSettingIndex, p.secondFrameSetting ? kByteOn : kByteOff)
        .bytes();
}

std::vector<std::uint8_t> VitalRequests::setActivityPeriod(const HalvoraSDKVitalActivityPeriod& period) {
    VitalFrame frame(VitalCodes::kSetActivityPeriod);
    setWindow(frame, kActivityWindowIndex, period)
        .set(kReminderIndex, low(period.exerciseReminderPeriod))
        .set(kStepsIndex, low(period.minimumNumberSteps))
        .set(kMotionIndex, flag(period.motionEnabled));
    return frame.bytes();
}

std::vector<std::uint8_t> VitalRequests::setAutomaticDetection(const HalvoraSDKVitalPeriod& period) {
    VitalFrame frame(VitalCodes::kSetAutomaticDetection);
    frame.set(kModeIndex, low(period.workingMode));
    if (period.workingMode != kModeOff) setWindow(frame, kDetectionWindowIndex, period);
    if (period.workingMode == kModeInterval) {
        frame.set(kIntervalIndex, low(period.intervalTime)).set(kIntervalIndex + 1, low(period.intervalTime >> 8));
    }
    frame.set(kTypeCodeIndex, typeCode(period.type));
    return frame.bytes();
}

std::vector<std::uint8_t> VitalRequests::getAutomaticDetection(std::int32_t type) {
    return withArguments(VitalCodes::kGetAutomaticDetection, typeCode(type));
}

std::vector<std::uint8_t> VitalRequests::setHealthMeasurementControl(std::int32_t quantity, bool enable) {
    return withArguments(VitalCodes::kHealthMeasurement, quantityCode(quantity), flag(enable));
}

std::vector<std::uint8_t> VitalRequests::setRealtimeStepCounting(bool steps, bool temperature) {
    return withArguments(VitalCodes::kRealtime, flag(steps), flag(temperature));
}

std::vector<std::uint8_t> VitalRequests::sportModeControl(std::int32_t enable, std::int32_t sportMode,
                                                          std::int32_t level, std::int32_t timePeriod) {
    return VitalFrame(VitalCodes::kSportMode)
        .set(kFirstArgument, low(enable))
        .set(kSportModeIndex, low(sportMode))
        .set(kLevelIndex, sportMode == kModeWithLevel ? low(level) : 0)
        .set(kTimePeriodIndex, low(timePeriod))
        .bytes();
}

std::vector<std::uint8_t> VitalRequests::sportHeartbeat(std::uint32_t distance, std::int32_t paceSeconds,
                                                        std::int32_t gpsStrength) {
    return VitalFrame(VitalCodes::kSportHeartbeat)
        .set(kDistanceBytesIndex, ByteUtils::intToBytesLittleIndian(distance))
        .set(kPaceMinutesIndex, low(paceSeconds / kSecondsPerMinute))
        .set(kPaceSecondsIndex, low(paceSeconds % kSecondsPerMinute))
        .set(kGpsIndex, low(gpsStrength))
        .bytes();
}

std::vector<std::uint8_t> VitalRequests::showQRCode(bool show) {
    return withArguments(VitalCodes::kQRCode, show ? kByteOff : kByteOn);
}

std::vector<std::uint8_t> VitalRequests::weatherLayout(const HalvoraSDKVitalWeather& weather) {
    const std::size_t locationLength = std::min(weather.location.size(), kMaxLocationLength);
    const auto airQuality = ByteUtils::intToBytesLittleIndian(static_cast<std::uint32_t>(weather.airQuality));
    VitalFrame frame(VitalCodes::kWeather, kWeatherLayoutLength);
    frame.set(kStatusIndex, low(weather.status))
        .set(kTemperatureIndex, low(weather.temperature))
        .set(kMaxTemperatureIndex, low(weather.maxTemperature))
        .set(kMinTemperatureIndex, low(weather.minTemperature))
        .set(kAirQualityIndex, std::span(airQuality).first(kAirQualityBytes))
        .set(kLocationLengthIndex, low(static_cast<std::int64_t>(locationLength)));
    for (std::size_t i = 0; i < locationLength; ++i)
        frame.set(kLocationIndex + i, static_cast<std::uint8_t>(weather.location[i]));
    return frame.bytes();
}

std::vector<std::uint8_t> VitalRequests::setWeather(const HalvoraSDKVitalWeather& weather) {
    // Only the first 16 bytes go out: eight characters of the place and no checksum. The bracelet takes it so.
    auto layout = weatherLayout(weather);
    layout.resize(VitalFrame::kLength);
    return layout;
}

std::vector<std::uint8_t> VitalRequests::getAlarmBytesWithIndex(std::size_t index, std::size_t total,
                                                                const HalvoraSDKVitalAlarm& alarm) {
    std::vector<std::uint8_t> block(kAlarmBlockLength, 0);
    block[0] = VitalCodes::kAlarms;
    block[kAlarmTotalIndex] = low(static_cast<std::int64_t>(total));
    block[kAlarmNumberIndex] = low(static_cast<std::int64_t>(index));
    block[kAlarmEnabledIndex] = flag(alarm.enabled);
    block[kAlarmTypeIndex] = low(alarm.type);
    block[kAlarmHourIndex] = bcd(alarm.hour);
    block[kAlarmMinuteIndex] = bcd(alarm.minute);
    block[kAlarmWeekIndex] = getWeekByteAlarm(alarm);
    std::copy(kAlarmLabel.begin(), kAlarmLabel.end(), block.begin() + kAlarmLabelIndex);
    return block;
}

std::vector<std::uint8_t> VitalRequests::setAlarms(const std::vector<HalvoraSDKVitalAlarm>& alarms) {
    std::vector<std::uint8_t> out;
    out.reserve(alarms.size() * kAlarmBlockLength + kAlarmsEnd.size());
    for (std::size_t i = 0; i < alarms.size(); ++i) {
        const auto block = getAlarmBytesWithIndex(i, alarms.size(), alarms[i]);
        out.insert(out.end(), block.begin(), block.end());
    }
    out.insert(out.end(), kAlarmsEnd.begin(), kAlarmsEnd.end());
    return out;
}

std::uint8_t VitalRequests::getWeekByte(const HalvoraSDKPeriod& p) {
    return weekByte(p.monday, p.tuesday, p.wednesday, p.thursday, p.friday, p.saturday, p.sunday);
}

std::uint8_t VitalRequests::getWeekByteAlarm(const HalvoraSDKBraceletAlarm& a) {
    return weekByte(a.monday, a.tuesday, a.wednesday, a.thursday, a.friday, a.saturday, a.sunday);
}

std::uint8_t VitalRequests::typeCode(std::int32_t type) {
    constexpr std::array<std::uint8_t, 3> kCodes = {1, 3, 2};
    return type >= 0 && static_cast<std::size_t>(type) < kCodes.size() ? kCodes[static_cast<std::size_t>(type)] : 0;
}

std::uint8_t VitalRequests::quantityCode(std::int32_t quantity) {
    constexpr std::array<std::uint8_t, 4> kCodes = {2, 0, 3, 1};
    return quantity >= 0 && static_cast<std::size_t>(quantity) < kCodes.size()
               ? kCodes[static_cast<std::size_t>(quantity)]
               : 0;
}

}  // namespace halvora
