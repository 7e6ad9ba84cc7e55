// The RM830 bracelet's subcommands: how they read from the command line.
#include "CommandSet.hpp"
#include "RM830Commands.hpp"
#include "dfu/FirmwareUpdateCommand.hpp"

namespace halvora::cli {

namespace {

void addSettings(CLI::App* rm830, CommandSet& commands, const std::shared_ptr<double>& timeout) {
    auto settings = commands.keep<RM830Settings>();
    auto* set = rm830->add_subcommand("set", "change the bracelet's settings (several at once)");
    set->add_option("--time", settings->time, "the bracelet's clock: now, or \"yyyy-MM-dd HH:mm\" (local time)");
    set->add_option("--goal", settings->goal, "the daily step goal");
    set->add_option("--height", settings->height, "the user's height in cm (with --birthday)");
    set->add_option("--weight", settings->weight, "the user's weight in kg (with --birthday)");
    set->add_option("--gender", settings->gender, "0 male, 1 female (with --birthday)")->check(CLI::Range(0, 1));
    set->add_option("--birthday", settings->birthday, "the user's birthday, yyyy-MM-dd");
    addTimeout(set, *timeout);
    commands.add(set, [settings, timeout](Session& s) { return runRM830Set(s, *settings, *timeout); });
}

void addMonitoring(CLI::App* rm830, CommandSet& commands, const std::shared_ptr<double>& timeout) {
    auto monitoring = commands.keep<RM830Monitoring>();
    auto* command = rm830->add_subcommand("monitoring", "automatic heart-rate monitoring on or off");
    command->add_option("state", monitoring->state, "on or off")->required()->check(CLI::IsMember({"on", "off"}));
    command->add_option("--window", monitoring->window,
                        "monitor only from HH:MM-HH:MM (an HR1638 bracelet only), e.g. 08:00-20:30");
    command->add_option("--days", monitoring->days,
                        "the window's days: daily, weekdays, weekend or mon+wed+... (default daily)");
    addTimeout(command, *timeout);
    commands.add(command, [monitoring, timeout](Session& s) { return runRM830Monitoring(s, *monitoring, *timeout); });
}

}  // namespace

void addRM830Commands(CLI::App& app, CommandSet& commands) {
    auto timeout = commands.keep<double>(30);
    auto* rm830 = app.add_subcommand("rm830", "the RM830 bracelet (kind 6)");
    rm830->require_subcommand(1);
    rm830->fallthrough();

    auto* today = rm830->add_subcommand("today", "today's steps, calories and distance, and today's quarter hours");
    addTimeout(today, *timeout);
    commands.add(today, [timeout](Session& s) { return runRM830Today(s, *timeout); });

    auto days = commands.keep<int>(1);
    auto csv = commands.keep<std::optional<std::string>>();
    auto* history = rm830->add_subcommand("history", "the steps and sleep of one day, by quarter hour");
    history->add_option("DAYS", *days, "days back (1 is yesterday)")->required();
    history->add_option("--csv", *csv, "also write the records to this CSV file");
    addTimeout(history, *timeout);
    commands.add(history, [days, csv, timeout](Session& s) { return runRM830History(s, *days, *csv, *timeout); });

    auto seconds = commands.keep<std::optional<double>>();
    auto* heart = rm830->add_subcommand("heart", "the heart rate, live");
    heart->add_option("--seconds", *seconds, "keep reading for this long (default: one reading)")
        ->check(CLI::PositiveNumber);
    addTimeout(heart, *timeout);
    commands.add(heart, [seconds, timeout](Session& s) { return runRM830Heart(s, *seconds, *timeout); });

    auto heartCsv = commands.keep<std::optional<std::string>>();
    auto* heartHistory = rm830->add_subcommand("heart-history", "the stored heart-rate history");
    heartHistory->add_option("--csv", *heartCsv, "also write the records to this CSV file");
    addTimeout(heartHistory, *timeout);
    commands.add(heartHistory,
                 [heartCsv, timeout](Session& s) { return runRM830HeartHistory(s, *heartCsv, *timeout); });

    auto* version = rm830->add_subcommand("version", "the firmware version, and whether it is current");
    addTimeout(version, *timeout);
    commands.add(version, [timeout](Session& s) { return runRM830Version(s, *timeout); });

    auto hexPath = commands.keep<std::optional<std::string>>();
    auto* update = rm830->add_subcommand("update", "update the bracelet's firmware when it is older than the kit's");
    update->add_option("--hex", *hexPath, "send this Intel HEX image in place of the kit's");
    addTimeout(update, *timeout);
    commands.add(update, [hexPath, timeout](Session& s) { return runRM830Update(s, *hexPath, *timeout); });

    addSettings(rm830, commands, timeout);
    addMonitoring(rm830, commands, timeout);
}

}  // namespace halvora::cli
