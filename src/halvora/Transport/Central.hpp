#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "halvora/Transport/BLEUUID.hpp"
#include "halvora/Transport/CentralDelegate.hpp"
#include "halvora/Transport/Peripheral.hpp"
#include "halvora/Transport/TransportTypes.hpp"

namespace halvora {

/// The central role. All members are safe to call from any thread; events go to the delegate on the
/// central's queue, in order.
class Central {
public:
    virtual ~Central() = default;

    /// The power state last reported; Unknown until the first state update.
    virtual CentralState state() const = 0;
    /// Replaces the receiver of the central's events (held weakly).
    virtual void setDelegate(std::weak_ptr<CentralDelegate> delegate) = 0;
    /// The restore identifier the central was made with; absent without one.
    virtual std::optional<std::string> restoreIdentifier() const = 0;

    /// Scans for peripherals advertising any of `services` (all peripherals for an empty list).
    virtual void scanForPeripheralsWithServices(const std::vector<BLEUUID>& services, ScanOptions options) = 0;
    /// Stops scanning; no discovery event follows. Harmless when not scanning.
    virtual void stopScan() = 0;
    /// True between a scan request and stopScan() (or power-off).
    virtual bool isScanning() const = 0;

    /// Asks for a link; a did connect or a did fail to connect event follows. `options` ask the host for no
    /// (or some) system alerts.
    virtual void connectPeripheral(const std::shared_ptr<Peripheral>& peripheral, ConnectOptions options) = 0;
    /// Ends the link, or abandons a pending attempt; a did disconnect event follows either way. Nothing happens
    /// for a peripheral that is neither connected nor connecting.
    virtual void cancelPeripheralConnection(const std::shared_ptr<Peripheral>& peripheral) = 0;

    /// Peripherals known to the system with these identifiers (upper- or lower-case UUID texts).
    virtual std::vector<std::shared_ptr<Peripheral>> retrievePeripheralsWithIdentifiers(
        const std::vector<std::string>& identifiers) = 0;
    /// Peripherals the system holds connected that offer any of these services.
    virtual std::vector<std::shared_ptr<Peripheral>> retrieveConnectedPeripheralsWithServices(
        const std::vector<BLEUUID>& services) = 0;
};

}  // namespace halvora
