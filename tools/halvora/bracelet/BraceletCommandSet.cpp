// The text-command bracelet's subcommands: how they read from the command line.
#include "BraceletCommands.hpp"
#include "CommandSet.hpp"

namespace halvora::cli {

namespace {

void addFlagOption(CLI::App* command, const char* name, std::optional<int>& value, const char* what) {
    command->add_option(name, value, what)->check(CLI::Range(0, 1));
}

CLI::App* addSettings(CLI::App* bracelet, CommandSet& commands, const std::shared_ptr<double>& timeout) {
    auto settings = commands.keep<BraceletSettings>();
    auto* set = bracelet->add_subcommand("set", "change the bracelet's settings (several at once)");
    set->add_option("--height", settings->height, "the user's height in cm");
    set->add_option("--weight", settings->weight, "the user's weight in kg");
    set->add_option("--goal", settings->goal, "the daily step goal");
    set->add_option("--date", settings->date, "the bracelet's clock: now, or \"yyyy-MM-dd HH:mm\" (local time)");
    set->add_option("--units", settings->units, "the distance unit code (1 is the bracelet's usual)");
    set->add_option("--alarm", settings->alarms,
                    "N,DAYS,HH:MM or N,off (N 1 or 2; DAYS mon+wed, daily, weekdays, weekend or none); repeatable");
    set->add_option("--sedentary", settings->sedentary, "the sedentary reminder: MINUTES,HH:MM,HH:MM or off");
    addFlagOption(set, "--find-phone", settings->findPhone, "1 lets the bracelet find the phone, 0 not");
    addFlagOption(set, "--anti-lost", settings->antiLost, "1 switches the anti-loss alert on, 0 off");
    addFlagOption(set, "--raise-hand", settings->raiseHand, "1 switches raise-to-wake on, 0 off");
    addFlagOption(set, "--hr-monitor", settings->hrMonitor, "1 switches heart-rate monitoring on, 0 off");
    set->add_option("--ancs", settings->ancs, "notification source values, summed into the bracelet's mask")
        ->delimiter(',');
    set->add_option("--text", settings->text, "a text to show on the display");
    addTimeout(set, *timeout);
    commands.add(set, [settings, timeout](Session& s) { return runBraceletSet(s, *settings, *timeout); });
    return set;
}

}  // namespace

void addBraceletCommands(CLI::App& app, CommandSet& commands) {
    auto timeout = commands.keep<double>(30);
    auto* bracelet = app.add_subcommand("bracelet", "the text-command bracelet (kind 1)");
    bracelet->require_subcommand(1);
    bracelet->fallthrough();

    const auto simple = [&](const char* name, const char* what, int (*run)(Session&, double)) {
        auto* command = bracelet->add_subcommand(name, what);
        addTimeout(command, *timeout);
        commands.add(command, [run, timeout](Session& s) { return run(s, *timeout); });
    };
    simple("steps", "the current step count, distance and calories", runBraceletSteps);
    simple("heart", "measure the heart rate", runBraceletHeart);
    simple("battery", "the battery level", runBraceletBattery);
    simple("version", "the firmware version", runBraceletVersion);
    simple("find", "make the bracelet signal itself", runBraceletFind);

    auto csv = commands.keep<std::optional<std::string>>();
    auto* sync = bracelet->add_subcommand("sync", "download the stored steps, sleep and heart-rate history");
    sync->add_option("--csv", *csv, "also write the records to this CSV file");
    addTimeout(sync, *timeout);
    commands.add(sync, [csv, timeout](Session& s) { return runBraceletSync(s, *csv, *timeout); });

    addSettings(bracelet, commands, timeout);
}

}  // namespace halvora::cli
