// The pill box's subcommands: how they read from the command line.
#include "CommandSet.hpp"
#include "PillBoxCommands.hpp"

namespace halvora::cli {

namespace {

using Run = int (*)(Session&, double);
using RunWithValue = int (*)(Session&, int, double);
using Timeout = std::shared_ptr<double>;

void addSimple(CLI::App* parent, CommandSet& commands, const Timeout& timeout, const char* name, const char* what,
               Run run) {
    auto* command = parent->add_subcommand(name, what);
    addTimeout(command, *timeout);
    commands.add(command, [run, timeout](Session& s) { return run(s, *timeout); });
}

void addValue(CLI::App* parent, CommandSet& commands, const Timeout& timeout, const char* name, const char* what,
              RunWithValue run) {
    auto value = commands.keep<int>();
    auto* command = parent->add_subcommand(name, what);
    command->add_option("N", *value, "0 to 255, in the box's own units (one byte)")
        ->required()
        ->check(CLI::Range(0, 255));
    addTimeout(command, *timeout);
    commands.add(command, [run, value, timeout](Session& s) { return run(s, *value, *timeout); });
}

void addSyncStatus(CLI::App* pillbox, CommandSet& commands, const Timeout& timeout) {
    auto mark = commands.keep<bool>(false);
    auto* command = pillbox->add_subcommand("sync-status", "when the box was last synchronised");
    command->add_flag("--mark", *mark, "first mark a successful synchronisation now");
    addTimeout(command, *timeout);
    commands.add(command, [mark, timeout](Session& s) { return runPillBoxSyncStatus(s, *mark, *timeout); });
}

void addSet(CLI::App* pillbox, CommandSet& commands, const Timeout& timeout) {
    auto settings = commands.keep<PillBoxSettings>();
    auto* set = pillbox->add_subcommand("set", "several settings in one connection");
    set->add_option("--zone", settings->zone, "the box's zone, +HH:MM or -HH:MM (west of UTC: whole hours)");
    set->add_flag("--time", settings->time, "set the box's clock to the phone's");
    set->add_option("--duration", settings->duration, "alarm duration, 0 to 255")->check(CLI::Range(0, 255));
    set->add_option("--confirmation", settings->confirmation, "confirmation time, 0 to 255")->check(CLI::Range(0, 255));
    set->add_flag("--sync", settings->markSynchronized, "mark a successful synchronisation");
    addTimeout(set, *timeout);
    commands.add(set, [settings, timeout](Session& s) { return runPillBoxSet(s, *settings, *timeout); });
}

void addSchedule(CLI::App* pillbox, CommandSet& commands, const Timeout& timeout) {
    auto* schedule = pillbox->add_subcommand("schedule", "the alarms the box rings");
    schedule->require_subcommand(1);
    schedule->fallthrough();

    auto csv = commands.keep<std::optional<std::string>>();
    auto* get = schedule->add_subcommand("get", "the alarms the box holds (--json: one alarm a line)");
    get->add_option("--csv", *csv, "also write them to this CSV file (a schedule file)");
    addTimeout(get, *timeout);
    commands.add(get, [csv, timeout](Session& s) { return runPillBoxScheduleGet(s, *csv, *timeout); });

    auto file = commands.keep<std::string>();
    auto* set = schedule->add_subcommand("set", "replace the box's alarms with a file's, then read them back");
    set->add_option("FILE", *file, "a JSON list, JSON lines or CSV of date, time and color")->required();
    set->footer(
        "FILE: [{\"date\": \"2026-11-20\", \"time\": \"08:00\", \"color\": 1}, ...], the same objects one a line, "
        "or CSV with a header row date,time,color. Colours 1 to 5, at most 10 alarms a day; a bad file sends "
        "nothing (exit 2).");
    addTimeout(set, *timeout);
    commands.add(set, [file, timeout](Session& s) { return runPillBoxScheduleSet(s, *file, *timeout); });
}

}  // namespace

void addPillBoxCommands(CLI::App& app, CommandSet& commands) {
    auto timeout = commands.keep<double>(30);
    auto* pillbox = app.add_subcommand("pillbox", "the pill reminder box (kind 9)");
    pillbox->require_subcommand(1);
    pillbox->fallthrough();

    addSimple(pillbox, commands, timeout, "time", "the box's clock", runPillBoxTime);
    addSimple(pillbox, commands, timeout, "set-time", "set the box's clock to the phone's", runPillBoxSetTime);
    addSimple(pillbox, commands, timeout, "zone", "the box's zone, as it reports it", runPillBoxZone);
    addSimple(pillbox, commands, timeout, "battery", "the box's battery level", runPillBoxBattery);
    addSyncStatus(pillbox, commands, timeout);
    addValue(pillbox, commands, timeout, "duration", "how long an alarm rings", runPillBoxDuration);
    addValue(pillbox, commands, timeout, "confirmation", "how long the box waits for a dose to be confirmed",
             runPillBoxConfirmation);
    addSimple(pillbox, commands, timeout, "clear-schedule", "empty the box's schedule", runPillBoxClearSchedule);
    addSimple(pillbox, commands, timeout, "clear-history", "empty the box's taken/missed history",
              runPillBoxClearHistory);
    addSet(pillbox, commands, timeout);
    addSchedule(pillbox, commands, timeout);

    auto csv = commands.keep<std::optional<std::string>>();
    auto* history = pillbox->add_subcommand("history", "the taken and missed doses, oldest first");
    history->add_option("--csv", *csv, "also write them to this CSV file");
    addTimeout(history, *timeout);
    commands.add(history, [csv, timeout](Session& s) { return runPillBoxHistory(s, *csv, *timeout); });
}

}  // namespace halvora::cli
