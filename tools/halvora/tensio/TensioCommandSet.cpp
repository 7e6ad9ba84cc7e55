// The wrist blood-pressure bracelet's subcommands: how they read from the command line.
#include "CommandSet.hpp"
#include "TensioCommands.hpp"
#include "TensioWindowSyntax.hpp"

namespace halvora::cli {

namespace {

using Run = int (*)(Session&, double);

void addSimple(CLI::App* parent, CommandSet& commands, const std::shared_ptr<double>& timeout, const char* name,
               const char* what, Run run) {
    auto* command = parent->add_subcommand(name, what);
    addTimeout(command, *timeout);
    commands.add(command, [run, timeout](Session& s) { return run(s, *timeout); });
}

void addConfig(CLI::App* tensio, CommandSet& commands, const std::shared_ptr<double>& timeout) {
    auto options = commands.keep<TensioConfigOptions>();
    auto* config = tensio->add_subcommand("config", "set the wrist and switch ambulatory measuring (one request)");
    config->add_option("--hand", options->hand, "the wrist, as the bracelet numbers it (it does not report it back)")
        ->required()
        ->check(CLI::Range(0, 255));
    config
        ->add_option("--ambulatory", options->ambulatory,
                     "on or off: measure on the ambulatory schedule (default: as the bracelet reports it)")
        ->check(CLI::IsMember({"on", "off"}));
    addTimeout(config, *timeout);
    commands.add(config, [options, timeout](Session& s) { return runTensioConfig(s, *options, *timeout); });
}

void addAmbulatory(CLI::App* tensio, CommandSet& commands, const std::shared_ptr<double>& timeout) {
    auto* ambulatory = tensio->add_subcommand("ambulatory", "the ambulatory schedule: when the bracelet measures");
    ambulatory->require_subcommand(1);
    ambulatory->fallthrough();
    addSimple(ambulatory, commands, timeout, "get", "the windows the bracelet holds", runTensioAmbulatoryGet);

    auto windows = commands.keep<std::vector<std::string>>();
    auto* set = ambulatory->add_subcommand("set", "replace the schedule with these windows");
    set->add_option("WINDOW", *windows, "HH:MM-HH:MM/PERIOD (see below)")->required();
    set->footer(TensioWindowSyntax::kHelp);
    addTimeout(set, *timeout);
    commands.add(set, [windows, timeout](Session& s) { return runTensioAmbulatorySet(s, *windows, *timeout); });
}

}  // namespace

void addTensioCommands(CLI::App& app, CommandSet& commands) {
    auto timeout = commands.keep<double>(30);
    auto* tensio = app.add_subcommand("tensio", "the wrist blood-pressure bracelet (kind 5)");
    tensio->require_subcommand(1);
    tensio->fallthrough();

    auto csv = commands.keep<std::optional<std::string>>();
    auto* history = tensio->add_subcommand("history", "the measurements in the bracelet's memory, oldest first");
    history->add_option("--csv", *csv, "also write them to this CSV file");
    addTimeout(history, *timeout);
    commands.add(history, [csv, timeout](Session& s) { return runTensioHistory(s, *csv, *timeout); });

    addSimple(tensio, commands, timeout, "clear", "empty the bracelet's memory", runTensioClear);
    addSimple(tensio, commands, timeout, "time", "the bracelet's clock", runTensioTime);
    addSimple(tensio, commands, timeout, "set-time", "set the bracelet's clock to the phone's", runTensioSetTime);
    addSimple(tensio, commands, timeout, "info", "battery, ambulatory switch, unit, hold and stored count",
              runTensioInfo);
    addSimple(tensio, commands, timeout, "reset", "the bracelet's settings back to their defaults", runTensioReset);
    addConfig(tensio, commands, timeout);
    addAmbulatory(tensio, commands, timeout);
}

}  // namespace halvora::cli
