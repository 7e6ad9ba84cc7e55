#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "halvora/Runtime/Task.hpp"

namespace halvora::lab {

/// Faults of the Vital bracelet's own protocol, beside the lab's link faults (LabFaults, set with
/// VirtualPeripheral::setFaults()). Every random choice draws on the radio's seeded generator.
struct VitalFaults {
    /// Commands refused: each is answered with its code | 0x80 alone and changes nothing (an alarm list
    /// whose code is here is refused once it has arrived whole).
    std::vector<std::uint8_t> failCodes;
    /// Commands whose answer is lost: the command takes effect, but what the bracelet would send at once is
    /// not sent (real-time data it starts still follow).
    std::vector<std::uint8_t> loseAnswersTo;
    /// Answers (and events, and real-time frames) are cut to this many bytes.
    std::optional<std::size_t> cutAnswersTo;
    /// The frames (by byte 0) `cutAnswersTo` cuts; empty: every frame.
    std::vector<std::uint8_t> cutAnswerCodes;
    /// While a link is up, a frame nobody asked for every this long (at least
    /// VirtualVitalBracelet::kMinStreamInterval): by the seed, one of the bracelet's answer or event codes,
    /// or one it never sends, with random payload bytes.
    std::optional<Duration> strayEvery;
};

}  // namespace halvora::lab
