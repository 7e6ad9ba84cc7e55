#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace halvora::bluezdouble {

/// How the double behaves (its command line).
struct DoubleOptions {
    /// The lab file whose virtual devices the double plays; the tool's default lab without one.
    std::optional<std::string> labFile;
    std::optional<std::uint64_t> seed;
    std::string adapter = "hci0";
    std::string adapterAddress = "00:1A:7D:DA:71:13";
    /// No adapter object at all (bluetoothd without a controller).
    bool noAdapter = false;
    /// The adapter starts powered off.
    bool poweredOff = false;
    /// Every Device1.Connect is answered with this error ("org.bluez.Error.Failed") and message.
    std::optional<std::string> connectErrorName;
    std::string connectErrorMessage;
    /// Delay of every answer that waits for a device (Connect, ReadValue, WriteValue, StartNotify...).
    std::chrono::milliseconds replyDelay{0};
    /// Adds malformed objects and properties of the wrong types to the bus, and answers reads with text.
    bool garbage = false;
    /// Logs what the double does on stderr.
    bool verbose = false;
};

}  // namespace halvora::bluezdouble
