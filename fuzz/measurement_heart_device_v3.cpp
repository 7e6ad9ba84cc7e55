// The heart_device_v3 driver's notification path, fed event scripts (see support/FuzzEvents.hpp).
#include "support/DriverFuzzer.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const auto& target = halvora::fuzz::driverTarget("measurement_heart_device_v3");
    return halvora::fuzz::runDriverScript(target, {data, size});
}
