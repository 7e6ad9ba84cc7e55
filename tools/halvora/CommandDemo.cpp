#include <set>

#include "CliError.hpp"
#include "Commands.hpp"
#include "DemoSteps.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora::cli {

namespace {

constexpr double kDemoConnectTimeout = 30.0;
/// Two detection rounds: a device is listed from its second advertisement on.
constexpr double kDiscoverySeconds = 8.5;

struct DemoRow {
    std::string className;
    bool discovered = false;
    bool connected = false;
    std::string result;
    Duration time{};
    bool ok = false;
};

/// Scans for all devices and returns the identifiers heard.
std::set<std::string> discover(Session& session) {
    std::set<std::string> heard;
    session.app().onScan = [&heard](const ScanResult& result) {
        for (const auto& [kind, devices] : result) {
            for (const auto& device : devices) heard.insert(device.deviceIdentifier);
        }
    };
    session.manager().scanAllDevices();
    session.pass(seconds(kDiscoverySeconds));
    session.manager().stopScanForDevices();
    session.app().onScan = nullptr;
    session.printer().line(format("discovered %zu devices in %.1f s of scanning", heard.size(), kDiscoverySeconds));
    return heard;
}

DemoRow demoDevice(Session& session, const LabDevice& device, bool discovered) {
    DemoRow row;
    row.className = device.entry.className;
    row.discovered = discovered;
    const DeviceKind kind = device.labClass->kind;
    auto& printer = session.printer();
    const Duration start = session.elapsed();
    session.app().clearResults();
    printer.line(row.className + " \"" + device.device->name().value_or("") + "\" " + device.entry.identifier);
    try {
        connectAndWait(session, kind, kDemoConnectTimeout, device.entry.identifier);
        row.connected = true;
        printer.line("  connected and ready after " + secondsText(session.elapsed() - start));
        const DemoStep* step = demoStepFor(row.className);
        row.result = step ? (*step)(session, device) : "connected (no demo step)";
        row.ok = true;
    } catch (const CliError& error) {
        row.result = std::string("failed: ") + error.what();
    }
    disconnectAndSettle(session, kind);
    row.time = session.elapsed() - start;
    printer.line("  " + row.result);
    printer.event({{"event", "demo"}, {"class", row.className}, {"discovered", row.discovered},
                   {"connected", row.connected}, {"result", row.result},
                   {"seconds", std::chrono::duration<double>(row.time).count()}},
                  "");
    return row;
}

}  // namespace

int runDemo(Session& session) {
    auto& printer = session.printer();
    printer.line(format("Halvora lab demo: %zu virtual devices (%s time)", session.labDevices().size(),
                        session.options().realtime ? "real" : "virtual"));
    session.startCentral();
    const std::set<std::string> heard = discover(session);
    std::vector<DemoRow> rows;
    bool allOk = true;
    for (const auto& device : session.labDevices()) {
        rows.push_back(demoDevice(session, device, heard.count(device.entry.identifier) != 0));
        allOk = allOk && rows.back().ok;
    }
    if (!printer.json()) {
        printer.line("");
        std::vector<std::vector<std::string>> table;
        for (const auto& row : rows) {
            table.push_back({row.className, row.discovered ? "yes" : "no", row.connected ? "yes" : "no", row.result,
                             secondsText(row.time)});
        }
        printer.table({"class", "discovered", "connected", "result", "time"}, table);
    }
    if (!allOk) throw CliError(ExitDeviceError, "some devices did not complete the demo");
    return ExitOk;
}

}  // namespace halvora::cli
