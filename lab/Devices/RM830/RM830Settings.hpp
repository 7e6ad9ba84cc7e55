#pragma once

#include <cstdint>
#include <optional>

#include "lab/Devices/Bracelet/BraceletTime.hpp"

namespace halvora::lab {

/// What the bracelet keeps of the phone's setting commands, with the values a new bracelet starts with.
/// Values are kept as the frames carried them.
struct RM830Settings {
    /// The wearer, as 0x02 sets it (bytes 1 to 5) and 0x42 reads it back.
    struct PersonalData {
        int gender = 1;    ///< byte 1 as sent (the phone sends 1 for its gender value 0, else 0)
        int age = 30;      ///< years
        int height = 170;  ///< cm (0xFF: the phone's value did not fit)
        int weight = 65;   ///< kg (0xFF: the phone's value did not fit)
        int stride = 70;   ///< cm; the distance real-time steps add
    };

    /// The automatic heart-rate monitoring window, as 0x2A sets it.
    struct MonitoringWindow {
        bool enabled = false;  ///< byte 1
        int startHour = 0;     ///< byte 2, BCD
        int startMinute = 0;   ///< byte 3, BCD
        int endHour = 23;      ///< byte 4, BCD
        int endMinute = 59;    ///< byte 5, BCD
        /// Byte 6: bit 0 Sunday, bit 1 Monday, ... bit 6 Saturday.
        std::uint8_t days = 0x7F;
    };

    /// The clock as it reads now: where the phone (or the script) set it plus the time since, else the
    /// lab's local time.
    BraceletTime clock;
    /// Whether the phone has set the clock (0x01).
    bool clockSetByPhone = false;
    /// Byte 1 of the last time-format setting (0x37); nothing before the first.
    std::optional<int> timeFormat;
    PersonalData personal;           ///< 0x02
    int stepGoal = 8000;             ///< 0x0B, steps a day (24 bits)
    bool monitoring = false;         ///< 0x19: automatic heart-rate monitoring on
    MonitoringWindow window;         ///< 0x2A
    bool realTimeHeartRate = false;  ///< 0x2C 1 until 0x2C 0 (or the link's end)
    bool realTimeSteps = false;      ///< 0x09 until 0x0A (or the link's end)
    int updateModeRequests = 0;      ///< 0x47 received
};

}  // namespace halvora::lab
