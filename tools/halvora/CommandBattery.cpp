#include "CliError.hpp"
#include "Commands.hpp"
#include "bracelet/BraceletCommands.hpp"
#include "halvora/Core/Format.hpp"
#include "pillbox/PillBoxCommands.hpp"
#include "vital/VitalCommands.hpp"

namespace halvora::cli {

int runBattery(Session& session, DeviceKind kind, double timeout) {
    // The bracelets and the pill box answer on their own delegates (the text-command bracelet only while its
    // delegate is set), not on the general one: their own battery commands listen there.
    if (kind == DeviceTypeBracelet) return runBraceletBattery(session, timeout);
    if (kind == DeviceTypeBraceletVital) return runVitalBattery(session, timeout);
    if (kind == DeviceTypePillReminder) return runPillBoxBattery(session, timeout);
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
