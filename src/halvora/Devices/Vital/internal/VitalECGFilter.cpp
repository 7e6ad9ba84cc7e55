#include "halvora/Devices/Vital/internal/VitalECGFilter.hpp"

namespace halvora {

void VitalECGFilter::reset() {
    input_.fill(0);
    output_.fill(0);
}

}  // namespace halvora
