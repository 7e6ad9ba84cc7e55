#include <map>
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

/// What one scan heard: every identifier, and the first device of each kind.
struct Heard {
    std::set<std::string> identifiers;
    std::map<DeviceKind, HalvoraSDKDevice> firstOfKind;
};

/// One device the demo runs: a lab device (with its script) or a device met over Bluetooth.
struct DemoTarget {
    DeviceKind kind = DeviceTypeNone;
    std::string title;       ///< what the demo prints before it connects
    std::string identifier;  ///< connected by this identifier
    bool discovered = false;
    const LabDevice* labDevice = nullptr;  ///< absent for a device met over Bluetooth
};

/// Scans for all devices and returns what was heard.
Heard discover(Session& session) {
    Heard heard;
    session.app().onScan = [&heard](const ScanResult& result) {
        for (const auto& [kind, devices] : result) {
            for (const auto& device : devices) {
                heard.identifiers.insert(device.deviceIdentifier);
                heard.firstOfKind.try_emplace(kind, device);
            }
        }
    };
    session.manager().scanAllDevices();
    session.pass(seconds(kDiscoverySeconds));
    session.manager().stopScanForDevices();
    session.app().onScan = nullptr;
    session.printer().line(
        format("discovered %zu devices in %.1f s of scanning", heard.identifiers.size(), kDiscoverySeconds));
    return heard;
}

/// The lab's devices, each as its script describes it.
std::vector<DemoTarget> labTargets(const Session& session, const Heard& heard) {
    std::vector<DemoTarget> targets;
    for (const auto& device : session.labDevices()) {
        DemoTarget target;
        target.kind = device.labClass->kind;
        target.title = device.entry.className + " \"" + device.device->name().value_or("") + "\" " +
                       device.entry.identifier;
        target.identifier = device.entry.identifier;
        target.discovered = heard.identifiers.count(device.entry.identifier) != 0;
        target.labDevice = &device;
        targets.push_back(std::move(target));
    }
    return targets;
}

/// Over Bluetooth: the first device of each kind that was heard.
std::vector<DemoTarget> heardTargets(const Heard& heard) {
    std::vector<DemoTarget> targets;
    for (const auto& [kind, device] : heard.firstOfKind) {
        DemoTarget target;
        target.kind = kind;
        target.title = kindText(kind) + " " + device.deviceIdentifier;
        target.identifier = device.deviceIdentifier;
        target.discovered = true;
        targets.push_back(std::move(target));
    }
    return targets;
}

DemoRow demoDevice(Session& session, const DemoTarget& target) {
    static const LabDevice kNoLabDevice;
    DemoRow row;
    row.discovered = target.discovered;
    if (target.labDevice) row.className = target.labDevice->entry.className;
    auto& printer = session.printer();
    const Duration start = session.elapsed();
    session.app().clearResults();
    printer.line(target.title);
    try {
        connectAndWait(session, target.kind, kDemoConnectTimeout, target.identifier);
        row.connected = true;
        printer.line("  connected and ready after " + secondsText(session.elapsed() - start));
        // A device met over Bluetooth is known by the driver that took it.
        if (auto driver = session.manager().driverForKind(target.kind); driver && row.className.empty()) {
            row.className = driver->className();
        }
        const DemoStep* step = demoStepFor(row.className);
        row.result = step ? (*step)(session, target.labDevice ? *target.labDevice : kNoLabDevice)
                          : "connected (no demo step)";
        row.ok = true;
    } catch (const CliError& error) {
        row.result = std::string("failed: ") + error.what();
    }
    if (row.className.empty()) row.className = kindText(target.kind);
    disconnectAndSettle(session, target.kind);
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
    const bool lab = session.radio() != nullptr;
    if (lab) {
        printer.line(format("Halvora lab demo: %zu virtual devices (%s time)", session.labDevices().size(),
                            session.options().realtime ? "real" : "virtual"));
    } else {
        printer.line("Halvora demo: the devices in range, one of each kind");
    }
    session.startCentral();
    const Heard heard = discover(session);
    const std::vector<DemoTarget> targets = lab ? labTargets(session, heard) : heardTargets(heard);
    if (targets.empty()) throw CliError(ExitNoDevice, "no device in range");
    std::vector<DemoRow> rows;
    bool allOk = true;
    for (const auto& target : targets) {
        rows.push_back(demoDevice(session, target));
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
