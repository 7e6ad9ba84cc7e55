#pragma once

#include <array>
#include <cstdint>

namespace halvora::lab {

/// One quarter hour of a stored day, as one history frame carries it: either activity (calories, steps and
/// distance, each sent as 16 bits little-endian) or sleep (eight movement counts).
struct RM830Quarter {
    /// Quarters in a day: index 0 is 00:00, index 95 is 23:45.
    static constexpr int kPerDay = 96;
    /// The movement counts of a sleep quarter.
    static constexpr std::size_t kMovementBytes = 8;

    /// What the quarter holds (byte 6 of its frame: 0x00 activity, 0xFF sleep).
    enum class Kind {
        Activity,  ///< awake: calories, steps and distance
        Sleep,     ///< asleep: movement counts
    };

    int index = 0;                                        ///< 0 to 95
    Kind kind = Kind::Activity;                           ///< activity or sleep
    int calories = 0;                                     ///< activity: hundredths of a kilocalorie, 0 to 65535
    int steps = 0;                                        ///< activity: steps, 0 to 65535
    int distance = 0;                                     ///< activity: hundredths of a kilometre, 0 to 65535
    std::array<std::uint8_t, kMovementBytes> movement{};  ///< sleep: movement counts (a sum above 31 is restless)

    /// An activity quarter.
    static RM830Quarter activity(int index, int steps, int calories, int distance) {
        return {index, Kind::Activity, calories, steps, distance, {}};
    }
    /// A sleep quarter.
    static RM830Quarter sleep(int index, const std::array<std::uint8_t, kMovementBytes>& movement) {
        return {index, Kind::Sleep, 0, 0, 0, movement};
    }

    /// Quarters compare by every field.
    friend bool operator==(const RM830Quarter&, const RM830Quarter&) = default;
};

}  // namespace halvora::lab
