#include "Commands.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora::cli {

int runScan(Session& session, double seconds) {
    session.startCentral();
    auto& printer = session.printer();
    session.app().onScan = [&session, &printer](const ScanResult& result) {
        const double at = std::chrono::duration<double>(session.elapsed()).count();
        std::vector<std::vector<std::string>> rows;
        for (const auto& [kind, devices] : result) {
            for (const auto& device : devices) {
                const double distance = device.getDistanceToDevice();
                if (printer.json()) {
                    printer.event({{"event", "scan"},
                                   {"time", at},
                                   {"type", kind},
                                   {"deviceIdentifier", device.deviceIdentifier},
                                   {"RSSI", device.RSSI},
                                   {"distance", distance}},
                                  "");
                }
                rows.push_back({kindText(kind), device.deviceIdentifier, std::to_string(device.RSSI),
                                format("%.2f m", distance)});
            }
        }
        if (printer.json()) return;
        printer.line(format("scan at %.1f s:", at));
        if (rows.empty()) {
            printer.line("  (nothing listed yet)");
        } else {
            printer.table({"kind", "identifier", "RSSI", "distance"}, rows);
        }
    };
    session.manager().scanAllDevices();
    session.pass(halvora::seconds(seconds));
    session.manager().stopScanForDevices();
    session.app().onScan = nullptr;
    return ExitOk;
}

}  // namespace halvora::cli
