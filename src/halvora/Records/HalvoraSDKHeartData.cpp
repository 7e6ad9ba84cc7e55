#include "halvora/Records/HalvoraSDKHeartData.hpp"

#include <functional>

#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora {

namespace {

std::size_t hashOf(const std::optional<std::int32_t>& value) {
    return value ? std::hash<std::int32_t>{}(*value) : 0;
}

}  // namespace

bool HalvoraSDKHeartData::isEqual(const HalvoraSDKHeartData& other) const {
    return systolic == other.systolic && diastolic == other.diastolic && pulse == other.pulse;
}

std::size_t HalvoraSDKHeartData::hash() const { return hashOf(systolic) + hashOf(diastolic) + hashOf(pulse); }

std::string HalvoraSDKHeartData::print() const {
    const std::string dateText = date ? Calendar::formatDateTime(*date) : "(null)";
    return format("Date: %s\nSystolic: %d\nDiastolic: %d\nPulse: %d\n", dateText.c_str(), systolic.value_or(0),
                  diastolic.value_or(0), pulse.value_or(0));
}

}  // namespace halvora
