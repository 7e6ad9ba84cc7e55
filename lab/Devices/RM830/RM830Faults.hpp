#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace halvora::lab {

/// Faults of the RM830's own protocol, beside the lab's link faults (LabFaults, set with
/// VirtualPeripheral::setFaults()). Every random choice draws on the radio's seeded generator.
struct RM830Faults {
    /// Commands refused: each is answered with its code | 0x80 alone and changes nothing.
    std::vector<std::uint8_t> failCodes;
    /// Commands whose answer is lost: the command takes effect, but what the bracelet would send at once is
    /// not sent (a real-time stream it starts still sends its later frames).
    std::vector<std::uint8_t> loseAnswersTo;
    /// The answer to the n-th command the bracelet takes (from 1, counted over its life; frames it rejects
    /// do not count) is lost.
    std::optional<int> loseAnswerToCommand;
    /// Heart-rate history packets always say more follow (byte 1 = 0x64), past the last one too (which then
    /// repeat from the first).
    bool endlessHeartHistory = false;
    /// Frames with a byte 1 other than 0xF0 and 0xFF mixed, at random places, into each stored day's 96.
    int strayDayFrames = 0;
    /// Answers are cut to this many bytes.
    std::optional<std::size_t> cutAnswersTo;
    /// The answers (by code) `cutAnswersTo` cuts; empty: every answer.
    std::vector<std::uint8_t> cutAnswerCodes;
};

}  // namespace halvora::lab
