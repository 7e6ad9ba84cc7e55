#include "lab/Devices/Measurement/ThermometerScript.hpp"

namespace halvora::lab {

std::size_t ThermometerScript::stepCount() const {
    if (repeats <= 0) return 0;
    return temperatures.size() * static_cast<std::size_t>(repeats) + errors.size();
}

}  // namespace halvora::lab
