// halvora: the Halvora SDK's command-line tool. It drives the kit only through HalvoraSDKManager and its
// delegates, the way an application does, over the virtual device lab (default) or BlueZ.
#include <cstdio>
#include <string>

#include <CLI/CLI.hpp>

#include "CliError.hpp"
#include "Commands.hpp"

using namespace halvora;
using namespace halvora::cli;

namespace {

int fail(int code, const std::string& reason) {
    std::fprintf(stderr, "halvora: %s\n", reason.c_str());
    return code;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"halvora: talk to personal health devices over Bluetooth LE (the virtual lab by default)"};
    app.require_subcommand(1);
    app.fallthrough();  // global options may also follow the command
    GlobalOptions options;
    std::int64_t seed = -1;
    app.add_option("--transport", options.transport, "lab (default) or bluez")->check(CLI::IsMember({"lab", "bluez"}));
    app.add_option("--adapter", options.adapter, "BlueZ adapter (default hci0)");
    app.add_option("--lab", options.labFile, "JSON description of the lab's virtual devices")->check(CLI::ExistingFile);
    app.add_option("--seed", seed, "seed of the lab's random faults")->check(CLI::NonNegativeNumber);
    app.add_flag("--realtime", options.realtime, "run on real threads and the real clock instead of virtual time");
    app.add_flag("--json", options.json, "one JSON object per line");
    app.add_flag("--verbose", options.verbose, "show the kit's log lines (on stderr)");

    auto* devices = app.add_subcommand("devices", "the supported device classes and the names they recognise");
    double scanSeconds = 8;
    auto* scan = app.add_subcommand("scan", "scan for all devices, printing the result every 4 seconds");
    scan->add_option("--seconds", scanSeconds, "how long to scan (default 8)")->check(CLI::PositiveNumber);
    DeviceKind connectKind = 0;
    double timeout = 30;
    auto* connect = app.add_subcommand("connect", "connect a device kind and wait until it is ready");
    connect->add_option("KIND", connectKind, "device kind, 0 to 10")->required()->check(CLI::Range(0, 10));
    connect->add_option("--timeout", timeout, "seconds (default 30)")->check(CLI::NonNegativeNumber);
    auto* status = app.add_subcommand("status", "Bluetooth's state and the status of every kind");
    auto* measure = app.add_subcommand("measure", "measure with a device");
    measure->require_subcommand(1);
    measure->fallthrough();
    auto* measureBp = measure->add_subcommand("bp", "blood pressure: connect kind 0, measure, print the result");
    measureBp->add_option("--timeout", timeout, "seconds to find the monitor (default 30)")->check(CLI::NonNegativeNumber);
    ScaleUser scaleUser;
    auto* measureScale = measure->add_subcommand("scale", "weight and body composition: connect kind 4, weigh");
    measureScale->add_option("--height", scaleUser.height, "centimetres")->check(CLI::Range(0, 300));
    measureScale->add_option("--age", scaleUser.age, "years")->check(CLI::Range(0, 150));
    measureScale->add_option("--gender", scaleUser.gender, "male or female")->check(CLI::IsMember({"male", "female"}));
    measureScale->add_option("--unit", scaleUser.unit, "kg or lb")->check(CLI::IsMember({"kg", "lb"}));
    measureScale->add_option("--timeout", timeout, "seconds to find the scale (default 30)")->check(CLI::NonNegativeNumber);
    auto* measureThermometer = measure->add_subcommand("thermometer", "temperature: connect kind 3, print a reading");
    measureThermometer->add_option("--timeout", timeout, "seconds (default 30)")->check(CLI::NonNegativeNumber);
    double oximeterSeconds = 5;
    auto* measureOximeter = measure->add_subcommand("oximeter", "SpO2, pulse and the pleth wave: connect kind 2");
    measureOximeter->add_option("--seconds", oximeterSeconds, "how long to watch (default 5)")->check(CLI::PositiveNumber);
    measureOximeter->add_option("--timeout", timeout, "seconds (default 30)")->check(CLI::NonNegativeNumber);
    auto* measureBaby = measure->add_subcommand("baby-thermometer", "body and ambient temperature: connect kind 7");
    measureBaby->add_option("--timeout", timeout, "seconds (default 30)")->check(CLI::NonNegativeNumber);
    std::int32_t thermometerCommand = 0;
    auto* thermometerCommandCmd =
        app.add_subcommand("thermometer-command", "send a command to a second-generation thermometer");
    thermometerCommandCmd->add_option("N", thermometerCommand, "command number, 0 to 255")->required()->check(CLI::Range(0, 255));
    thermometerCommandCmd->add_option("--timeout", timeout, "seconds (default 30)")->check(CLI::NonNegativeNumber);
    DeviceKind batteryKind = 0;
    auto* battery = app.add_subcommand("battery", "connect a kind and ask its battery level");
    battery->add_option("KIND", batteryKind, "device kind, 0 to 10")->required()->check(CLI::Range(0, 10));
    battery->add_option("--timeout", timeout, "seconds (default 30)")->check(CLI::NonNegativeNumber);
    auto* demo = app.add_subcommand("demo", "every device class of the lab, end to end");

    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForAllHelp& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        return fail(ExitBadArguments, e.what());
    }
    if (seed >= 0) options.seed = static_cast<std::uint64_t>(seed);

    try {
        if (devices->parsed()) {
            Printer printer(options.json);
            return runDevices(printer);
        }
        Session session(options);
        if (scan->parsed()) return runScan(session, scanSeconds);
        if (connect->parsed()) return runConnect(session, connectKind, timeout);
        if (status->parsed()) return runStatus(session);
        if (measureBp->parsed()) return runMeasureBloodPressure(session, timeout);
        if (measureScale->parsed()) return runMeasureScale(session, scaleUser, timeout);
        if (measureThermometer->parsed()) return runMeasureThermometer(session, timeout);
        if (measureOximeter->parsed()) return runMeasureOximeter(session, oximeterSeconds, timeout);
        if (measureBaby->parsed()) return runMeasureBabyThermometer(session, timeout);
        if (thermometerCommandCmd->parsed()) return runThermometerCommand(session, thermometerCommand, timeout);
        if (battery->parsed()) return runBattery(session, batteryKind, timeout);
        if (demo->parsed()) return runDemo(session);
        return fail(ExitBadArguments, "no command given");
    } catch (const CliError& error) {
        return fail(error.code(), error.what());
    } catch (const std::exception& error) {
        return fail(ExitFailure, error.what());
    }
}
