#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "halvora/Core/BLEDevice.hpp"
#include "halvora/Core/DeviceType.hpp"
#include "halvora/Core/DriverContext.hpp"
#include "halvora/Transport/AdvertisementData.hpp"
#include "halvora/Transport/Peripheral.hpp"

namespace halvora {

/// One row of the recognition table: a driver class, the kind it serves, its recogniser and its factory.
struct DriverClass {
    /// The driver class's name, as its className() gives it.
    std::string className;
    /// The device kind the class serves.
    DeviceKind kind = DeviceTypeNone;
    /// The names (or name fragments) it recognises, for tools and documentation.
    std::vector<std::string> names;
    /// The primary service that carries the protocol.
    BLEUUID serviceUUID;
    /// Whether the class serves the peripheral; `advertisement` may be null.
    std::function<bool(const std::shared_ptr<Peripheral>&, const AdvertisementData* advertisement)> matches;
    /// A new driver of the class.
    std::function<std::shared_ptr<BLEDevice>(DriverContext)> create;
    /// Whether the class needs the advertisement to recognise a peripheral (the pill reminder).
    bool needsAdvertisement = false;
};

}  // namespace halvora
