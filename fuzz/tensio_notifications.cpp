// The wrist blood-pressure bracelet's frame assembly, answers and commands, fed event scripts (see
// support/FuzzEvents.hpp).
#include "support/DriverFuzzer.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const auto& target = halvora::fuzz::driverTarget("tensio_notifications");
    return halvora::fuzz::runDriverScript(target, {data, size});
}
