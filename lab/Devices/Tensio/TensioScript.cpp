#include "lab/Devices/Tensio/TensioScript.hpp"

#include <algorithm>

namespace halvora::lab {

std::vector<int> TensioScript::cuffPressures() const {
    const int top = std::clamp(inflateTo, 1, kMaxCuffPressure);
    const int bottom = std::clamp(deflateTo, 1, top);
    const int step = std::max(pressureStep, 1);
    std::vector<int> pressures;
    for (int p = step; p < top; p += step) pressures.push_back(p);
    pressures.push_back(top);
    if (measurementError) return pressures;
    for (int p = top - step; p >= bottom; p -= step) pressures.push_back(p);
    return pressures;
}

}  // namespace halvora::lab
