#pragma once

#include <cstdint>

#include "CliError.hpp"
#include "Session.hpp"

namespace halvora::cli {

// Each command prints its output through the session's printer and returns the exit status, or throws
// CliError with a one-line reason.

/// The supported device classes: kind, class, the names it recognises.
int runDevices(Printer& printer);
/// Scans for all devices for `seconds`, printing the scan result every 4 seconds.
int runScan(Session& session, double seconds);
/// Connects a kind and waits until it is ready.
int runConnect(Session& session, DeviceKind kind, double timeout);
/// Bluetooth's state and the status of every kind.
int runStatus(Session& session);
/// Connects a kind and asks its battery level.
int runBattery(Session& session, DeviceKind kind, double timeout);
/// Every device class of the lab, end to end, then a summary table.
int runDemo(Session& session);

/// Connects `kind` (or, with an identifier, that very device) and waits until it is ready; throws
/// CliError(ExitNoDevice) when no device became ready in time.
void connectAndWait(Session& session, DeviceKind kind, double timeout,
                    const std::optional<std::string>& identifier = std::nullopt);
/// Disconnects a kind and lets the link close.
void disconnectAndSettle(Session& session, DeviceKind kind);
/// The name of a kind: "blood-pressure monitor".
std::string kindName(DeviceKind kind);
/// Text of a kind with its name: "0 (blood-pressure monitor)".
std::string kindText(DeviceKind kind);

}  // namespace halvora::cli
