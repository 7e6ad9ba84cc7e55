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
    /// The controller's duplicate filter: an unchanged advertisement of a device is reported once per cycle
    /// (the kernel's 10.24-second LE scan cycle); a changed one at once. The first report of each new
    /// discovery gets through.
    std::chrono::milliseconds duplicateFilterCycle{10240};
    /// A device object that is not connected goes this long after its last reported advertisement
    /// (bluetoothd's TemporaryTimeout).
    std::chrono::milliseconds temporaryTimeout{30000};
    /// A Connect to a device that is not on the air fails after this long with
    /// org.bluez.Error.Failed "le-connection-abort-by-local" (the controller's connection attempt gives up).
    std::chrono::milliseconds connectAbortDelay{40000};
    /// From the end of GATT discovery (and of re-enabling notify sessions) to ServicesResolved true.
    std::chrono::milliseconds resolveDelay{60};
    /// Characteristic objects first appear this long after ServicesResolved (0: before it).
    std::chrono::milliseconds lateCharacteristics{0};
    /// The ATT MTU of every link: a write without response longer than MTU - 3 fails.
    std::uint16_t mtu = 23;
    /// GATT discovery fails on every link: ServicesResolved still becomes true, with no services.
    bool gattDiscoveryFails = false;
    /// Devices have public addresses and advertise without the "BR/EDR not supported" flag: on a dual-mode
    /// adapter Connect picks BR/EDR and fails with "br-connection-page-timeout".
    bool publicAddresses = false;
    /// Adds malformed objects and properties of the wrong types to the bus, and answers reads with text.
    bool garbage = false;
    /// Logs what the double does on stderr.
    bool verbose = false;
};

}  // namespace halvora::bluezdouble
