#include "lab/Devices/Measurement/BloodPressureScript.hpp"

#include <algorithm>

namespace halvora::lab {

std::vector<int> BloodPressureScript::cuffPressures() const {
    std::vector<int> pressures;
    const int up = std::max(1, inflateStep);
    const int down = std::max(1, deflateStep);
    for (int p = up; p < inflateTo; p += up) pressures.push_back(p);
    pressures.push_back(inflateTo);
    for (int p = inflateTo - down; p >= deflateTo; p -= down) pressures.push_back(p);
    return pressures;
}

}  // namespace halvora::lab
