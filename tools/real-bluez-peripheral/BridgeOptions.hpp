#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace halvora::realbluez {

/// What the peripheral bridge plays and where (its command line).
struct BridgeOptions {
    /// The lab file whose device the bridge plays; the tool's default lab without one.
    std::optional<std::string> labFile;
    /// The class of the lab's device to play; the lab's first device without one.
    std::optional<std::string> className;
    /// Seed of the lab's random faults (the lab file's, or 1, without one).
    std::optional<std::uint64_t> seed;
    /// The adapter the device's services and advertisement are registered on.
    std::string adapter = "hci1";
    /// How often the advertisement is registered anew: btvirt's controllers send advertising reports only
    /// when advertising is switched on, not while it stays on.
    std::chrono::milliseconds advertisingRestart{1000};
    /// Bench mode: once a central switches notifications on, the bridge sends this many numbered
    /// notifications on that characteristic (NotificationBurst) instead of the device's own.
    std::optional<std::uint32_t> burstCount;
    /// Time between two of the bench's notifications; zero sends them back to back.
    std::chrono::microseconds burstInterval{0};
    /// Logs what the bridge does on stderr.
    bool verbose = false;
};

}  // namespace halvora::realbluez
