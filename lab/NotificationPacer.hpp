#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

#include "halvora/Runtime/Task.hpp"
#include "halvora/Transport/BLEUUID.hpp"

namespace halvora::lab {

class VirtualPeripheral;

/// Sends a virtual device's notifications on one characteristic in order: a batch goes back to back, or
/// one notification every `gap`; a batch sent while another is still going out queues behind it. reset(),
/// at every link start and end, drops whatever was not sent yet. Thread-safe; paced notifications go out on
/// the lab queue. Lives as long as the device it sends for (a member of it), since paced sending runs on
/// the device's timers.
class NotificationPacer {
public:
    /// A pacer for `device`'s notifications on `characteristic`.
    NotificationPacer(VirtualPeripheral& device, BLEUUID characteristic);

    /// Sends `notifications`, `gap` apart (zero: back to back, unless an earlier batch is still going out).
    void send(std::vector<std::vector<std::uint8_t>> notifications, Duration gap);
    /// Drops what was not sent yet.
    void reset();

private:
    void pump(int generation, Duration gap);

    VirtualPeripheral& device_;
    const BLEUUID characteristic_;
    std::mutex mutex_;
    std::deque<std::vector<std::uint8_t>> outbox_;
    bool pumping_ = false;
    int generation_ = 0;  // changes with every reset; a pump of an older one stops
};

}  // namespace halvora::lab
