#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "lab/Devices/Bracelet/BraceletTime.hpp"

namespace halvora::lab {

/// What the Vital bracelet keeps of the phone's setting commands, with the values a new bracelet starts
/// with. Values are kept as the frames carried them (BCD times decoded), so that they read back unchanged.
struct VitalSettings {
    /// The wearer, as 0x02 sets it (bytes 1 to 5) and 0x42 reads it back.
    struct User {
        int sex = 0;       ///< byte 1 as sent (the phone sends 0 for its sex value 1, else 1)
        int age = 30;      ///< byte 2, years
        int height = 170;  ///< byte 3, cm (255: the phone's value did not fit)
        int weight = 65;   ///< byte 4, kg (255: the phone's value did not fit)
        int extra = 0;     ///< byte 5, the further value
    };

    /// The device parameters, as the two-step exchange 0x03 then 0x06 sets them (the bytes as sent: true
    /// flags are 0x80 in bytes 1, 2 and 4 and 0x81 in bytes 3, 5 and 6).
    struct Parameters {
        /// Bytes 1 to 6: distance unit, hour display, wrist sense, temperature unit, night mode, ANCS.
        std::array<std::uint8_t, 6> flags{0x80, 0x80, 0x81, 0x80, 0x80, 0x80};
        std::uint8_t notificationsSecond = 0;  ///< byte 7: the second notification byte
        std::uint8_t notificationsFirst = 0;   ///< byte 8: the first notification byte
        std::uint8_t heartRateBase = 0xBC;     ///< byte 9: the heart-rate base | 0x80 (60 as sent)
        std::uint8_t brightness = 0x8A;        ///< byte 11: the brightness ^ 0x80 (10 as sent)
        std::uint8_t dial = 0x80;              ///< byte 12: the dial ^ 0x80 (dial 0 as sent)
        std::uint8_t language = 0x81;          ///< byte 14: 0x81 for the first language, else 0x80
        std::uint8_t further = 0x81;           ///< byte 1 of the 0x06 frame
    };

    /// A time window with its week days, as 0x25 and 0x2A carry it (BCD on the wire).
    struct Window {
        int startHour = 0;    ///< start hour, 0 to 23
        int startMinute = 0;  ///< start minute
        int endHour = 23;     ///< end hour
        int endMinute = 59;   ///< end minute
        /// Bit 0 Monday, bit 1 Tuesday, ... bit 6 Sunday.
        std::uint8_t weekDays = 0x7F;
    };

    /// The exercise reminder, as 0x25 sets it and 0x26 reads it back.
    struct ActivityPeriod {
        Window window{9, 0, 18, 0, 0x1F};  ///< bytes 1 to 5
        int reminderPeriod = 60;           ///< byte 6, minutes
        int minimumSteps = 100;            ///< byte 7
        int motion = 1;                    ///< byte 8
    };

    /// An automatic measurement schedule for one quantity, as 0x2A sets it and 0x2B reads it back.
    struct Detection {
        int mode = 0;      ///< byte 1: 0 off, 1 within the window, 2 within the window at an interval
        Window window;     ///< bytes 2 to 6 (zeros when the phone sends mode 0)
        int interval = 0;  ///< bytes 7 and 8, minutes (mode 2)
    };

    /// The sport mode, as 0x19 sets it.
    struct SportMode {
        int enabled = 0;  ///< byte 1
        int mode = 0;     ///< byte 2
        int level = 0;    ///< byte 3
        int period = 0;   ///< byte 4
    };

    /// The last sport heartbeat the phone sent (0x17).
    struct SportHeartbeat {
        std::uint32_t distance = 0;  ///< bytes 1 to 4, little-endian
        int paceMinutes = 0;         ///< byte 5
        int paceSeconds = 0;         ///< byte 6
        int gpsStrength = 0;         ///< byte 7
    };

    /// One alarm of the list 0x23 sets.
    struct Alarm {
        int index = 0;              ///< byte 2 of its block
        int enabled = 0;            ///< byte 3
        int type = 0;               ///< byte 4
        int hour = 0;               ///< byte 5, BCD on the wire
        int minute = 0;             ///< byte 6, BCD on the wire
        std::uint8_t weekDays = 0;  ///< byte 7, bit 0 Monday ... bit 6 Sunday
        std::string text;           ///< byte 8 its length, then the characters (the phone sends "12345")
    };

    /// The weather, as 0x15 sets it (the phone's 16 bytes carry at most the location's first 8 characters).
    struct Weather {
        int status = 0;          ///< byte 1
        int temperature = 0;     ///< byte 2, signed
        int maxTemperature = 0;  ///< byte 3, signed
        int minTemperature = 0;  ///< byte 4, signed
        int airQuality = 0;      ///< bytes 5 and 6, little-endian
        int locationLength = 0;  ///< byte 7: the length the phone announced
        std::string location;    ///< the characters that arrived (bytes 8 to 15, up to the length)
    };

    /// The clock as it reads now: where the phone (or the script) set it plus the time since, else the
    /// lab's local time.
    BraceletTime clock;
    bool clockSetByPhone = false;    ///< whether the phone has set the clock (0x01)
    std::uint32_t stepGoal = 10000;  ///< 0x0B, steps a day
    User user;                       ///< 0x02
    Parameters parameters;           ///< 0x03 then 0x06
    bool parametersPending = false;  ///< a first half (0x03) arrived and waits for its 0x06
    ActivityPeriod activity;         ///< 0x25
    /// 0x2A, by the type code of the quantity (byte 9; 1, 2 and 3 from the phone); codes never set read
    /// as a Detection{}.
    std::map<int, Detection> detection;
    /// 0x28, by quantity code (byte 1): the last enable byte (byte 2).
    std::map<int, int> measurements;
    SportMode sport;                               ///< 0x19
    std::optional<SportHeartbeat> sportHeartbeat;  ///< 0x17
    int heartbeatAnswers = 0;          ///< 0x18 frames the phone wrote (answers to the bracelet's heartbeats)
    bool qrShown = false;              ///< 0xB0: 0x80 shows, 0x81 hides
    std::vector<Alarm> alarms;         ///< 0x23, in list order
    std::optional<Weather> weather;    ///< 0x15
    bool realTime = false;             ///< real-time data on (0x09 byte 1 = 1, until 0x09 byte 1 = 0 or the link's end)
    bool realTimeTemperature = false;  ///< byte 2 of the last 0x09 that started them
};

}  // namespace halvora::lab
