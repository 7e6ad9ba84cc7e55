#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "halvora/Runtime/Task.hpp"
#include "lab/Devices/Bracelet/BraceletEvent.hpp"
#include "lab/Devices/Bracelet/BraceletFaults.hpp"
#include "lab/Devices/Bracelet/BraceletHistory.hpp"
#include "lab/Devices/Bracelet/BraceletRecord.hpp"

namespace halvora::lab {

/// What the virtual bracelet reports and how it behaves. Setting a script replaces the history not yet
/// synced with the script's `history`.
struct BraceletScript {
    std::string version = "B521A-V2.1.08";  ///< the "AT+VER:" answer
    int battery = 87;                       ///< per cent, the "AT+BAT:" answer
    int steps = 4321;                       ///< today's steps, the "AT+PACE:" answer
    int heartRate = 72;                     ///< the result of a heart-rate measurement, beats per minute
    /// From "AT+HEART=1" to the measurement's result.
    Duration heartDelay = std::chrono::seconds(3);
    /// The measurement fails: "AT+HEART:ERR" instead of a rate.
    bool heartFails = false;
    /// "AT+BOND" is refused ("AT+BOND:ERR").
    bool bondRefused = false;
    /// Notifications sent on their own, timed from notifications on.
    std::vector<BraceletEvent> events;
    /// The stored history, not yet synced.
    std::vector<BraceletRecord> history;
    /// Items per package (at least 1).
    std::size_t itemsPerPackage = BraceletHistory::kDefaultItemsPerPackage;
    /// Between two notifications of one answer (a header line or package cut in 20-byte pieces); zero
    /// sends them back to back.
    Duration notificationGap = Duration::zero();
    /// The bracelet's protocol faults.
    BraceletFaults faults;
};

}  // namespace halvora::lab
