#include "halvora/Devices/Vital/internal/VitalArgumentChecks.hpp"

#include "halvora/Devices/Vital/internal/VitalErrorNumber.hpp"

namespace halvora {

namespace {

constexpr std::int32_t kMinHeartRateBase = 40;
constexpr std::int32_t kMaxHeartRateBase = 255;
constexpr std::int32_t kMaxBrightness = 15;
constexpr std::int32_t kMaxDial = 9;
constexpr std::int32_t kByteLimit = 256;
constexpr std::int32_t kIntervalLimit = 65536;
constexpr std::int32_t kModeOff = 0;
constexpr std::int32_t kModeInterval = 2;

bool within(std::int32_t value, std::int32_t lowest, std::int32_t highest) {
    return value >= lowest && value <= highest;
}

}  // namespace

std::optional<std::int32_t> VitalArgumentChecks::checkVitalParameters(const HalvoraSDKVitalParams& p) {
    if (!p.notifications) return VitalErrorNumber::kRefused;
    if (!within(p.basicHeartRateSetting, kMinHeartRateBase, kMaxHeartRateBase)) return VitalErrorNumber::kHeartRateBase;
    if (!within(p.screenBrightness, 0, kMaxBrightness)) return VitalErrorNumber::kBrightness;
    if (!within(p.dialInterface, 0, kMaxDial)) return VitalErrorNumber::kDial;
    return std::nullopt;
}

std::optional<std::int32_t> VitalArgumentChecks::checkActivityPeriod(const HalvoraSDKVitalActivityPeriod& p) {
    if (p.exerciseReminderPeriod >= kByteLimit) return VitalErrorNumber::kReminderPeriod;
    if (p.minimumNumberSteps >= kByteLimit) return VitalErrorNumber::kMinimumSteps;
    if (!p.checkValidDates()) return VitalErrorNumber::kInvalidWindow;
    return std::nullopt;
}

std::optional<std::int32_t> VitalArgumentChecks::checkAutomaticDetection(const HalvoraSDKVitalPeriod& p) {
    if (p.workingMode == kModeInterval && p.intervalTime >= kIntervalLimit) return VitalErrorNumber::kOutOfRange;
    if (p.workingMode != kModeOff && !p.checkValidDates()) return VitalErrorNumber::kInvalidWindow;
    return std::nullopt;
}

std::optional<std::int32_t> VitalArgumentChecks::checkSportTimePeriod(std::int32_t timePeriod) {
    if (timePeriod >= kByteLimit) return VitalErrorNumber::kOutOfRange;
    return std::nullopt;
}

}  // namespace halvora
