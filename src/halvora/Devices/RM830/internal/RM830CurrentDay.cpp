#include "halvora/Devices/RM830/internal/RM830CurrentDay.hpp"

namespace halvora {

namespace {

constexpr std::size_t kStepsIndex = 1;
constexpr std::size_t kCaloriesIndex = 7;
constexpr std::size_t kDistanceIndex = 10;
constexpr double kHundredths = 100.0;

std::int32_t bigEndian24(std::span<const std::uint8_t> answer, std::size_t at) {
    return answer[at] << 16 | answer[at + 1] << 8 | answer[at + 2];
}

}  // namespace

std::optional<HalvoraSDKStepData> RM830CurrentDay::decode(std::span<const std::uint8_t> answer, Date now) {
    if (answer.size() < kMinLength) return std::nullopt;
    HalvoraSDKStepData record;
    record.date = now;
    record.steps = bigEndian24(answer, kStepsIndex);
    record.calories = bigEndian24(answer, kCaloriesIndex) / kHundredths;
    record.distance = bigEndian24(answer, kDistanceIndex) / kHundredths;
    return record;
}

}  // namespace halvora
