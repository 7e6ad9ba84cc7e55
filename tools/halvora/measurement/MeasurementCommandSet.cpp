// The measurement devices' subcommands: how they read from the command line.
#include "CommandSet.hpp"
#include "MeasurementCommands.hpp"
#include "tensio/TensioCommands.hpp"

namespace halvora::cli {

void addMeasurementCommands(CLI::App& app, CommandSet& commands) {
    auto timeout = commands.keep<double>(30);
    auto* measure = app.add_subcommand("measure", "measure with a device");
    measure->require_subcommand(1);
    measure->fallthrough();

    auto* bp = measure->add_subcommand("bp", "blood pressure: connect kind 0, measure, print the result");
    addTimeout(bp, *timeout);
    commands.add(bp, [timeout](Session& s) { return runMeasureBloodPressure(s, *timeout); });

    auto* wrist = measure->add_subcommand("wrist-bp", "blood pressure at the wrist: connect kind 5, measure, print it");
    addTimeout(wrist, *timeout);
    commands.add(wrist, [timeout](Session& s) { return runMeasureWristBloodPressure(s, *timeout); });

    auto user = commands.keep<ScaleUser>();
    auto* scale = measure->add_subcommand("scale", "weight and body composition: connect kind 4, weigh");
    scale->add_option("--height", user->height, "centimetres")->check(CLI::Range(0, 300));
    scale->add_option("--age", user->age, "years")->check(CLI::Range(0, 150));
    scale->add_option("--gender", user->gender, "male or female")->check(CLI::IsMember({"male", "female"}));
    scale->add_option("--unit", user->unit, "kg or lb")->check(CLI::IsMember({"kg", "lb"}));
    addTimeout(scale, *timeout);
    commands.add(scale, [user, timeout](Session& s) { return runMeasureScale(s, *user, *timeout); });

    auto* thermometer = measure->add_subcommand("thermometer", "temperature: connect kind 3, print a reading");
    addTimeout(thermometer, *timeout);
    commands.add(thermometer, [timeout](Session& s) { return runMeasureThermometer(s, *timeout); });

    auto oximeterSeconds = commands.keep<double>(5);
    auto* oximeter = measure->add_subcommand("oximeter", "SpO2, pulse and the pleth wave: connect kind 2");
    oximeter->add_option("--seconds", *oximeterSeconds, "how long to watch (default 5)")->check(CLI::PositiveNumber);
    addTimeout(oximeter, *timeout);
    commands.add(oximeter,
                 [oximeterSeconds, timeout](Session& s) { return runMeasureOximeter(s, *oximeterSeconds, *timeout); });

    auto* baby = measure->add_subcommand("baby-thermometer", "body and ambient temperature: connect kind 7");
    addTimeout(baby, *timeout);
    commands.add(baby, [timeout](Session& s) { return runMeasureBabyThermometer(s, *timeout); });

    auto command = commands.keep<std::int32_t>(0);
    auto* thermometerCommand =
        app.add_subcommand("thermometer-command", "send a command to a second-generation thermometer");
    thermometerCommand->add_option("N", *command, "command number, 0 to 255")->required()->check(CLI::Range(0, 255));
    addTimeout(thermometerCommand, *timeout);
    commands.add(thermometerCommand,
                 [command, timeout](Session& s) { return runThermometerCommand(s, *command, *timeout); });
}

}  // namespace halvora::cli
