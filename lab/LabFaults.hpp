#pragma once

#include <cstddef>
#include <optional>

#include "halvora/Runtime/Task.hpp"
#include "lab/HostileMode.hpp"

namespace halvora::lab {

/// Faults a virtual device can be told to show. They may be changed at any time with
/// VirtualPeripheral::setFaults(); each takes effect from the next event it concerns. Every random choice
/// draws on the radio's seeded generator, so a run repeats exactly for a given seed.
struct LabFaults {
    /// Every connection attempt fails (the central gets a fail-to-connect event with an error).
    bool failConnect = false;
    /// Service discovery answers with an error.
    bool discoveryError = false;
    /// Characteristic discovery answers with an error.
    bool characteristicDiscoveryError = false;
    /// Chance (0 to 1) that a notification is lost on the air.
    double dropNotificationProbability = 0.0;
    /// Every notification arrives twice.
    bool duplicateNotifications = false;
    /// A notification longer than this many bytes arrives as two value updates, split at that byte.
    std::optional<std::size_t> splitNotificationsAt;
    /// Extra delay on every event the device causes at the central (connection, replies, notifications;
    /// advertisements are not delayed).
    Duration replyDelay = Duration::zero();
    /// The device drops the link this long after each connection.
    std::optional<Duration> disconnectAfter;
    /// False: the device stops advertising and connection attempts fail. A link already up is kept
    /// (use VirtualPeripheral::dropLink() or Radio::removePeripheral() for a device walking away).
    bool inRange = true;
    /// The device turned hostile: what it sends is mangled, flooded, reordered, cut off (HostileMode).
    /// Applied before the notification faults above. Off unless set.
    HostileMode hostile;
};

}  // namespace halvora::lab
