#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "lab/Devices/Bracelet/BraceletTime.hpp"

namespace halvora::lab {

/// What a history record holds; the enumerators carry the data-type number of the packages that carry them.
enum class BraceletRecordType : int {
    Steps = 0,      ///< steps counted in an hour
    HeartRate = 3,  ///< a heart rate, beats per minute
    Sleep = 7,      ///< a 10-minute slot of sleep
};

/// One stored reading of the bracelet: what, when (local wall-clock time) and how much. In a package it
/// becomes one 6-byte item: flag and time in bytes 0 to 3, the value big-endian in bytes 4 and 5.
struct BraceletRecord {
    /// The sleep value of a slot of deep sleep; any other sleep value is light sleep.
    static constexpr int kDeepSleep = 11;
    /// The sleep value the lab uses for light sleep.
    static constexpr int kLightSleep = 12;
    /// The flag of a sleep item that carries a sleep record (2 does too; 0 and 3 carry none).
    static constexpr int kSleepFlag = 1;

    BraceletRecordType type = BraceletRecordType::Steps;  ///< what the record holds
    BraceletTime at;                                      ///< when, in local wall-clock time
    int value = 0;                                        ///< steps, sleep value or beats per minute (16 bits)
    int flag = 0;                                         ///< the item's 2-bit flag (sleep: 1 or 2)

    /// Steps counted in the hour that starts at `at`.
    static BraceletRecord steps(BraceletTime at, int steps) { return {BraceletRecordType::Steps, at, steps, 0}; }
    /// A sleep slot starting at `at`: deep (value 11) or light.
    static BraceletRecord sleep(BraceletTime at, bool deep, int flag = kSleepFlag) {
        return {BraceletRecordType::Sleep, at, deep ? kDeepSleep : kLightSleep, flag};
    }
    /// A heart rate taken at `at`.
    static BraceletRecord heartRate(BraceletTime at, int bpm) { return {BraceletRecordType::HeartRate, at, bpm, 0}; }

    /// "steps", "sleep" or "heart".
    static std::string typeName(BraceletRecordType type);
    /// The type of "steps", "sleep" or "heart"; nothing for any other name.
    static std::optional<BraceletRecordType> typeFromName(const std::string& name);

    /// Records compare by every field (type first, then time).
    friend bool operator==(const BraceletRecord&, const BraceletRecord&) = default;
};

}  // namespace halvora::lab
