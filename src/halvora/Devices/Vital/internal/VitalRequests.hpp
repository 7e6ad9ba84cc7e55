#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "halvora/Core/Date.hpp"
#include "halvora/Devices/Vital/HalvoraSDKUser.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalActivityPeriod.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalAlarm.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalParams.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalPeriod.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalWeather.hpp"

namespace halvora {

/// The Vital bracelet's request frames, one builder per request: 16 bytes with the checksum in byte 15,
/// except the weather (the first 16 bytes of a 41-byte layout) and the alarms (39-byte blocks and 23 FF).
/// Arguments are not checked here (VitalArgumentChecks does that); numbers are cut to their fields.
class VitalRequests {
public:
    VitalRequests() = delete;

    /// Bytes of one alarm block.
    static constexpr std::size_t kAlarmBlockLength = 39;
    /// The weather layout's full length (only its first 16 bytes are sent).
    static constexpr std::size_t kWeatherLayoutLength = 41;
    /// Bytes of the location text the weather layout holds at most.
    static constexpr std::size_t kMaxLocationLength = 32;

    /// 0x01: BCD year (two digits), month, day, hour, minute, second of `date` in local time.
    static std::vector<std::uint8_t> setTime(Date date);
    /// 0x0B: the goal, 32-bit little-endian.
    static std::vector<std::uint8_t> setStepGoal(std::uint32_t goal);
    /// 0x02: sex (0 for 1, else 1), age, height and weight (255 from 255 up), the further byte.
    static std::vector<std::uint8_t> setUserInformation(const HalvoraSDKUser& user, std::int32_t age);
    /// 0x03: the first parameter frame (flags in their two encodings, swapped notification bytes, ...).
    static std::vector<std::uint8_t> setDeviceParameters(const HalvoraSDKVitalParams& parameters);
    /// 0x06: the second parameter frame.
    static std::vector<std::uint8_t> setDeviceNewParameters(const HalvoraSDKVitalParams& parameters);
    /// 0x25: BCD window, week byte, reminder period, minimum steps, motion flag.
    static std::vector<std::uint8_t> setActivityPeriod(const HalvoraSDKVitalActivityPeriod& period);
    /// 0x2A: mode; window and week byte unless off; interval in mode 2; type code in byte 9.
    static std::vector<std::uint8_t> setAutomaticDetection(const HalvoraSDKVitalPeriod& period);
    /// 0x2B: the type code of `type`.
    static std::vector<std::uint8_t> getAutomaticDetection(std::int32_t type);
    /// 0x28: the quantity code and the enable byte.
    static std::vector<std::uint8_t> setHealthMeasurementControl(std::int32_t quantity, bool enable);
    /// 0x09: step counting and temperature switches.
    static std::vector<std::uint8_t> setRealtimeStepCounting(bool steps, bool temperature);
    /// 0x19: enable, mode, the level (mode 6 only), the time period.
    static std::vector<std::uint8_t> sportModeControl(std::int32_t enable, std::int32_t sportMode, std::int32_t level,
                                                      std::int32_t timePeriod);
    /// 0x17: distance (32-bit little-endian), whole minutes and remaining seconds of the pace, GPS strength.
    static std::vector<std::uint8_t> sportHeartbeat(std::uint32_t distance, std::int32_t paceSeconds,
                                                    std::int32_t gpsStrength);
    /// 0xB0: 0x80 to show, 0x81 to hide.
    static std::vector<std::uint8_t> showQRCode(bool show);
    /// 0x15: the first 16 bytes of the 41-byte weather layout.
    static std::vector<std::uint8_t> setWeather(const HalvoraSDKVitalWeather& weather);
    /// The whole 41-byte weather layout, checksum in byte 40.
    static std::vector<std::uint8_t> weatherLayout(const HalvoraSDKVitalWeather& weather);
    /// 0x23: one 39-byte block per alarm, then 23 FF.
    static std::vector<std::uint8_t> setAlarms(const std::vector<HalvoraSDKVitalAlarm>& alarms);
    /// The block of alarm `index` of `total`.
    static std::vector<std::uint8_t> getAlarmBytesWithIndex(std::size_t index, std::size_t total,
                                                            const HalvoraSDKVitalAlarm& alarm);
    /// A history request: `code` with the low byte of `first` in byte 1.
    static std::vector<std::uint8_t> history(std::uint8_t code, std::int32_t first);
    /// 0x54: the low byte of `first` in byte 1 and, when given, the low 16 bits of `record` in bytes 2 and 3
    /// little-endian.
    static std::vector<std::uint8_t> automaticHeartRate(std::int32_t first, std::optional<std::int32_t> record);
    /// A request of `code` alone (the reads).
    static std::vector<std::uint8_t> plain(std::uint8_t code);

    /// Bit 0 Monday ... bit 6 Sunday.
    static std::uint8_t getWeekByte(const HalvoraSDKPeriod& period);
    /// The same bits of an alarm's days.
    static std::uint8_t getWeekByteAlarm(const HalvoraSDKBraceletAlarm& alarm);
    /// The bracelet's code of a schedule quantity: 0 is 1, 1 is 3, 2 is 2; any other 0.
    static std::uint8_t typeCode(std::int32_t type);
    /// The bracelet's code of a measured quantity: 0 is 2, 2 is 3, 3 is 1; any other 0.
    static std::uint8_t quantityCode(std::int32_t quantity);
};

}  // namespace halvora
