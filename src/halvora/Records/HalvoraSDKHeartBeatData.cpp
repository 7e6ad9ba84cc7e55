#include "halvora/Records/HalvoraSDKHeartBeatData.hpp"

#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora {

std::string HalvoraSDKHeartBeatData::description() const {
    const std::string dateText = date ? Calendar::formatDateTime(*date) : "(null)";
    return format("Date: %s\nHeart Rate: %d\n", dateText.c_str(), heartRate);
}

}  // namespace halvora
