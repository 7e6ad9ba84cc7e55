#include <cmath>

#include "CliError.hpp"
#include "Commands.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora::cli {

namespace {

/// Extra time after a request's own time-out for the kit's 4-second check to expire it.
constexpr double kExpiryMargin = 5.0;

}  // namespace

std::string kindName(DeviceKind kind) {
    static const char* const names[] = {"blood-pressure monitor", "text-command bracelet", "pulse oximeter",
                                        "thermometer", "weight scale", "blood-pressure bracelet",
                                        "RM830 bracelet", "baby thermometer", "RM830 bracelet in update mode",
                                        "pill reminder", "Vital bracelet"};
    if (kind < 0 || kind > kHighestDeviceKind) return "unknown";
    return names[kind];
}

std::string kindText(DeviceKind kind) { return std::to_string(kind) + " (" + kindName(kind) + ")"; }

void connectAndWait(Session& session, DeviceKind kind, double timeout, const std::optional<std::string>& identifier) {
    session.startCentral();
    auto& app = session.app();
    auto& manager = session.manager();
    // A kind connected before in this run (a bracelet coming back after its update) starts afresh.
    app.forgetConnection(kind);
    if (identifier) {
        manager.connectByUUID(identifier, kind);
    } else {
        manager.connectDevice(kind, static_cast<std::int32_t>(std::ceil(timeout)));
    }
    const bool ready = session.waitUntil(
        [&] {
            const auto status = app.status(kind);
            return status == ConnectionStatusReady ||
                   (status == ConnectionStatusDisconnected && app.wasSearching(kind));
        },
        seconds(timeout + kExpiryMargin));
    if (!ready || app.status(kind) != ConnectionStatusReady) {
        if (app.status(kind) != ConnectionStatusDisconnected) manager.disconnectDevice(kind);
        throw CliError(ExitNoDevice,
                       format("no %s became ready within %.0f s", kindText(kind).c_str(), std::ceil(timeout)));
    }
}

void disconnectAndSettle(Session& session, DeviceKind kind) {
    session.manager().disconnectDevice(kind);
    session.waitUntil([&] { return !session.manager().driverForKind(kind); }, seconds(2));
}

}  // namespace halvora::cli
