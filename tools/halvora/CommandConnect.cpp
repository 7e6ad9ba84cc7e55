#include "Commands.hpp"

namespace halvora::cli {

namespace {

const char* statusText(std::int32_t status) {
    switch (status) {
        case ConnectionStatusDisconnected:
            return "disconnected";
        case ConnectionStatusSearching:
            return "searching";
        case ConnectionStatusConnected:
            return "connected";
        case ConnectionStatusReady:
            return "ready";
        default:
            return "unknown";
    }
}

}  // namespace

int runConnect(Session& session, DeviceKind kind, double timeout) {
    auto& printer = session.printer();
    session.app().onStatus = [&printer, kind](DeviceKind k, std::int32_t status) {
        if (k != kind) return;
        printer.event({{"event", "status"}, {"kind", k}, {"status", status}},
                      kindText(k) + ": " + statusText(status) + " (" + std::to_string(status) + ")");
    };
    connectAndWait(session, kind, timeout);
    session.app().onStatus = nullptr;
    auto driver = session.manager().driverForKind(kind);
    auto identifier = session.manager().getDeviceUUID(kind).value_or("");
    printer.event({{"event", "connected"}, {"kind", kind}, {"class", driver ? driver->className() : ""},
                   {"deviceIdentifier", identifier}},
                  "connected " + (driver ? driver->className() : std::string("?")) + " " + identifier);
    return ExitOk;
}

int runStatus(Session& session) {
    session.startCentral();
    auto& printer = session.printer();
    const bool on = session.manager().isBluetoothOn();
    printer.event({{"event", "bluetooth"}, {"poweredOn", on}, {"transport", session.options().transport}},
                  "Bluetooth: " + std::string(on ? "on" : "off") + " (" + session.options().transport + " transport)");
    std::vector<std::vector<std::string>> rows;
    for (DeviceKind kind = DeviceTypeHeart; kind <= kHighestDeviceKind; ++kind) {
        const std::int32_t status = session.manager().getDeviceStatus(kind);
        rows.push_back({std::to_string(kind), kindName(kind),
                        std::to_string(status), statusText(status)});
    }
    printer.table({"kind", "device", "status", "meaning"}, rows);
    return ExitOk;
}

}  // namespace halvora::cli
