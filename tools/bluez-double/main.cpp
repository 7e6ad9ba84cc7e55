// halvora-bluez-double: a stand-in for bluetoothd that plays the lab's virtual devices over real D-Bus.
//
// It takes org.bluez on the system bus, so point DBUS_SYSTEM_BUS_ADDRESS at a private bus (see
// scripts/bluez-double.sh). It prints "ready" on stdout once everything is published and runs until
// SIGTERM or SIGINT.
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <cstdio>
#include <string>

#include "BlueZDouble.hpp"
#include "CliError.hpp"
#include "LabFile.hpp"
#include "ServiceMain.hpp"
#include "halvora/Core/Log.hpp"

using namespace halvora;

namespace {

std::vector<std::shared_ptr<lab::VirtualPeripheral>> labDevices(bluezdouble::DoubleOptions& options) {
    const auto description =
        options.labFile ? cli::LabDescription::fromFile(*options.labFile) : cli::LabDescription::defaultLab();
    if (!options.seed) options.seed = description.seed.value_or(1);
    std::vector<std::shared_ptr<lab::VirtualPeripheral>> devices;
    for (const auto& entry : description.devices) {
        const auto* labClass = cli::LabCatalog::find(entry.className);
        if (labClass == nullptr)
            throw cli::CliError(cli::ExitBadArguments, "no virtual device plays " + entry.className);
        devices.push_back(labClass->make(entry));
    }
    return devices;
}

}  // namespace

int main(int argc, char** argv) {
    bluezdouble::DoubleOptions options;
    std::string connectError;
    int replyDelayMs = 0;
    int duplicateCycleMs = 10240;
    int temporaryTimeoutMs = 30000;
    int connectAbortMs = 40000;
    int resolveDelayMs = 60;
    int lateCharacteristicsMs = 0;
    CLI::App app{"A stand-in for bluetoothd on the system bus (DBUS_SYSTEM_BUS_ADDRESS), playing the lab's devices"};
    app.add_option("--lab", options.labFile, "lab file with the virtual devices (default: the tool's default lab)");
    app.add_option("--seed", options.seed, "seed of the lab's random faults");
    app.add_option("--adapter", options.adapter, "adapter name (default hci0)");
    app.add_option("--address", options.adapterAddress, "adapter address");
    app.add_flag("--no-adapter", options.noAdapter, "serve no adapter at all");
    app.add_flag("--powered-off", options.poweredOff, "start with the adapter powered off");
    app.add_option("--connect-error", connectError, "answer every Connect with NAME[:MESSAGE]");
    app.add_option("--reply-delay-ms", replyDelayMs, "delay every answer that waits for a device")
        ->check(CLI::Range(0, 600000));
    app.add_option("--duplicate-cycle-ms", duplicateCycleMs,
                   "an unchanged advertisement is reported once per this many ms (default 10240)")
        ->check(CLI::Range(1, 600000));
    app.add_option("--temporary-timeout-ms", temporaryTimeoutMs,
                   "a device object goes this long after its last advertisement (default 30000)")
        ->check(CLI::Range(1, 3600000));
    app.add_option("--connect-abort-ms", connectAbortMs,
                   "a Connect to a device that is not on the air fails after this long (default 40000)")
        ->check(CLI::Range(0, 600000));
    app.add_option("--resolve-delay-ms", resolveDelayMs,
                   "from the end of GATT discovery to ServicesResolved (default 60)")
        ->check(CLI::Range(0, 600000));
    app.add_option("--late-characteristics-ms", lateCharacteristicsMs,
                   "characteristic objects first appear this long after ServicesResolved (default 0)")
        ->check(CLI::Range(0, 600000));
    app.add_option("--mtu", options.mtu, "ATT MTU of every link (default 23)")->check(CLI::Range(23, 517));
    app.add_flag("--gatt-discovery-fails", options.gattDiscoveryFails,
                 "GATT discovery fails: ServicesResolved with no services");
    app.add_flag("--public-addresses", options.publicAddresses,
                 "public device addresses: Connect goes over BR/EDR and fails");
    app.add_flag("--garbage", options.garbage, "add malformed objects and properties of the wrong types");
    app.add_flag("--verbose", options.verbose, "log on stderr");
    CLI11_PARSE(app, argc, argv);
    if (!connectError.empty()) {
        const auto colon = connectError.find(':');
        options.connectErrorName = connectError.substr(0, colon);
        if (colon != std::string::npos) options.connectErrorMessage = connectError.substr(colon + 1);
    }
    options.replyDelay = std::chrono::milliseconds(replyDelayMs);
    options.duplicateFilterCycle = std::chrono::milliseconds(duplicateCycleMs);
    options.temporaryTimeout = std::chrono::milliseconds(temporaryTimeoutMs);
    options.connectAbortDelay = std::chrono::milliseconds(connectAbortMs);
    options.resolveDelay = std::chrono::milliseconds(resolveDelayMs);
    options.lateCharacteristics = std::chrono::milliseconds(lateCharacteristicsMs);
    Log::shared().setSink([verbose = options.verbose](const std::string& line) {
        if (verbose) std::fprintf(stderr, "bluez-double: %s\n", line.c_str());
    });

    // Every thread started from here on inherits the blocked signals; the main thread waits for them.
    const sigset_t signals = cli::blockStopSignals();

    std::vector<std::shared_ptr<lab::VirtualPeripheral>> devices;
    try {
        devices = labDevices(options);
    } catch (const cli::CliError& error) {
        std::fprintf(stderr, "halvora-bluez-double: %s\n", error.what());
        return error.code();
    }
    bluezdouble::BlueZDouble bluez(options, devices);
    return cli::serveUntilStopped("halvora-bluez-double", bluez, signals);
}
