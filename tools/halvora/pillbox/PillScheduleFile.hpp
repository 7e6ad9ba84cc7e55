#pragma once

#include <string>
#include <vector>

namespace halvora::cli {

/// One alarm of a schedule file: a wall-clock time on a calendar day, as the box rings it, and the
/// compartment colour.
struct PillScheduleEntry {
    int year = 0;
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    int color = 0;
    /// Where the alarm stands in its file, for messages: "week.csv:4" or "week.json: [3]".
    std::string where;
};

/// The schedule files `halvora pillbox schedule set` takes, read and checked before anything is sent to the
/// box.
///
/// Three forms, told apart by their first character:
///   - a JSON list: [{"date": "2026-11-20", "time": "08:00", "color": 1}, ...];
///   - JSON lines: one such object per line (what `halvora pillbox schedule get --json` prints);
///   - CSV: a header row naming the columns date, time and color (in any order), then one alarm a row.
///
/// Checks, each failing with CliError(ExitBadArguments) and a one-line reason that names the file and the
/// alarm's line (CSV, JSON lines) or index (JSON list): the date is a real day "YYYY-MM-DD" from 2000 to
/// 2127 (what the box's packed day holds: seven bits of years after 2000), the time "HH:MM" from 00:00 to
/// 23:59, the colour an integer from 1 to 5 (the box's five compartments), no other fields, at least one
/// alarm, and at most ten alarms on one day (the box's frames carry ten slots a day).
class PillScheduleFile {
public:
    /// The box's compartment colours.
    static constexpr int kLowestColor = 1;
    static constexpr int kHighestColor = 5;
    /// Alarms one day of the box holds.
    static constexpr int kMaxAlarmsPerDay = 10;
    /// The years the box's packed day holds.
    static constexpr int kFirstYear = 2000;
    static constexpr int kLastYear = 2127;

    /// Reads and checks the file at `path`.
    static std::vector<PillScheduleEntry> read(const std::string& path);
    /// The same from text; `origin` names it in messages.
    static std::vector<PillScheduleEntry> fromText(const std::string& text, const std::string& origin);
};

}  // namespace halvora::cli
