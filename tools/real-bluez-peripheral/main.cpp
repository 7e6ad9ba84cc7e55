// halvora-real-bluez-peripheral: one of the lab's virtual devices served by the real bluetoothd, for the
// real-bluez bench (scripts/real-bluez.sh): its GATT services are registered as an application on one
// adapter (hci1 by default) and its name advertised there, so that the kit's BlueZ transport on the other
// adapter meets it over the real stack.
//
// It prints "ready" on stdout once both are registered and runs until SIGTERM or SIGINT.
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <cstdio>
#include <string>

#include "CliError.hpp"
#include "LabFile.hpp"
#include "PeripheralBridge.hpp"
#include "ServiceMain.hpp"

using namespace halvora;

namespace {

/// The lab device the bridge plays: the description's device of class `className`, or its first one.
std::shared_ptr<lab::VirtualPeripheral> labDevice(realbluez::BridgeOptions& options) {
    const auto description =
        options.labFile ? cli::LabDescription::fromFile(*options.labFile) : cli::LabDescription::defaultLab();
    if (!options.seed) options.seed = description.seed.value_or(1);
    for (const auto& entry : description.devices) {
        if (options.className && entry.className != *options.className) continue;
        const auto* labClass = cli::LabCatalog::find(entry.className);
        if (labClass == nullptr)
            throw cli::CliError(cli::ExitBadArguments, "no virtual device plays " + entry.className);
        return labClass->make(entry);
    }
    throw cli::CliError(cli::ExitBadArguments,
                        options.className ? "the lab has no " + *options.className : "the lab has no device");
}

}  // namespace

int main(int argc, char** argv) {
    realbluez::BridgeOptions options;
    int restartMs = static_cast<int>(options.advertisingRestart.count());
    CLI::App app{"One lab device served by the real bluetoothd on the system bus (GATT application and advertisement)"};
    app.add_option("--lab", options.labFile, "lab file with the virtual device (default: the tool's default lab)");
    app.add_option("--class", options.className, "the device class to play (default: the lab's first device)");
    app.add_option("--seed", options.seed, "seed of the lab's random faults");
    app.add_option("--adapter", options.adapter, "adapter to serve the device on (default hci1)");
    app.add_option("--advertising-restart-ms", restartMs, "how often the advertisement is registered anew")
        ->check(CLI::Range(100, 60000));
    int burstIntervalUs = 0;
    app.add_option("--burst", options.burstCount,
                   "bench: send this many numbered notifications once a central switches notifications on");
    app.add_option("--burst-interval-us", burstIntervalUs, "bench: time between two of them (default 0: back to back)")
        ->check(CLI::Range(0, 1000000));
    app.add_flag("--verbose", options.verbose, "log on stderr");
    CLI11_PARSE(app, argc, argv);
    options.advertisingRestart = std::chrono::milliseconds(restartMs);
    options.burstInterval = std::chrono::microseconds(burstIntervalUs);

    // Every thread started from here on inherits the blocked signals; the main thread waits for them.
    const sigset_t signals = cli::blockStopSignals();

    std::shared_ptr<lab::VirtualPeripheral> device;
    try {
        device = labDevice(options);
    } catch (const cli::CliError& error) {
        std::fprintf(stderr, "halvora-real-bluez-peripheral: %s\n", error.what());
        return error.code();
    }
    realbluez::PeripheralBridge bridge(options, device);
    return cli::serveUntilStopped("halvora-real-bluez-peripheral", bridge, signals);
}
