#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "Session.hpp"

namespace halvora::cli {

/// The tool's subcommands that run in a session, each with the work it does once parsed. Each device
/// family adds its own (addMeasurementCommands, addBraceletCommands, ...); main() parses the command line
/// and runs the one that was given.
class CommandSet {
public:
    using Run = std::function<int(Session&)>;

    /// Registers `command` (a subcommand already made on the parser) with its work.
    void add(CLI::App* command, Run run) { commands_.emplace_back(command, std::move(run)); }
    /// The work of the parsed command, or nothing.
    const Run* parsed() const {
        for (const auto& [command, run] : commands_) {
            if (command->parsed()) return &run;
        }
        return nullptr;
    }
    /// A value an option writes into, kept alive as long as the parser may read it.
    template <typename T>
    std::shared_ptr<T> keep(T initial = T{}) {
        auto value = std::make_shared<T>(std::move(initial));
        kept_.push_back(value);
        return value;
    }

private:
    std::vector<std::pair<CLI::App*, Run>> commands_;
    std::vector<std::shared_ptr<void>> kept_;
};

/// Adds `--timeout` (seconds to find the device, default 30) to a command.
inline void addTimeout(CLI::App* command, double& timeout) {
    command->add_option("--timeout", timeout, "seconds to find the device (default 30)")->check(CLI::NonNegativeNumber);
}

/// The measurement devices' commands: measure bp|scale|thermometer|oximeter|baby-thermometer and
/// thermometer-command.
void addMeasurementCommands(CLI::App& app, CommandSet& commands);
/// The text-command bracelet's commands: bracelet steps|heart|sync|battery|version|find|set.
void addBraceletCommands(CLI::App& app, CommandSet& commands);
void addRM830Commands(CLI::App& app, CommandSet& commands);
/// The wrist blood-pressure bracelet's commands: tensio history|clear|time|set-time|info|config|reset|ambulatory.
void addTensioCommands(CLI::App& app, CommandSet& commands);
/// The Vital bracelet's commands: vital time|goal|user|params|activity|detection|alarms|weather|battery|mac|qr|
/// sport|measure|set.
void addVitalCommands(CLI::App& app, CommandSet& commands);
/// The pill box's commands: pillbox time|set-time|zone|battery|sync-status|duration|confirmation|
/// clear-schedule|clear-history|set|schedule get|schedule set|history.
void addPillBoxCommands(CLI::App& app, CommandSet& commands);

}  // namespace halvora::cli
