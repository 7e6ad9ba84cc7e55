#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "LabCatalog.hpp"
#include "lab/LinkModel.hpp"

namespace halvora::cli {

/// The virtual devices of a lab: from a JSON lab file, or the default lab (one device of every class the
/// tool can play, with fixed values).
///
/// A lab file:
///   { "seed": 7,
///     "link": { "connectionIntervalMs": 30, "packetsPerEvent": 4, "notificationLatencyMs": 0 },
///     "devices": [ { "class": "HalvoraSDKHeartDevice", "identifier": "...", "name": "Bluetooth BP",
///                    "rssi": -55, "advertisingIntervalMs": 100, "script": { ... }, "faults": { ... },
///                    "hostile": { ... } } ] }
/// "class" is the driver class the device plays; "identifier" (a UUID text) and "name" default to fixed
/// values; "advertisingIntervalMs" (20 to 10240, fractions allowed) to the lab's 100 ms; "script" holds the class's scripted values; "faults" the lab's faults (failConnect,
/// discoveryError, characteristicDiscoveryError, dropNotificationProbability, duplicateNotifications,
/// splitNotificationsAt, replyDelayMs, disconnectAfterMs, inRange); "hostile" the hostile mode
/// (lab::HostileMode): "all", or an object of chances from 0 to 1 (random, short, oversized, duplicate,
/// reorder, flood, drop, disconnect) with maxLength (1 to 512), floodCount (0 to 10000) and
/// unsolicitedEveryMs. "link" (optional) paces every link by a lab::LinkModel: the connection interval
/// (7.5 to 4000 ms, fractions allowed), the phone's writes per connection event (1 to 1000) and the latency
/// of the device's notifications (0 to 10000 ms), each defaulting to the model's; without it the lab keeps
/// its fixed latencies.
struct LabDescription {
    std::optional<std::uint64_t> seed;
    std::optional<lab::LinkModel> link;
    std::vector<LabDeviceSpec> devices;

    /// Reads a lab file; throws CliError (exit status 2) naming the line of a syntax error, or the field of
    /// a bad value.
    static LabDescription fromFile(const std::string& path);
    /// The same from text (`origin` names it in messages).
    static LabDescription fromText(const std::string& text, const std::string& origin);
    /// One device of every class, with fixed identifiers and values.
    static LabDescription defaultLab();
};

/// The fixed identifier of the default lab's n-th device.
std::string defaultIdentifier(std::size_t index);

}  // namespace halvora::cli
