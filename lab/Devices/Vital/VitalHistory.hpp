#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "lab/Devices/Bracelet/BraceletTime.hpp"

namespace halvora::lab {

/// What the virtual Vital bracelet has stored: every kind of history the phone can page through, each kind
/// kept in time order as the bracelet sends it. Values are the raw numbers the bracelet writes (hundredths,
/// tenths, minutes) so that a script says exactly which bytes go out.
struct VitalHistory {
    /// One day's totals (0x51).
    struct DayTotal {
        BraceletTime date;                  ///< the day (its time of day is not sent)
        std::uint32_t steps = 0;            ///< steps of the day
        std::uint32_t activeMinutes = 0;    ///< minutes with steps
        std::uint32_t distance = 0;         ///< hundredths of a kilometre
        std::uint32_t calories = 0;         ///< hundredths of a kilocalorie
        std::uint32_t exerciseMinutes = 0;  ///< minutes of brisk walking or sport
    };
    /// Ten minutes of steps (0x52).
    struct StepBlock {
        BraceletTime start;                        ///< the first minute
        std::uint32_t steps = 0;                   ///< steps of the ten minutes (two bytes are sent)
        std::uint32_t calories = 0;                ///< hundredths of a kilocalorie (two bytes are sent)
        std::uint32_t distance = 0;                ///< hundredths of a kilometre (two bytes are sent)
        std::array<std::uint8_t, 10> perMinute{};  ///< steps of each minute
    };
    /// A stretch of a night (0x53): one value per minute, 0 no data, 1 deep sleep, any other value light
    /// sleep (the generator uses 2).
    struct SleepBlock {
        BraceletTime start;                 ///< the first minute
        std::vector<std::uint8_t> minutes;  ///< one value per minute
    };
    /// A single value at a time: a spot or automatic heart rate (beats per minute), blood oxygen (percent)
    /// or temperature (tenths of a degree Celsius).
    struct Reading {
        BraceletTime time;        ///< when it was measured
        std::uint32_t value = 0;  ///< the value (one byte is sent, two for a temperature)
    };
    /// Fifteen automatic heart-rate samples, 15 minutes apart (0x54); a sample of 0 is a missed one.
    struct HeartSeries {
        BraceletTime start;                      ///< the first sample
        std::array<std::uint8_t, 15> samples{};  ///< beats per minute
    };
    /// An HRV measurement with its blood-pressure estimate (0x56); every value is one byte.
    struct HrvReading {
        BraceletTime time;               ///< when it was measured
        std::uint8_t hrv = 0;            ///< heart-rate variability, milliseconds
        std::uint8_t vascularAging = 0;  ///< vascular age estimate
        std::uint8_t heartRate = 0;      ///< beats per minute
        std::uint8_t fatigue = 0;        ///< fatigue score
        std::uint8_t systolic = 0;       ///< mmHg
        std::uint8_t diastolic = 0;      ///< mmHg
    };
    /// A sport session (0x5C).
    struct SportSession {
        BraceletTime start;                 ///< when it began
        std::uint8_t heartRate = 0;         ///< mean heart rate, beats per minute
        std::uint16_t steps = 0;            ///< steps
        std::uint16_t calories = 0;         ///< kilocalories
        std::uint16_t distance = 0;         ///< metres
        std::uint32_t activeSeconds = 0;    ///< time moving
        std::uint32_t exerciseSeconds = 0;  ///< length of the session
        std::uint8_t sportType = 0;         ///< the bracelet's sport number
    };

    std::vector<DayTotal> totals;                  ///< 0x51
    std::vector<StepBlock> steps;                  ///< 0x52
    std::vector<SleepBlock> sleep;                 ///< 0x53
    std::vector<HeartSeries> automaticHeartRates;  ///< 0x54
    std::vector<Reading> heartRates;               ///< 0x55 (spot)
    std::vector<HrvReading> hrv;                   ///< 0x56
    std::vector<SportSession> sports;              ///< 0x5C
    std::vector<Reading> bloodOxygen;              ///< 0x60 (spot)
    std::vector<Reading> temperatures;             ///< 0x62 (spot)
    std::vector<Reading> automaticTemperatures;    ///< 0x65
    std::vector<Reading> automaticBloodOxygen;     ///< 0x66
};

}  // namespace halvora::lab
