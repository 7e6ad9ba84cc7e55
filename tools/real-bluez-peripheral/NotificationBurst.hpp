#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "halvora/Transport/BlueZ/internal/BusLoop.hpp"

namespace halvora::realbluez {

/// The bench's numbered notifications: COUNT frames, each stamped with its number and the moment it was
/// handed to bluetoothd (CLOCK_MONOTONIC, which the bridge and the kit share inside one machine), sent
/// back to back or one per interval. Frame: marker, number (u32 LE), send time in ns (u64 LE).
class NotificationBurst {
public:
    /// First byte of every frame.
    static constexpr std::uint8_t kMarker = 0xB5;
    static constexpr std::size_t kFrameSize = 13;
    /// Frames sent per loop turn when sent back to back, so that the bus loop still serves bluetoothd.
    static constexpr std::uint32_t kFramesPerTurn = 64;

    /// A frame as the bench sends it.
    struct Frame {
        std::uint32_t number = 0;
        std::uint64_t sentNs = 0;
    };
    using Send = std::function<void(const std::vector<std::uint8_t>& value)>;

    NotificationBurst(bluez::BusLoop& loop, std::uint32_t count, std::chrono::microseconds interval, Send send);

    /// Starts sending (once; later calls do nothing). Loop thread.
    void start();
    bool started() const { return started_; }

    static std::vector<std::uint8_t> encode(const Frame& frame);
    /// The frame in `value`, or nothing when it is not one of the bench's.
    static std::optional<Frame> decode(const std::vector<std::uint8_t>& value);
    /// CLOCK_MONOTONIC in ns.
    static std::uint64_t nowNs();

private:
    void sendFrom(std::uint32_t number);

    bluez::BusLoop& loop_;
    const std::uint32_t count_;
    const std::chrono::microseconds interval_;
    Send send_;
    bool started_ = false;
};

}  // namespace halvora::realbluez
