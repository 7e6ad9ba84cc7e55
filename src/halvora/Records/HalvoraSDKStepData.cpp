#include "halvora/Records/HalvoraSDKStepData.hpp"

#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora {

std::string HalvoraSDKStepData::print() const {
    const std::string dateText = date ? Calendar::formatDateTime(*date) : "(null)";
    return format("Date: %s\nSteps: %d\nCalories: %d\nDistance: %.2f", dateText.c_str(), steps,
                  static_cast<int>(calories), distance);
}

}  // namespace halvora
