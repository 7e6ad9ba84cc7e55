#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "halvora/Core/Date.hpp"
#include "halvora/Runtime/Task.hpp"
#include "lab/Devices/Bracelet/BraceletTime.hpp"

namespace halvora::lab {

/// A bracelet's own clock, as the lab's bracelets keep it: the lab's local time until something sets it,
/// then running on from where it was set. A clock set before the bracelet is in a radio (a script applied
/// early) stands still until the bracelet's first link, so that it reads as set when the phone first asks.
///
/// Not thread-safe: its owner guards it.
class DeviceClock {
public:
    /// The time the clock shows at monotonic time `now` (the lab's civil date `labDate` while never set).
    BraceletTime read(MonotonicTime now, Date labDate) const;
    /// Sets the clock to `time` at monotonic time `now`; with `waitForRadio` it stands still until linkUp().
    void set(const BraceletTime& time, MonotonicTime now, bool waitForRadio = false);
    /// A link came up at `now`: a clock waiting for its radio starts from where it was set.
    void linkUp(MonotonicTime now);
    /// The time of these fields, when they name a real calendar time (a real date, hour 0 to 23, minute and
    /// second 0 to 59).
    static std::optional<BraceletTime> realTime(int year, int month, int day, int hour, int minute, int second);
    /// The time a command carries in six BCD bytes from `first` (year - 2000, month, day, hour, minute,
    /// second), as the RM830 and the Vital bracelet are sent it; absent when a byte is no BCD number or the
    /// fields name no real time. `Command` reads byte i as BCD with `bcd(i)` (an optional int).
    template <typename Command>
    static std::optional<BraceletTime> bcdTime(const Command& command, std::size_t first) {
        constexpr int kCentury = 2000;
        const auto year = command.bcd(first);
        const auto month = command.bcd(first + 1);
        const auto day = command.bcd(first + 2);
        const auto hour = command.bcd(first + 3);
        const auto minute = command.bcd(first + 4);
        const auto second = command.bcd(first + 5);
        if (!(year && month && day && hour && minute && second)) return std::nullopt;
        return realTime(kCentury + *year, *month, *day, *hour, *minute, *second);
    }

private:
    std::optional<BraceletTime> anchor_;  // where the clock was set (by the phone or the script)
    MonotonicTime anchoredAt_{};
    bool waitsForRadio_ = false;
};

}  // namespace halvora::lab
