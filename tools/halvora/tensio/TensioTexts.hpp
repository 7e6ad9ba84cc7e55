#pragma once

#include <optional>
#include <string>

namespace halvora::cli {

/// Reads the information texts the bracelet's driver hands over: the clock, the basic information and one
/// window of the ambulatory schedule. A text that does not read as expected gives nothing.
class TensioTexts {
public:
    TensioTexts() = delete;

    /// The start of the clock text.
    static constexpr const char* kClockPrefix = "TensioBracelet time:";
    /// The start of the basic information text.
    static constexpr const char* kBasicInfoPrefix = "Battery level:";
    /// The start of a schedule window text.
    static constexpr const char* kWindowPrefix = "Interval ";

    /// The bracelet's clock (its own wall-clock time; the bracelet keeps a two-digit year).
    struct Clock {
        int year = 0;  ///< 2000 + the bracelet's two-digit year
        int month = 0;
        int day = 0;
        int hour = 0;
        int minute = 0;
        int second = 0;

        /// "2026-11-20 08:00:05".
        std::string text() const;
    };

    /// The bracelet's basic information.
    struct BasicInfo {
        int battery = 0;          ///< percent
        bool ambulatory = false;  ///< ambulatory (scheduled) measuring switched on
        std::string unit;         ///< "mmHg" or "kPa"
        int hold = 0;             ///< the hold setting
        int stored = 0;           ///< measurements in the memory
    };

    /// One window of the ambulatory schedule; a bracelet without a schedule reports one window of zeros,
    /// number 0 of 0.
    struct Window {
        std::string startTime;       ///< "08:00"
        std::string endTime;         ///< "12:30"
        int serialNo = 0;            ///< the window's number, from 1
        int totalTimeIntervals = 0;  ///< how many windows the schedule holds
        int intervalMinutes = 0;     ///< the measuring period

        /// Whether it is the schedule's last window (which ends the request).
        bool last() const { return serialNo == totalTimeIntervals; }
        /// Whether it stands for an empty schedule.
        bool empty() const { return totalTimeIntervals == 0; }
    };

    /// "TensioBracelet time: 26-11-20 8:0:5".
    static std::optional<Clock> clock(const std::string& text);
    /// "Battery level: 76\nABPM: 0 - OFF\nUnit: 0 - mmHg\nHold: 0\nTotal saved blood pressure: 3\n".
    static std::optional<BasicInfo> basicInfo(const std::string& text);
    /// "Interval startTime 08:00\nendTime 12:00\nserialNo 1\ntotalTimeIntervals 2\nintervalMinutes 60".
    static std::optional<Window> window(const std::string& text);
};

}  // namespace halvora::cli
