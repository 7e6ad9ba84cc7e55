#include "halvora/Devices/Vital/HalvoraSDKPeriod.hpp"

namespace halvora {

namespace {

constexpr std::int32_t kHoursPerDay = 24;
constexpr std::int32_t kMinutesPerHour = 60;

bool isTimeOfDay(std::int32_t hour, std::int32_t minute) {
    return hour >= 0 && hour < kHoursPerDay && minute >= 0 && minute < kMinutesPerHour;
}

}  // namespace

bool HalvoraSDKPeriod::checkValidDates() const {
    if (!isTimeOfDay(startHour, startMinute) || !isTimeOfDay(endHour, endMinute)) return false;
    return startHour * kMinutesPerHour + startMinute < endHour * kMinutesPerHour + endMinute;
}

}  // namespace halvora
