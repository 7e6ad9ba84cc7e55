#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "halvora/Runtime/Task.hpp"
#include "lab/Devices/RM830/RM830UpdaterFaults.hpp"

namespace halvora::lab {

/// How the RM830's bootloader (VirtualRM830Bootloader) behaves, and how the bracelet goes into it and
/// comes back. Part of the bracelet's script (RM830Script::updater); it takes effect at the next switch.
struct RM830UpdaterScript {
    /// The shortest inactivity time; a shorter one counts as this.
    static constexpr Duration kMinInactivityTime = std::chrono::milliseconds(100);

    /// The value of the bootloader's version characteristic (the phone resets a bootloader that reads 0
    /// in its first byte).
    std::vector<std::uint8_t> dfuVersion{0x08, 0x00};
    /// The version the bracelet reports after an activated update whose image carries no version header
    /// ("J055" and four version bytes).
    std::string versionAfterUpdate = "54.51.56.1";
    /// The bootloader resets by itself (back to the old firmware) after this long without a write from the
    /// phone, counted from its appearance on the air and from every write since.
    Duration inactivityTime = std::chrono::seconds(30);
    /// From the bracelet's answer to 0x47 to its leaving the air with the bootloader appearing in its place
    /// (well inside the 3 s after which the phone looks for the bootloader).
    Duration switchDelay = std::chrono::milliseconds(500);
    /// From the bootloader leaving the air (activation, reset, inactivity) to the bracelet advertising
    /// again.
    Duration restartDelay = std::chrono::seconds(1);
    /// The bootloader's faults.
    RM830UpdaterFaults faults;
};

}  // namespace halvora::lab
