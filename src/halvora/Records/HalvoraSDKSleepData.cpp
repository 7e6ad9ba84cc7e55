#include "halvora/Records/HalvoraSDKSleepData.hpp"

#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora {

std::string HalvoraSDKSleepData::description() const {
    const std::string dateText = date ? Calendar::formatDateTime(*date) : "(null)";
    return format("Date: %s\nSleep duration: %d\nSleep deepness: %d\n", dateText.c_str(), sleepDuration, sleepDeepness);
}

}  // namespace halvora
