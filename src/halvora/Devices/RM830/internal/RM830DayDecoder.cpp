#include "halvora/Devices/RM830/internal/RM830DayDecoder.hpp"

#include <ctime>

#include "halvora/Core/Calendar.hpp"
#include "halvora/Devices/RM830/internal/RM830Bcd.hpp"

namespace halvora {

namespace {

constexpr std::size_t kYearIndex = 2;
constexpr std::size_t kMonthIndex = 3;
constexpr std::size_t kDayIndex = 4;
constexpr std::size_t kQuarterIndex = 5;
constexpr std::size_t kKindIndex = 6;
constexpr std::size_t kFirstDataIndex = 7;
constexpr std::size_t kLastDataIndex = 14;
constexpr std::size_t kCaloriesIndex = 7;
constexpr std::size_t kStepsIndex = 9;
constexpr std::size_t kDistanceIndex = 11;

constexpr int kCenturyStart = 2000;
constexpr int kTmYearBase = 1900;
constexpr int kQuartersPerHour = 4;
constexpr int kMinutesPerHour = 60;
constexpr double kHundredths = 100.0;

std::int32_t littleEndian16(std::span<const std::uint8_t> frame, std::size_t at) {
    return frame[at + 1] << 8 | frame[at];
}

HalvoraSDKSleepData sleepRecord(std::span<const std::uint8_t> frame, Date date) {
    std::int32_t sum = 0;
    for (std::size_t i = kFirstDataIndex; i <= kLastDataIndex; ++i) sum += frame[i];
    HalvoraSDKSleepData record;
    record.date = date;
    record.sleepDuration = RM830DayDecoder::kQuarterHour;
    record.sleepDeepness = sum > RM830DayDecoder::kDeepSleepThreshold ? 1 : 0;
    return record;
}

HalvoraSDKStepData activityRecord(std::span<const std::uint8_t> frame, Date date) {
    HalvoraSDKStepData record;
    record.date = date;
    record.calories = littleEndian16(frame, kCaloriesIndex) / kHundredths;
    record.steps = littleEndian16(frame, kStepsIndex);
    record.distance = littleEndian16(frame, kDistanceIndex) / kHundredths;
    return record;
}

}  // namespace

Date RM830DayDecoder::quarterHourDate(std::span<const std::uint8_t> frame) {
    const int quarter = frame[kQuarterIndex];
    std::tm local{};
    local.tm_year = kCenturyStart + RM830Bcd::decode(frame[kYearIndex]) - kTmYearBase;
    local.tm_mon = RM830Bcd::decode(frame[kMonthIndex]) - 1;
    local.tm_mday = RM830Bcd::decode(frame[kDayIndex]);
    local.tm_hour = quarter / kQuartersPerHour;
    local.tm_min = (quarter * kQuarterHour) % kMinutesPerHour;
    local.tm_sec = 0;
    local.tm_isdst = -1;
    return Calendar::fromLocal(local);
}

std::optional<HalvoraSDKBraceletData> RM830DayDecoder::decode(const std::vector<std::vector<std::uint8_t>>& frames) {
    HalvoraSDKBraceletData data;
    for (const auto& frame : frames) {
        if (frame.size() < kFrameLength) continue;
        const std::uint8_t kind = frame[kKindIndex];
        if (kind == kSleepKind) {
            data.sleepData.push_back(sleepRecord(frame, quarterHourDate(frame)));
        } else if (kind == kActivityKind) {
            auto record = activityRecord(frame, quarterHourDate(frame));
            if (record.steps > 0) data.stepsData.push_back(std::move(record));
        }
    }
    if (data.stepsData.empty() && data.sleepData.empty()) return std::nullopt;
    return data;
}

}  // namespace halvora
