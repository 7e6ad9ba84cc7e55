// The pill box's reply routing, reassembly (schedule and history) and decoding, and its commands with their
// arguments from the input, fed event scripts (see support/FuzzEvents.hpp).
#include "support/DriverFuzzer.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const auto& target = halvora::fuzz::driverTarget("pillreminder_notifications");
    return halvora::fuzz::runDriverScript(target, {data, size});
}
