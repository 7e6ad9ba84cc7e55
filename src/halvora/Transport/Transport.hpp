#pragma once

#include <memory>
#include <string>

#include "halvora/Runtime/SerialQueue.hpp"
#include "halvora/Transport/Central.hpp"
#include "halvora/Transport/CentralDelegate.hpp"
#include "halvora/Transport/TransportTypes.hpp"

namespace halvora {

/// A Bluetooth backend: it makes centrals. The lab's simulated radio and BlueZ over D-Bus are two.
class Transport {
public:
    virtual ~Transport() = default;

    /// A short name for logs and the CLI ("lab", "bluez").
    virtual std::string name() const = 0;
    /// A new central whose events go to `delegate`, in order, on `queue`. Its first event is the state report.
    virtual std::shared_ptr<Central> makeCentral(std::weak_ptr<CentralDelegate> delegate,
                                                 std::shared_ptr<SerialQueue> queue, CentralOptions options) = 0;
    /// A peripheral manager made for restoration only; nothing is kept of it and it has no events.
    virtual void makePeripheralManager(const std::string& /*restoreIdentifier*/) {}
};

}  // namespace halvora
