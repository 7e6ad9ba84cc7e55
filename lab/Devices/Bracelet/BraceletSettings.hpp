#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "lab/Devices/Bracelet/BraceletTime.hpp"

namespace halvora::lab {

/// What the bracelet keeps of the phone's setting commands, with the values a new bracelet starts with.
struct BraceletSettings {
    /// One alarm, as "AT+ALARM=" (alarm 1) or "AT+ALARM2=" (alarm 2) sets it: "<on>,<mode>,<days>,<HHmm>".
    struct Alarm {
        bool enabled = false;  ///< the first field: 1 on, 0 off
        /// The second field, two digits the bracelet keeps as they came ("00" from the phone).
        std::string mode = "00";
        /// The day field's first seven characters: Sunday, Monday, ..., Saturday.
        std::array<bool, 7> days{};
        /// The day field's last character, kept as it came ("1" from the phone).
        bool dayFieldEnd = false;
        int hour = 0;    ///< 0 to 23
        int minute = 0;  ///< 0 to 59
    };

    /// The sedentary reminder, as "AT+SIT=<interval>,<HHmm from>,<HHmm to>,<on>" sets it.
    struct Sedentary {
        int interval = 0;      ///< minutes, three digits
        int startHour = 0;     ///< the reminder's first hour, 0 to 23
        int startMinute = 0;   ///< 0 to 59
        int endHour = 0;       ///< the reminder's last hour, 0 to 23
        int endMinute = 0;     ///< 0 to 59
        bool enabled = false;  ///< the last field: 1 on, 0 off
    };

    int height = 170;                    ///< cm ("AT+HEIGHT")
    int weight = 65;                     ///< kg ("AT+WEIGHT")
    int stepGoal = 8000;                 ///< steps a day ("AT+DEST")
    int distanceUnit = 0;                ///< "AT+UNITS" (the phone sends 1 after connecting)
    std::uint32_t notificationMask = 0;  ///< which phone notifications the bracelet shows ("AT+ANCS", hexadecimal)
    bool raiseToWake = false;            ///< "AT+HANDSUP"
    bool antiLost = false;               ///< "AT+ANTI_LOST"
    bool findPhone = false;              ///< "AT+FINDPHONE"
    bool heartRateMonitoring = false;    ///< "AT+HRMONITOR"
    std::optional<int> phoneMode;        ///< the "BT+IOS" value, once the phone sent one
    std::array<Alarm, 2> alarms{};       ///< alarm 1 ("AT+ALARM") and alarm 2 ("AT+ALARM2")
    Sedentary sedentary;                 ///< "AT+SIT"
    std::string displayText;             ///< the last "AT+NAME" text
    /// The bracelet's clock: the wall-clock time of the last "AT+DT" plus the time since (nothing before
    /// the phone set it).
    std::optional<BraceletTime> clock;
    bool exerciseRunning = false;   ///< "AT+RUN=1" until "AT+RUN=0"
    bool autoStepsRunning = false;  ///< "AT+TOPACE=1" until "AT+TOPACE=0"
    int findDeviceRequests = 0;     ///< "AT+FINDBT" received (the bracelet vibrates)
    int stepStores = 0;             ///< "AT+STEPSTORE" received
    int activations = 0;            ///< "AT+ACT" received
    int bondRequests = 0;           ///< "AT+BOND" received
    int powerOffs = 0;              ///< "AT+OFF" received
};

}  // namespace halvora::lab
