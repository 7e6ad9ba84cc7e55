#include "halvora/Core/DateUtils.hpp"

#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/Format.hpp"
#include "halvora/Core/LocalizedStrings.hpp"

namespace halvora {

namespace {

constexpr std::int32_t kMinutesPerHour = 60;
constexpr const char* kHoursKey = "sleep_h";
constexpr const char* kMinutesKey = "sleep_min";
constexpr const char* kNoValueText = "-";

}  // namespace

std::optional<std::int32_t> DateUtils::getAgeFromDate(std::optional<Date> date, Date now) {
    if (!date) return std::nullopt;
    const std::tm birth = Calendar::toLocal(*date);
    const std::tm today = Calendar::toLocal(now);
    std::int32_t age = today.tm_year - birth.tm_year;
    const bool birthdayStillAhead =
        today.tm_mon < birth.tm_mon || (today.tm_mon == birth.tm_mon && today.tm_mday < birth.tm_mday);
    if (birthdayStillAhead) --age;
    return age;
}

std::int32_t DateUtils::getDayOfYear(Date date) {
    return Calendar::toLocal(date).tm_yday + 1;
}

std::string DateUtils::convertMinutesToHoursMinutes(std::optional<std::int32_t> minutes) {
    if (!minutes) return kNoValueText;
    const std::string minuteText = LocalizedStrings::lookup(kMinutesKey);
    if (*minutes < kMinutesPerHour) return format("%d%s", *minutes, minuteText.c_str());
    const std::string hourText = LocalizedStrings::lookup(kHoursKey);
    return format("%d%s %d%s", *minutes / kMinutesPerHour, hourText.c_str(), *minutes % kMinutesPerHour,
                  minuteText.c_str());
}

Date DateUtils::setDateTimeFor(Date date, std::int32_t hour, std::int32_t minute, std::int32_t second) {
    std::tm local = Calendar::toLocal(date);
    local.tm_hour = hour;
    local.tm_min = minute;
    local.tm_sec = second;
    local.tm_isdst = -1;
    return Calendar::fromLocal(local);
}

Date DateUtils::dateWithoutTime(Date date) {
    return setDateTimeFor(date, 0, 0, 0);
}

}  // namespace halvora
