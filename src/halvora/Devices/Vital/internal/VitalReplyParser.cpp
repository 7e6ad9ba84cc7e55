#include "halvora/Devices/Vital/internal/VitalReplyParser.hpp"

#include <ctime>

#include "halvora/Core/ByteUtils.hpp"
#include "halvora/Core/Calendar.hpp"

namespace halvora {

namespace {

constexpr int kCenturyStart = 2000;
constexpr int kTmYearBase = 1900;
constexpr std::uint8_t kXorTrue = 0x80;
constexpr std::uint8_t kMarkerBit = 0x80;
constexpr std::uint8_t kFirstLanguage = 0x81;
constexpr std::uint8_t kByteOn = 0x81;
constexpr double kTenths = 10.0;

// Parameter reply.
constexpr std::size_t kDistanceIndex = 1;
constexpr std::size_t kHourDisplayIndex = 2;
constexpr std::size_t kWristSenseIndex = 3;
constexpr std::size_t kTemperatureUnitIndex = 4;
constexpr std::size_t kNightModeIndex = 5;
constexpr std::size_t kANCSIndex = 6;
constexpr std::size_t kNotificationSecondIndex = 7;
constexpr std::size_t kNotificationFirstIndex = 8;
constexpr std::size_t kHeartRateIndex = 9;
constexpr std::size_t kBrightnessIndex = 10;
constexpr std::size_t kDialIndex = 11;
constexpr std::size_t kLanguageIndex = 12;

// Windows.
constexpr std::size_t kActivityWindowIndex = 1;
constexpr std::size_t kReminderIndex = 6;
constexpr std::size_t kStepsIndex = 7;
constexpr std::size_t kMotionIndex = 8;
constexpr std::size_t kModeIndex = 1;
constexpr std::size_t kDetectionWindowIndex = 2;
constexpr std::size_t kIntervalIndex = 7;

constexpr std::size_t kValueIndex = 1;
constexpr std::size_t kHeartRateValueIndex = 5;
constexpr std::size_t kTemperatureValueIndex = 6;
constexpr std::size_t kMacBytes = 6;
constexpr std::size_t kUserAgeIndex = 2;
constexpr std::size_t kUserHeightIndex = 3;
constexpr std::size_t kUserWeightIndex = 4;
constexpr std::size_t kUserExtraIndex = 5;

std::int32_t bcd(std::uint8_t byte) {
    return ByteUtils::bcdToDec(byte);
}

bool xorFlag(std::uint8_t byte) {
    return byte == kXorTrue;
}

bool orFlag(std::uint8_t byte) {
    return (byte & 1U) != 0;
}

std::int32_t little16(std::span<const std::uint8_t> reply, std::size_t index) {
    return reply[index] | (reply[index + 1] << 8);
}

void readWindow(std::span<const std::uint8_t> reply, std::size_t index, HalvoraSDKPeriod& period) {
    period.startHour = bcd(reply[index]);
    period.startMinute = bcd(reply[index + 1]);
    period.endHour = bcd(reply[index + 2]);
    period.endMinute = bcd(reply[index + 3]);
    const std::uint8_t week = reply[index + 4];
    bool* days[] = {&period.monday, &period.tuesday,  &period.wednesday, &period.thursday,
                    &period.friday, &period.saturday, &period.sunday};
    for (unsigned bit = 0; bit < std::size(days); ++bit) *days[bit] = ((week >> bit) & 1U) != 0;
}

}  // namespace

std::optional<Date> VitalReplyParser::time(std::span<const std::uint8_t> reply) {
    if (reply.size() < kTimeLength) return std::nullopt;
    std::tm local{};
    local.tm_year = kCenturyStart + bcd(reply[1]) - kTmYearBase;
    local.tm_mon = bcd(reply[2]) - 1;
    local.tm_mday = bcd(reply[3]);
    local.tm_hour = bcd(reply[4]);
    local.tm_min = bcd(reply[5]);
    local.tm_sec = bcd(reply[6]);
    local.tm_isdst = -1;
    return Calendar::fromLocal(local);
}

std::optional<std::int32_t> VitalReplyParser::stepGoal(std::span<const std::uint8_t> reply) {
    if (reply.size() < kStepGoalLength) return std::nullopt;
    return static_cast<std::int32_t>(ByteUtils::bytesToIntLittleIndian(reply.subspan(kValueIndex, 4)));
}

std::optional<std::string> VitalReplyParser::macAddress(std::span<const std::uint8_t> reply) {
    if (reply.size() < kMacLength) return std::nullopt;
    return ByteUtils::byteArrayToMAC(reply.subspan(kValueIndex, kMacBytes));
}

std::optional<std::int32_t> VitalReplyParser::battery(std::span<const std::uint8_t> reply) {
    if (reply.size() < kBatteryLength) return std::nullopt;
    return reply[kValueIndex];
}

std::optional<HalvoraSDKUser> VitalReplyParser::user(std::span<const std::uint8_t> reply) {
    if (reply.size() < kUserLength) return std::nullopt;
    HalvoraSDKUser user;
    user.sex = reply[kValueIndex] == 0 ? 1 : 0;
    user.age = reply[kUserAgeIndex];
    user.height = reply[kUserHeightIndex];
    user.weight = reply[kUserWeightIndex];
    user.extra = reply[kUserExtraIndex];
    return user;
}

std::optional<HalvoraSDKVitalParams> VitalReplyParser::parameters(std::span<const std::uint8_t> reply) {
    if (reply.size() < kParametersLength) return std::nullopt;
    HalvoraSDKVitalParams p;
    p.distanceUnitKm = xorFlag(reply[kDistanceIndex]);
    p.hourDisplay24h = xorFlag(reply[kHourDisplayIndex]);
    p.wristSenseEnabled = orFlag(reply[kWristSenseIndex]);
    p.temperatureUnitCelsius = xorFlag(reply[kTemperatureUnitIndex]);
    p.nightMode = orFlag(reply[kNightModeIndex]);
    p.ANCSEnabled = orFlag(reply[kANCSIndex]);
    p.notifications =
        HalvoraSDKVitalNotification::fromBytes(reply[kNotificationFirstIndex], reply[kNotificationSecondIndex]);
    p.basicHeartRateSetting = reply[kHeartRateIndex];
    p.screenBrightness = reply[kBrightnessIndex] & ~kMarkerBit & 0xFF;
    p.dialInterface = reply[kDialIndex] & ~kMarkerBit & 0xFF;
    const std::uint8_t language = reply[kLanguageIndex];
    p.language = (language == kFirstLanguage || language == 0) ? 0 : 1;
    return p;
}

std::optional<HalvoraSDKVitalParams> VitalReplyParser::secondParameters(std::span<const std::uint8_t> reply,
                                                                        HalvoraSDKVitalParams parameters) {
    if (reply.size() < kSecondParametersLength) return std::nullopt;
    parameters.secondFrameSetting = reply[kValueIndex] == kByteOn;
    return parameters;
}

std::optional<HalvoraSDKVitalActivityPeriod> VitalReplyParser::activityPeriod(std::span<const std::uint8_t> reply) {
    if (reply.size() < kActivityPeriodLength) return std::nullopt;
    HalvoraSDKVitalActivityPeriod period;
    readWindow(reply, kActivityWindowIndex, period);
    period.exerciseReminderPeriod = reply[kReminderIndex];
    period.minimumNumberSteps = reply[kStepsIndex];
    period.motionEnabled = reply[kMotionIndex] != 0;
    return period;
}

std::optional<HalvoraSDKVitalPeriod> VitalReplyParser::detection(std::span<const std::uint8_t> reply,
                                                                 std::int32_t type) {
    if (reply.size() < kDetectionLength) return std::nullopt;
    HalvoraSDKVitalPeriod period;
    period.workingMode = reply[kModeIndex];
    readWindow(reply, kDetectionWindowIndex, period);
    period.intervalTime = little16(reply, kIntervalIndex);
    period.type = type;
    return period;
}

std::optional<HalvoraSDKRealtimeData> VitalReplyParser::realtime(std::span<const std::uint8_t> reply) {
    if (reply.size() < kRealtimeLength) return std::nullopt;
    HalvoraSDKRealtimeData data;
    data.steps = static_cast<std::int32_t>(ByteUtils::bytesToIntLittleIndian(reply.subspan(kValueIndex, 4)));
    data.heartRate = reply[kHeartRateValueIndex];
    data.temperature = little16(reply, kTemperatureValueIndex) / kTenths;
    return data;
}

std::optional<std::int32_t> VitalReplyParser::operation(std::span<const std::uint8_t> reply) {
    if (reply.size() < kOperationLength) return std::nullopt;
    return reply[kValueIndex];
}

std::vector<std::uint8_t> VitalReplyParser::payload(std::span<const std::uint8_t> reply) {
    if (reply.empty()) return {};
    return {reply.begin() + 1, reply.end()};
}

}  // namespace halvora
