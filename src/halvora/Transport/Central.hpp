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

    virtual CentralState state() const = 0;
    virtual void setDelegate(std::weak_ptr<CentralDelegate> delegate) = 0;
    virtual std::optional<std::string> restoreIdentifier() const = 0;

    /// Scans for peripherals advertising any of `services` (all peripherals for an empty list).
    virtual void scanForPeripheralsWithServices(const std::vector<BLEUUID>& services, ScanOptions options) = 0;
    virtual void stopScan() = 0;
    virtual bool isScanning() const = 0;

    virtual void connectPeripheral(const std::shared_ptr<Peripheral>& peripheral, ConnectOptions options) = 0;
    virtual void cancelPeripheralConnection(const std::shared_ptr<Peripheral>& peripheral) = 0;

    /// Peripherals known to the system with these identifiers (upper- or lower-case UUID texts).
    virtual std::vector<std::shared_ptr<Peripheral>> retrievePeripheralsWithIdentifiers(
        const std::vector<std::string>& identifiers) = 0;
    /// Peripherals the system holds connected that offer any of these services.
    virtual std::vector<std::shared_ptr<Peripheral>> retrieveConnectedPeripheralsWithServices(
        const std::vector<BLEUUID>& services) = 0;
};

}  // namespace halvora
