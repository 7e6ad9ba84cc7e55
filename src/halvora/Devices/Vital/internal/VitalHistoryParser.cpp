#include "halvora/Devices/Vital/internal/VitalHistoryParser.hpp"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <limits>

#include "halvora/Core/ByteUtils.hpp"
#include "halvora/Core/Calendar.hpp"

namespace halvora {

namespace {

constexpr int kCenturyStart = 2000;
constexpr int kTmYearBase = 1900;
constexpr int kMonths = 12;
constexpr int kMaxDay = 31;
constexpr int kHours = 24;
constexpr int kMinutes = 60;
constexpr int kSeconds = 60;
constexpr double kHundredths = 100.0;
constexpr double kTenths = 10.0;
constexpr std::int32_t kSecondsPerMinute = 60;

// Every dated record but the daily totals: the two-byte index, then the date.
constexpr std::size_t kDateIndex = 2;
constexpr std::size_t kValueIndex = 8;

// Daily totals.
constexpr std::size_t kDayIndex = 1;
constexpr std::size_t kTotalStepsIndex = 4;
constexpr std::size_t kActiveTimeIndex = 8;
constexpr std::size_t kTotalDistanceIndex = 12;
constexpr std::size_t kTotalCaloriesIndex = 16;
constexpr std::size_t kExerciseMinutesIndex = 22;
constexpr std::size_t kWord = 4;
constexpr std::size_t kHalfWord = 2;

// Detailed steps.
constexpr std::size_t kStepsIndex = 8;
constexpr std::size_t kCaloriesIndex = 10;
constexpr std::size_t kDistanceIndex = 12;
constexpr std::size_t kPerMinuteIndex = 14;
constexpr std::size_t kPerMinuteCount = 10;

// HRV.
constexpr std::size_t kHrvIndex = 8;
constexpr std::size_t kVascularIndex = 9;
constexpr std::size_t kHrvHeartRateIndex = 10;
constexpr std::size_t kFatigueIndex = 11;
constexpr std::size_t kSystolicIndex = 12;
constexpr std::size_t kDiastolicIndex = 13;

// Sport.
constexpr std::size_t kSportHeartRateIndex = 8;
constexpr std::size_t kSportStepsIndex = 9;
constexpr std::size_t kSportCaloriesIndex = 11;
constexpr std::size_t kSportDistanceIndex = 13;
constexpr std::size_t kSportActiveIndex = 15;
constexpr std::size_t kSportExerciseIndex = 19;
constexpr std::size_t kSportTypeIndex = 23;

std::int32_t bcd(std::uint8_t byte) {
    return ByteUtils::bcdToDec(byte);
}

/// The zero-terminated little-endian number of `size` bytes from `index`.
std::int32_t number(std::span<const std::uint8_t> slot, std::size_t index, std::size_t size) {
    return static_cast<std::int32_t>(ByteUtils::byteArrayToInt(slot.subspan(index, size)));
}

/// The seconds of `minutes`: a count from the bracelet is untrusted, and one whose seconds do not fit a
/// std::int32_t (above 35,791,394 minutes, or read as negative below -35,791,394) gives the nearest limit.
std::int32_t secondsOfMinutes(std::int32_t minutes) {
    const std::int64_t seconds = std::int64_t{minutes} * kSecondsPerMinute;
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(seconds, std::numeric_limits<std::int32_t>::min(),
                                                              std::numeric_limits<std::int32_t>::max()));
}

bool inRange(int value, int low, int high) {
    return value >= low && value <= high;
}

std::optional<Date> localDate(std::span<const std::uint8_t> bytes, std::size_t index, bool withTime) {
    std::tm local{};
    local.tm_year = kCenturyStart + bcd(bytes[index]) - kTmYearBase;
    local.tm_mon = bcd(bytes[index + 1]) - 1;
    local.tm_mday = bcd(bytes[index + 2]);
    if (withTime) {
        local.tm_hour = bcd(bytes[index + 3]);
        local.tm_min = bcd(bytes[index + 4]);
        local.tm_sec = bcd(bytes[index + 5]);
    }
    local.tm_isdst = -1;
    const bool valid = inRange(local.tm_mon, 0, kMonths - 1) && inRange(local.tm_mday, 1, kMaxDay) &&
                       inRange(local.tm_hour, 0, kHours - 1) && inRange(local.tm_min, 0, kMinutes - 1) &&
                       inRange(local.tm_sec, 0, kSeconds - 1);
    if (!valid) return std::nullopt;
    return Calendar::fromLocal(local);
}

constexpr std::size_t kDateBytes = 6;
constexpr std::size_t kDayBytes = 3;

}  // namespace

std::optional<Date> VitalHistoryParser::bcdDate(std::span<const std::uint8_t> bytes, std::size_t index) {
    if (index > bytes.size() || bytes.size() - index < kDateBytes) return std::nullopt;
    return localDate(bytes, index, true);
}

std::optional<Date> VitalHistoryParser::bcdDay(std::span<const std::uint8_t> bytes, std::size_t index) {
    if (index > bytes.size() || bytes.size() - index < kDayBytes) return std::nullopt;
    return localDate(bytes, index, false);
}

