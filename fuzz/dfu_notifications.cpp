// The RM830 in update mode: the bootloader's control-point notifications and version answers, errors, links
// dropped and back, time, fed event scripts (see support/FuzzEvents.hpp) to an updater that sends a small
// image. Whatever the bootloader does, the process's update slot is free again once the driver is gone.
#include "halvora/DFU/internal/DFUProcessState.hpp"
#include "support/DriverFuzzer.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const auto& target = halvora::fuzz::driverTarget("dfu_notifications");
    halvora::fuzz::runDriverScript(target, {data, size});
    if (halvora::DFUProcessState::shared().slotTaken()) __builtin_trap();
    return 0;
}
