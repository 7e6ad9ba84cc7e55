#pragma once

#include <memory>
#include <string>
#include <vector>

#include "BlueZ/ChildProcess.hpp"
#include "support/TempDir.hpp"

namespace halvora::test {

/// A D-Bus bus of the test's own (dbus-daemon with the double's permissive configuration, on a socket in a
/// temporary folder) and, on demand, the bluetoothd double on it. Both end with the object.
class PrivateBus {
public:
    PrivateBus();
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    /// "unix:path=/tmp/.../bus".
    std::string address() const { return "unix:path=" + folder_.file("bus").string(); }
    const TempDir& folder() const { return folder_; }
    /// Starts the double with these extra arguments; true once it serves org.bluez.
    bool startDouble(const std::vector<std::string>& arguments = {});
    /// Ends the double with `signal` (SIGKILL: as a crash).
    void stopDouble(int signal);
    /// Ends the bus itself (every connection to it drops).
    void stopBus();
    /// Starts the bus again at the same address.
    bool startBus();

private:
    TempDir folder_;
    std::unique_ptr<ChildProcess> daemon_;
    std::unique_ptr<ChildProcess> double_;
    std::vector<std::string> doubleArguments_;
};

}  // namespace halvora::test
