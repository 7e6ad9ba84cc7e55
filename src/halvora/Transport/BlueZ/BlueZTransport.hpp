#pragma once

#include <memory>
#include <optional>
#include <string>

#include "halvora/Core/Log.hpp"
#include "halvora/Runtime/Executor.hpp"
#include "halvora/Transport/BlueZ/BlueZOptions.hpp"
#include "halvora/Transport/Transport.hpp"

namespace halvora {

namespace bluez {
class Backend;
}

/// The transport over BlueZ's D-Bus API (bluetoothd on the system bus).
///
/// One bus connection serves every central made by the transport. It is driven by a thread of its own that
/// only speaks D-Bus: it keeps a mirror of bluetoothd's objects (adapter, devices, GATT services and
/// characteristics) and turns their changes into the events of the centrals, which run on the queues the
/// centrals were given, in order. The Bluetooth state follows the adapter's Powered property; no bus, no
/// bluetoothd or no adapter is the powered-off state, reported with one log line, and the transport picks
/// everything up again when they come (back).
///
/// Peripheral identifiers are name-based UUIDs of the adapter and device addresses, so the same device
/// has the same identifier in every run of the application.
class BlueZTransport : public Transport {
public:
    /// The transport; it starts connecting to the bus at once. `executor` gives the queue of centrals made
    /// without one (its main queue); `log` defaults to the shared log.
    static std::shared_ptr<BlueZTransport> create(BlueZOptions options, std::shared_ptr<Executor> executor,
                                                  std::shared_ptr<Log> log = nullptr);
    ~BlueZTransport() override;
    BlueZTransport(const BlueZTransport&) = delete;
    BlueZTransport& operator=(const BlueZTransport&) = delete;

    std::string name() const override { return "bluez"; }
    std::shared_ptr<Central> makeCentral(std::weak_ptr<CentralDelegate> delegate, std::shared_ptr<SerialQueue> queue,
                                         CentralOptions options) override;

    /// Waits (at most `limit`) until the transport knows whether BlueZ is there, then returns why it is not
    /// usable (no system bus, bluetoothd not running, no such adapter), or nothing when it is (a powered-off
    /// adapter is usable). A time-out counts as not usable.
    std::optional<std::string> probe(Duration limit) const;
    /// The options the transport was created with.
    const BlueZOptions& options() const { return options_; }

private:
    BlueZTransport(BlueZOptions options, std::shared_ptr<Executor> executor, std::shared_ptr<Log> log);

    const BlueZOptions options_;
    const std::shared_ptr<Executor> executor_;
    std::shared_ptr<bluez::Backend> backend_;
};

}  // namespace halvora
