#include "halvora/Devices/RM830/internal/RM830Commands.hpp"

#include <algorithm>

#include "halvora/Core/Calendar.hpp"
#include "halvora/Devices/RM830/internal/RM830Bcd.hpp"
#include "halvora/Devices/RM830/internal/RM830Codes.hpp"
#include "halvora/Devices/RM830/internal/RM830Frame.hpp"

namespace halvora {

namespace {

// Date and time frame.
constexpr std::size_t kYearIndex = 1;
constexpr std::size_t kMonthIndex = 2;
constexpr std::size_t kDayIndex = 3;
constexpr std::size_t kHourIndex = 4;
constexpr std::size_t kMinuteIndex = 5;
constexpr std::size_t kSecondIndex = 6;
constexpr std::size_t kDateTimeMarkIndex = 7;
constexpr std::uint8_t kDateTimeMark = 0x01;
constexpr int kTmYearBase = 1900;

// Personal data frame.
constexpr std::size_t kGenderIndex = 1;
constexpr std::size_t kAgeIndex = 2;
constexpr std::size_t kHeightIndex = 3;
constexpr std::size_t kWeightIndex = 4;
constexpr std::size_t kStrideIndex = 5;
constexpr std::int32_t kGenderSentAsOne = 0;
constexpr std::int64_t kLargestInRange = 254;
constexpr std::int64_t kThousand = 1000;

// Step goal frame: 24 bits, big-endian, in bytes 1 to 3.
constexpr std::size_t kGoalIndex = 1;
constexpr int kGoalBytes = 3;
constexpr int kBitsPerByte = 8;

// Frames with one parameter in byte 1 (a flag, a day count, a packet number).
constexpr std::size_t kArgumentIndex = 1;

// Monitoring window frame.
constexpr std::size_t kEnableIndex = 1;
constexpr std::size_t kStartHourIndex = 2;
constexpr std::size_t kStartMinuteIndex = 3;
constexpr std::size_t kEndHourIndex = 4;
constexpr std::size_t kEndMinuteIndex = 5;
constexpr std::size_t kDayMaskIndex = 6;

std::vector<std::uint8_t> plain(std::uint8_t code) {
    return RM830Frame(code).bytes();
}

std::vector<std::uint8_t> withArgument(std::uint8_t code, std::int64_t argument) {
    return RM830Frame(code).set(kArgumentIndex, static_cast<std::uint8_t>(argument)).bytes();
}

std::uint8_t flag(bool on) {
    return on ? 1 : 0;
}

}  // namespace

std::uint8_t RM830Commands::byteOrOutOfRange(std::int64_t value) {
    return value >= 0 && value <= kLargestInRange ? static_cast<std::uint8_t>(value) : kOutOfRange;
}

std::uint8_t RM830Commands::stride(std::optional<std::int32_t> heightCm, std::int32_t gender) {
    if (!heightCm) return gender == kGenderSentAsOne ? kDefaultStrideGender0 : kDefaultStrideOtherGender;
    return byteOrOutOfRange(std::int64_t{*heightCm} * kStridePerThousandCm / kThousand);
}

std::vector<std::uint8_t> RM830Commands::dateTime(Date date) {
    const std::tm local = Calendar::toLocal(date);
    return RM830Frame(RM830Codes::kSetDateTime)
        .set(kYearIndex, RM830Bcd::encode(local.tm_year + kTmYearBase - kCenturyStart))
        .set(kMonthIndex, RM830Bcd::encode(local.tm_mon + 1))
        .set(kDayIndex, RM830Bcd::encode(local.tm_mday))
        .set(kHourIndex, RM830Bcd::encode(local.tm_hour))
        .set(kMinuteIndex, RM830Bcd::encode(local.tm_min))
        .set(kSecondIndex, RM830Bcd::encode(local.tm_sec))
        .set(kDateTimeMarkIndex, kDateTimeMark)
        .bytes();
}

std::vector<std::uint8_t> RM830Commands::readDateTime() {
    return plain(RM830Codes::kReadDateTime);
}

std::vector<std::uint8_t> RM830Commands::timeFormat() {
    return withArgument(RM830Codes::kSetTimeFormat, kTimeFormat);
}

std::vector<std::uint8_t> RM830Commands::readTimeFormat() {
    return plain(RM830Codes::kReadTimeFormat);
}

std::vector<std::uint8_t> RM830Commands::personalInformation(std::optional<std::int32_t> heightCm,
                                                             std::optional<std::int32_t> weightKg, std::int32_t gender,
                                                             std::optional<std::int32_t> age) {
    return RM830Frame(RM830Codes::kSetPersonalInformation)
        .set(kGenderIndex, flag(gender == kGenderSentAsOne))
        .set(kAgeIndex, byteOrOutOfRange(std::max<std::int32_t>(age.value_or(0), 0)))
        .set(kHeightIndex, byteOrOutOfRange(heightCm.value_or(0)))
        .set(kWeightIndex, byteOrOutOfRange(weightKg.value_or(0)))
        .set(kStrideIndex, stride(heightCm, gender))
        .bytes();
}

std::vector<std::uint8_t> RM830Commands::targets(std::int64_t steps) {
    const std::int64_t goal = std::clamp<std::int64_t>(steps, 0, kMaxStepGoal);
    RM830Frame frame(RM830Codes::kSetTargets);
    for (int i = 0; i < kGoalBytes; ++i) {
        const int shift = (kGoalBytes - 1 - i) * kBitsPerByte;
        frame.set(kGoalIndex + static_cast<std::size_t>(i), static_cast<std::uint8_t>(goal >> shift));
    }
    return frame.bytes();
}

std::vector<std::uint8_t> RM830Commands::datesWithInfo() {
    return plain(RM830Codes::kReadDatesWithInfo);
}

std::vector<std::uint8_t> RM830Commands::startRealTime() {
    return plain(RM830Codes::kStartRealTime);
}

std::vector<std::uint8_t> RM830Commands::stopRealtime() {
    return plain(RM830Codes::kStopRealTime);
}

std::vector<std::uint8_t> RM830Commands::readPersonalInformation() {
    return plain(RM830Codes::kReadPersonalInformation);
}

std::vector<std::uint8_t> RM830Commands::dataDaysAgo(std::int32_t days) {
    return withArgument(RM830Codes::kReadDayHistory, days);
}

std::vector<std::uint8_t> RM830Commands::firmwareVersion() {
    return plain(RM830Codes::kReadFirmwareVersion);
}

std::vector<std::uint8_t> RM830Commands::switchToUpdater() {
    return plain(RM830Codes::kSwitchToUpdater);
}

std::vector<std::uint8_t> RM830Commands::heartRateBasicValue() {
    return plain(RM830Codes::kReadHeartRate);
}

std::vector<std::uint8_t> RM830Commands::heartRateValue(std::int32_t packet) {
    return withArgument(RM830Codes::kReadHeartRateHistory, packet);
}

std::vector<std::uint8_t> RM830Commands::realtimeHR(bool enabled) {
    return withArgument(RM830Codes::kSetRealtimeHR, flag(enabled));
}

std::vector<std::uint8_t> RM830Commands::monitoringHR(bool enabled) {
    return withArgument(RM830Codes::kSetMonitoringHR, flag(enabled));
}

std::vector<std::uint8_t> RM830Commands::monitoringHRAuto(bool enabled,
                                                          const std::optional<HalvoraSDKRM830TimeRange>& range) {
    RM830Frame frame(RM830Codes::kSetMonitoringWindow);
    frame.set(kEnableIndex, flag(enabled));
    if (range) {
        frame.set(kStartHourIndex, RM830Bcd::encode(range->startHour))
            .set(kStartMinuteIndex, RM830Bcd::encode(range->startMinute))
            .set(kEndHourIndex, RM830Bcd::encode(range->endHour))
            .set(kEndMinuteIndex, RM830Bcd::encode(range->endMinute))
            .set(kDayMaskIndex, range->dayMask());
    }
    return frame.bytes();
}

}  // namespace halvora
