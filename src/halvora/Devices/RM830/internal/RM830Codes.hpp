#pragma once

#include <cstdint>

namespace halvora {

/// The RM830 bracelet's command codes (byte 0 of a command frame, and of the answer to it) and the marker
/// values its answers carry in byte 1. A failed command is answered with its code with the top bit set.
class RM830Codes {
public:
    RM830Codes() = delete;

    /// Sets the date and time.
    static constexpr std::uint8_t kSetDateTime = 0x01;
    /// Sets the user's personal data.
    static constexpr std::uint8_t kSetPersonalInformation = 0x02;
    /// Starts real-time mode: the bracelet answers with today's totals.
    static constexpr std::uint8_t kStartRealTime = 0x09;
    /// Stops real-time mode.
    static constexpr std::uint8_t kStopRealTime = 0x0A;
    /// Sets the daily step goal.
    static constexpr std::uint8_t kSetTargets = 0x0B;
    /// Switches automatic heart-rate monitoring on or off.
    static constexpr std::uint8_t kSetMonitoringHR = 0x19;
    /// Reads the firmware version.
    static constexpr std::uint8_t kReadFirmwareVersion = 0x27;
    /// An answer code of the bracelet's own; its error form keeps the command slot.
    static constexpr std::uint8_t kUndocumented29 = 0x29;
    /// Sets the automatic heart-rate monitoring window.
    static constexpr std::uint8_t kSetMonitoringWindow = 0x2A;
    /// Switches the real-time heart-rate stream on or off.
    static constexpr std::uint8_t kSetRealtimeHR = 0x2C;
    /// Reads one packet of the heart-rate history.
    static constexpr std::uint8_t kReadHeartRateHistory = 0x2F;
    /// Sets the time format.
    static constexpr std::uint8_t kSetTimeFormat = 0x37;
    /// Reads the time format.
    static constexpr std::uint8_t kReadTimeFormat = 0x38;
    /// Reads the date and time.
    static constexpr std::uint8_t kReadDateTime = 0x41;
    /// Reads the user's personal data.
    static constexpr std::uint8_t kReadPersonalInformation = 0x42;
    /// Reads one day of the quarter-hour history.
    static constexpr std::uint8_t kReadDayHistory = 0x43;
    /// Asks for the dates that hold data.
    static constexpr std::uint8_t kReadDatesWithInfo = 0x46;
    /// Switches the bracelet into its firmware updater.
    static constexpr std::uint8_t kSwitchToUpdater = 0x47;
    /// Measures the heart rate once.
    static constexpr std::uint8_t kReadHeartRate = 0x6D;

    /// The bit that marks an answer as the failure of its command.
    static constexpr std::uint8_t kFailureBit = 0x80;

    /// Byte 1 of a day answer: no data for that day.
    static constexpr std::uint8_t kDayWithoutData = 0xFF;
    /// Byte 1 of a day answer: one quarter-hour frame.
    static constexpr std::uint8_t kDayFrame = 0xF0;
    /// Byte 1 of a heart-rate history answer: more packets follow.
    static constexpr std::uint8_t kMorePackets = 0x64;
    /// Byte 1 of a heart-rate history answer: the last packet.
    static constexpr std::uint8_t kLastPacket = 0xFF;

    /// The answer code of `code`'s failure.
    static constexpr std::uint8_t failed(std::uint8_t code) { return static_cast<std::uint8_t>(code | kFailureBit); }
};

}  // namespace halvora
