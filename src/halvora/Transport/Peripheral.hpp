#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "halvora/Transport/BLEUUID.hpp"
#include "halvora/Transport/Characteristic.hpp"
#include "halvora/Transport/PeripheralDelegate.hpp"
#include "halvora/Transport/Service.hpp"
#include "halvora/Transport/TransportTypes.hpp"

namespace halvora {

/// A remote device as a central sees it. One object per device per central: the same device is always the
/// same object, so peripherals compare by address. All members are safe to call from any thread; the
/// events they lead to arrive on the central's queue, in order.
class Peripheral : public std::enable_shared_from_this<Peripheral> {
public:
    virtual ~Peripheral() = default;

    /// Stable identifier, upper-case UUID text ("8E3F...-...").
    virtual std::string identifier() const = 0;
    /// The name the host stack reports; absent when the device has none.
    virtual std::optional<std::string> name() const = 0;
    /// The connection state as the central sees it now.
    virtual PeripheralState state() const = 0;

    /// The receiver of this peripheral's events (held weakly).
    virtual void setDelegate(std::weak_ptr<PeripheralDelegate> delegate) = 0;
    /// The receiver of this peripheral's events; nothing when none is set or it is gone.
    virtual std::shared_ptr<PeripheralDelegate> delegate() const = 0;

    /// The services found by the latest discovery.
    virtual std::vector<std::shared_ptr<Service>> services() const = 0;

    /// Discovers services: all of them when `serviceUUIDs` is absent.
    virtual void discoverServices(const std::optional<std::vector<BLEUUID>>& serviceUUIDs) = 0;
    /// Discovers the named characteristics of a service (all of them for an empty list).
    virtual void discoverCharacteristics(const std::vector<BLEUUID>& characteristicUUIDs,
                                         const std::shared_ptr<Service>& service) = 0;
    /// Switches notifications (or indications) on or off; the descriptor-written event follows.
    virtual void setNotifyValue(bool enabled, const std::shared_ptr<Characteristic>& characteristic) = 0;
    /// Writes `value` to a characteristic: with response a did write value event follows (carrying the
    /// device's refusal, if any); without response no event does.
    virtual void writeValue(const std::vector<std::uint8_t>& value,
                            const std::shared_ptr<Characteristic>& characteristic, WriteType type) = 0;
    /// Reads a value; it arrives as a value-updated event.
    virtual void readValue(const std::shared_ptr<Characteristic>& characteristic) = 0;
};

}  // namespace halvora
