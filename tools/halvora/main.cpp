// halvora: the Halvora SDK's command-line tool. It drives the kit only through HalvoraSDKManager and its
// delegates, the way an application does, over the virtual device lab (default) or BlueZ.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>

#include "CliError.hpp"
#include "CommandSet.hpp"
#include "Commands.hpp"
#include "LabState.hpp"
#include "dfu/HexImageFile.hpp"

using namespace halvora;
using namespace halvora::cli;

namespace {

int fail(int code, const std::string& reason) {
    std::fprintf(stderr, "halvora: %s\n", reason.c_str());
    return code;
}

/// `lab forget`: deletes what the lab in use remembers.
int runLabForget(const LabState& state) {
    const auto folder = state.labFolder();
    if (!folder) {
        std::printf("no lab state is kept (--lab-state \"\" or HALVORA_LAB_STATE empty): nothing to forget\n");
        return ExitOk;
    }
    const std::size_t devices = state.forget();
    std::printf("forgot %zu device memor%s (%s)\n", devices, devices == 1 ? "y" : "ies", folder->c_str());
    return ExitOk;
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
    std::optional<std::string> labState;
    app.add_option("--lab-state", labState,
                   "where the lab's devices remember what the phone wrote between runs (default "
                   "$HALVORA_LAB_STATE, else $XDG_STATE_HOME/halvora/lab, else ~/.local/state/halvora/lab; "
                   "\"\" keeps nothing)");
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
    DeviceKind batteryKind = 0;
    auto* battery = app.add_subcommand("battery", "connect a kind and ask its battery level");
    battery->add_option("KIND", batteryKind, "device kind, 0 to 10")->required()->check(CLI::Range(0, 10));
    battery->add_option("--timeout", timeout, "seconds (default 30)")->check(CLI::NonNegativeNumber);
    auto* demo = app.add_subcommand("demo", "every device class of the lab, end to end");
    std::string hexFile;
    auto* hex = app.add_subcommand("hex", "firmware files in Intel HEX");
    hex->require_subcommand(1);
    auto* hexInfo = hex->add_subcommand(
        "info", "what the kit makes of a firmware file: image size, packets, where the image ends and why");
    hexInfo->add_option("FILE", hexFile, "the Intel HEX file")->required();

    auto* labGroup = app.add_subcommand("lab", "the virtual lab's devices");
    labGroup->require_subcommand(1);
    auto* labForget =
        labGroup->add_subcommand("forget", "delete what the lab's devices remember (the lab of --lab, or the default)");

    CommandSet commands;
    addMeasurementCommands(app, commands);
    addBraceletCommands(app, commands);
    addRM830Commands(app, commands);
    addTensioCommands(app, commands);
    addVitalCommands(app, commands);
    addPillBoxCommands(app, commands);

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
    // The demo shows the lab as it left the factory: it neither reads nor leaves memories.
    if (!demo->parsed()) LabState::setCurrent(LabState(LabState::folderFrom(labState), options.labFile));

    try {
        if (devices->parsed()) {
            Printer printer(options.json);
            return runDevices(printer);
        }
        if (labForget->parsed()) return runLabForget(LabState::current());
        if (hexInfo->parsed()) {
            Printer printer(options.json);
            return runHexInfo(printer, hexFile);
        }
        Session session(options);
        if (scan->parsed()) return runScan(session, scanSeconds);
        if (connect->parsed()) return runConnect(session, connectKind, timeout);
        if (status->parsed()) return runStatus(session);
        if (battery->parsed()) return runBattery(session, batteryKind, timeout);
        if (demo->parsed()) return runDemo(session);
        if (const auto* run = commands.parsed()) return (*run)(session);
        return fail(ExitBadArguments, "no command given");
    } catch (const CliError& error) {
        return fail(error.code(), error.what());
    } catch (const std::exception& error) {
        return fail(ExitFailure, error.what());
    }
}
