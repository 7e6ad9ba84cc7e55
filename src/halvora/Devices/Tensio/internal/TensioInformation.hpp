#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace halvora {

/// The wrist blood-pressure bracelet's ten-byte answers that become texts: its clock, one window of its
/// ambulatory schedule, its basic information. A frame shorter than ten bytes gives nothing.
class TensioInformation {
public:
    TensioInformation() = delete;

    /// Bytes of these answers.
    static constexpr std::size_t kLength = 10;

    /// One window of the schedule, as text, and whether it is the last one.
    struct Window {
        std::string text;  ///< "Interval startTime 08:00\nendTime 12:30\nserialNo 1\n..."
        bool last;         ///< its serial number equals the number of windows
    };

    /// "TensioBracelet time: %d-%d-%d %d:%d:%d" of b3..b8.
    static std::optional<std::string> clock(std::span<const std::uint8_t> frame);
    /// "Interval startTime HH:MM\nendTime HH:MM\nserialNo %d\ntotalTimeIntervals %d\nintervalMinutes %d": start
    /// b3:b4, end b5:b6; of b7 and b8, b8 is the period when it is one the bracelet uses (isPeriod) and b7 the
    /// serial byte, otherwise b7 is the period and b8 the serial byte; serialNo is the serial byte's high nibble,
    /// totalTimeIntervals its low nibble.
    static std::optional<Window> scheduleWindow(std::span<const std::uint8_t> frame);
    /// "Battery level: %d\nABPM: %d - ON|OFF\nUnit: %d - mmHg|kPa\nHold: %d\nTotal saved blood pressure: %d\n"
    /// of b3, b4's high nibble (ON when not 0), b5's high nibble (mmHg when b5 is below 16), b5's low nibble
    /// and b7.
    static std::optional<std::string> basicInfo(std::span<const std::uint8_t> frame);
    /// Whether a byte is one of the periods the bracelet uses: 0, 30, 60, 90, 120, 136, 166, 196, 226.
    static bool isPeriod(std::uint8_t value);
};

}  // namespace halvora
