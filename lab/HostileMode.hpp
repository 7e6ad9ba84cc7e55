#pragma once

#include <chrono>
#include <cstddef>
#include <optional>

#include "halvora/Runtime/Task.hpp"

namespace halvora::lab {

/// A device turned hostile: what it sends is mangled on its way out, the same way for every virtual
/// device, so that the kit can be checked against garbage from any family without code of the family's
/// own. Part of LabFaults (LabFaults::hostile); `HostileMode{}` changes nothing.
///
/// Each notification the device sends meets these chances in turn (each a number from 0 to 1; 0 never
/// happens and draws nothing, 1 always happens; below 0 counts as 0, above 1 as 1):
///   1. `drop`: it is lost (a reply that never comes);
///   2. `random`: its bytes are replaced by 1 to `maxLength` random bytes; otherwise `cutShort`: only a
///      random prefix of it is sent (possibly nothing: an empty value); otherwise `oversized`: random
///      bytes are appended;
///   3. `duplicate`: it is sent twice;
///   4. `reorder`: it is held back and sent after the next notification the device sends (at most one is
///      held: one that comes while another is held is not held itself; a held one is dropped when the
///      link ends);
///   5. `flood`: `floodCount` notifications of 1 to `maxLength` random bytes follow it on its
///      characteristic;
///   6. `disconnect`: the device drops the link right after it (anything it sends meanwhile is lost).
/// The lab's other notification faults (loss on the air, duplicates, splitting, reply delay) then apply to
/// each notification that comes out. Beside these, with `unsolicitedEvery` the device sends, at that
/// interval while a link is up, one notification of random bytes on every characteristic the central has
/// switched notifications on for, even when nobody talks to it.
///
/// Every draw is made on the radio's seeded generator: the same seed gives the same run.
struct HostileMode {
    /// The longest value the hostile mode makes, unless set.
    static constexpr std::size_t kDefaultMaxLength = 20;
    /// `maxLength` is capped here (the longest attribute value the air carries).
    static constexpr std::size_t kMaxLengthCap = 512;
    /// Notifications in a flood, unless set.
    static constexpr std::size_t kDefaultFloodCount = 50;
    /// `floodCount` is capped here, so that a flood ends.
    static constexpr std::size_t kFloodCountCap = 10000;
    /// Each chance of the all() preset.
    static constexpr double kAllProbability = 0.05;
    /// The unsolicited interval of the all() preset.
    static constexpr Duration kAllUnsolicitedEvery = std::chrono::seconds(1);

    /// Chance that a notification's bytes are replaced by 1 to `maxLength` random bytes.
    double random = 0.0;
    /// Chance that a notification is cut short: a random prefix of it, shorter than it, is sent.
    double cutShort = 0.0;
    /// Chance that random bytes are appended to a notification, making it from one byte longer up to
    /// `maxLength` bytes (one byte longer when it already has `maxLength` bytes or more).
    double oversized = 0.0;
    /// Chance that a notification is sent twice.
    double duplicate = 0.0;
    /// Chance that a notification is held back and sent after the next one.
    double reorder = 0.0;
    /// Chance that a flood of `floodCount` random notifications follows a notification.
    double flood = 0.0;
    /// Chance that a notification is lost.
    double drop = 0.0;
    /// Chance that the device drops the link right after a notification.
    double disconnect = 0.0;
    /// The longest value made of random bytes, from 1 to kMaxLengthCap (0 counts as 1, more as the cap).
    std::size_t maxLength = kDefaultMaxLength;
    /// Notifications in one flood, up to kFloodCountCap (more counts as the cap).
    std::size_t floodCount = kDefaultFloodCount;
    /// Interval of the unsolicited random notifications; absent (or not positive): none.
    std::optional<Duration> unsolicitedEvery;

    /// Every kind of hostility at once, for soak tests: each chance kAllProbability, unsolicited
    /// notifications every kAllUnsolicitedEvery, the default lengths.
    static HostileMode all() {
        HostileMode mode;
        mode.random = mode.cutShort = mode.oversized = mode.duplicate = kAllProbability;
        mode.reorder = mode.flood = mode.drop = mode.disconnect = kAllProbability;
        mode.unsolicitedEvery = kAllUnsolicitedEvery;
        return mode;
    }

    /// True when unsolicited notifications are on.
    bool sendsUnsolicited() const { return unsolicitedEvery && *unsolicitedEvery > Duration::zero(); }
};

}  // namespace halvora::lab
