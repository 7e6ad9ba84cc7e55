// The Vital bracelet's reply dispatch, parsers and commands, fed event scripts (see
// support/FuzzEvents.hpp).
#include "support/DriverFuzzer.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const auto& target = halvora::fuzz::driverTarget("vital_notifications");
    return halvora::fuzz::runDriverScript(target, {data, size});
}
