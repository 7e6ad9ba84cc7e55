#include "CliError.hpp"
#include "Commands.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora::cli {

int runBattery(Session& session, DeviceKind kind, double timeout) {
    connectAndWait(session, kind, timeout);
    session.manager().checkBatteryLevel(kind);
    const bool answered = session.waitUntil([&] { return session.app().battery(kind).has_value(); }, seconds(5));
    disconnectAndSettle(session, kind);
    if (!answered) throw CliError(ExitDeviceError, "the " + kindName(kind) + " did not report a battery level");
    const int level = *session.app().battery(kind);
    session.printer().event({{"event", "battery"}, {"kind", kind}, {"level", level}}, format("battery: %d %%", level));
    return ExitOk;
}

}  // namespace halvora::cli