std::optional<HalvoraSDKStepSummaryData> VitalHistoryParser::totals(std::span<const std::uint8_t> slot) {
    if (slot.size() < kTotalsStride) return std::nullopt;
    auto day = bcdDay(slot, kDayIndex);
    if (!day) return std::nullopt;
    HalvoraSDKStepSummaryData data;
    data.date = *day;
    data.totalSteps = number(slot, kTotalStepsIndex, kWord);
    data.totalActiveTime = number(slot, kActiveTimeIndex, kWord);
    data.totalDistance = number(slot, kTotalDistanceIndex, kWord) / kHundredths;
    data.totalCalories = number(slot, kTotalCaloriesIndex, kWord) / kHundredths;
    data.totalExerciseTime = secondsOfMinutes(number(slot, kExerciseMinutesIndex, kWord));
    return data;
}

std::optional<HalvoraSDKDetailedStepData> VitalHistoryParser::detailedSteps(std::span<const std::uint8_t> slot) {
    if (slot.size() < kDetailedStepsStride) return std::nullopt;
    auto date = bcdDate(slot, kDateIndex);
    if (!date) return std::nullopt;
    std::vector<std::int32_t> perMinute;
    for (std::size_t minute = 0; minute < kPerMinuteCount; ++minute)
        perMinute.push_back(slot[kPerMinuteIndex + minute]);
    return HalvoraSDKDetailedStepData::initWith(
        *date, number(slot, kStepsIndex, kHalfWord), number(slot, kCaloriesIndex, kHalfWord) / kHundredths,
        number(slot, kDistanceIndex, kHalfWord) / kHundredths, std::move(perMinute));
}

std::vector<HalvoraSDKHeartBeatData> VitalHistoryParser::automaticHeartRate(std::span<const std::uint8_t> slot) {
    std::vector<HalvoraSDKHeartBeatData> records;
    if (slot.size() < kAutomaticHeartRateStride) return records;
    auto date = bcdDate(slot, kDateIndex);
    if (!date) return records;
    for (std::size_t sample = 0; sample < kAutomaticSamples; ++sample) {
        const std::uint8_t rate = slot[kValueIndex + sample];
        if (rate == 0) continue;  // no measurement in this slot of time
        HalvoraSDKHeartBeatData data;
        data.date = *date + std::chrono::seconds(kAutomaticSampleSeconds * static_cast<std::int64_t>(sample));
        data.heartRate = rate;
        records.push_back(data);
    }
    return records;
}

std::optional<HalvoraSDKHeartBeatData> VitalHistoryParser::heartRate(std::span<const std::uint8_t> slot) {
    if (slot.size() < kSampleStride) return std::nullopt;
    auto date = bcdDate(slot, kDateIndex);
    if (!date) return std::nullopt;
    HalvoraSDKHeartBeatData data;
    data.date = *date;
    data.heartRate = slot[kValueIndex];
    return data;
}

std::optional<HalvoraSDKOximeterData> VitalHistoryParser::bloodOxygen(std::span<const std::uint8_t> slot) {
    if (slot.size() < kSampleStride) return std::nullopt;
    auto date = bcdDate(slot, kDateIndex);
    if (!date) return std::nullopt;
    auto data = HalvoraSDKOximeterData::init(*date);
    data.sp2 = slot[kValueIndex];
    return data;
}

std::optional<HalvoraSDKVitalHRVData> VitalHistoryParser::hrv(std::span<const std::uint8_t> slot) {
    if (slot.size() < kHRVStride) return std::nullopt;
    auto date = bcdDate(slot, kDateIndex);
    if (!date) return std::nullopt;
    HalvoraSDKVitalHRVData data;
    data.date = *date;
    data.hrv = slot[kHrvIndex];
    data.vascularAging = slot[kVascularIndex];
    data.heartRate = slot[kHrvHeartRateIndex];
    data.fatigue = slot[kFatigueIndex];
    data.systolic = slot[kSystolicIndex];
    data.diastolic = slot[kDiastolicIndex];
    return data;
}

std::optional<HalvoraSDKSportData> VitalHistoryParser::sport(std::span<const std::uint8_t> slot) {
    if (slot.size() < kSportStride) return std::nullopt;
    auto date = bcdDate(slot, kDateIndex);
    if (!date) return std::nullopt;
    HalvoraSDKSportData data;
    data.date = *date;
    data.hr = slot[kSportHeartRateIndex];
    data.steps = number(slot, kSportStepsIndex, kHalfWord);
    data.calories = number(slot, kSportCaloriesIndex, kHalfWord);
    data.distance = number(slot, kSportDistanceIndex, kHalfWord);
    data.activeTime = number(slot, kSportActiveIndex, kWord);
    data.exerciseTime = number(slot, kSportExerciseIndex, kWord);
    data.sportType = slot[kSportTypeIndex];
    return data;
}

std::optional<HalvoraSDKThermometerData> VitalHistoryParser::temperature(std::span<const std::uint8_t> slot) {
    if (slot.size() < kTemperatureStride) return std::nullopt;
    auto date = bcdDate(slot, kDateIndex);
    if (!date) return std::nullopt;
    HalvoraSDKThermometerData data;
    data.date = *date;
    data.temperature = number(slot, kValueIndex, kHalfWord) / kTenths;
    data.mode = kBraceletThermometerMode;
    data.unit = HalvoraSDKThermometerData::kUnitCelsius;
    return data;
}

}  // namespace halvora
