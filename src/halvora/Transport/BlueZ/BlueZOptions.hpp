#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include "halvora/Runtime/Task.hpp"

namespace halvora {

/// How the BlueZ transport talks to bluetoothd.
struct BlueZOptions {
    /// The adapter to use ("hci0" is /org/bluez/hci0).
    std::string adapter = "hci0";
    /// A D-Bus address to use instead of the system bus (tests point this at a private bus). Without it the
    /// system bus is used, which DBUS_SYSTEM_BUS_ADDRESS redirects.
    std::optional<std::string> busAddress;
    /// Deadline of every call that waits for the device (connect, read, write, notifications on or off).
    /// Longer than BlueZ's own 30-second ATT time-out, so that BlueZ's answer comes first.
    Duration deviceCallTimeout = std::chrono::seconds(35);
    /// Deadline of calls that only bluetoothd answers (object list, discovery, power).
    Duration localCallTimeout = std::chrono::seconds(5);
    /// How often a lost bus connection is tried again.
    Duration reconnectInterval = std::chrono::seconds(1);
    /// While a central scans with duplicates allowed, discovery is stopped and started again this often:
    /// the controller's duplicate filter, which the kernel keeps on, reports an unchanged advertisement only
    /// once per 10.24-second scan cycle otherwise.
    Duration duplicateScanRestartInterval = std::chrono::seconds(2);
    /// Most devices mirrored at once; further devices are ignored (and logged) until others go.
    std::size_t maxDevices = 512;
    /// Most GATT services and characteristics mirrored at once, over all devices.
    std::size_t maxGattObjects = 8192;
    /// Most events waiting on a central's queue: beyond it advertisements are dropped, and beyond four
    /// times it notifications too (each logged once per episode).
    std::size_t maxPendingEvents = 4096;
    /// Largest characteristic value accepted (the ATT maximum); longer values are dropped and logged.
    std::size_t maxValueSize = 512;
};

}  // namespace halvora
