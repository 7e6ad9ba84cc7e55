#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "halvora/Transport/BLEError.hpp"

namespace halvora {

class Peripheral;
class Service;
class Characteristic;

/// Events of one peripheral. They arrive in order on its central's queue. Every method has an empty default.
class PeripheralDelegate {
public:
    virtual ~PeripheralDelegate() = default;

    /// Service discovery ended; the peripheral's services() now holds what was found. On an error the list
    /// may be incomplete.
    virtual void peripheralDidDiscoverServices(const std::shared_ptr<Peripheral>& /*peripheral*/,
                                               const OptionalError& /*error*/) {}
    /// Characteristic discovery of `service` ended; its characteristics() now holds what was found.
    virtual void peripheralDidDiscoverCharacteristicsForService(const std::shared_ptr<Peripheral>& /*peripheral*/,
                                                                const std::shared_ptr<Service>& /*service*/,
                                                                const OptionalError& /*error*/) {}
    /// The client characteristic configuration descriptor of `characteristic` was written (notifications on
    /// or off).
    virtual void peripheralDidWriteValueForDescriptor(const std::shared_ptr<Peripheral>& /*peripheral*/,
                                                      const std::shared_ptr<Characteristic>& /*characteristic*/,
                                                      const OptionalError& /*error*/) {}
    /// A notification, an indication or the answer to a read. `value` is what arrived.
    virtual void peripheralDidUpdateValueForCharacteristic(const std::shared_ptr<Peripheral>& /*peripheral*/,
                                                           const std::shared_ptr<Characteristic>& /*characteristic*/,
                                                           const std::vector<std::uint8_t>& /*value*/,
                                                           const OptionalError& /*error*/) {}
    /// A write with response was answered.
    virtual void peripheralDidWriteValueForCharacteristic(const std::shared_ptr<Peripheral>& /*peripheral*/,
                                                          const std::shared_ptr<Characteristic>& /*characteristic*/,
                                                          const OptionalError& /*error*/) {}
};

}  // namespace halvora
