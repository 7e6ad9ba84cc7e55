#include "lab/Devices/Measurement/BabyThermometerScript.hpp"

#include <algorithm>

namespace halvora::lab {

std::size_t BabyThermometerScript::readingsPerPass() const {
    if (bodyTemperatures.empty() || ambientTemperatures.empty()) return 0;
    return std::max(bodyTemperatures.size(), ambientTemperatures.size());
}

std::size_t BabyThermometerScript::valueCount() const {
    if (repeats <= 0) return 0;
    return readingsPerPass() * static_cast<std::size_t>(repeats) + rawValues.size();
}

}  // namespace halvora::lab
