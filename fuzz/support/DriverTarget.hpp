#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "halvora/Core/BLEDevice.hpp"
#include "halvora/Core/DriverContext.hpp"
#include "halvora/Transport/BLEUUID.hpp"
#include "halvora/Transport/TransportTypes.hpp"

namespace halvora::fuzz {

class FuzzInput;

/// A characteristic of the peripheral a driver is fuzzed against.
struct CharacteristicSpec {
    BLEUUID uuid;
    std::uint8_t properties = CharacteristicPropertyNotify;
};

/// A service of that peripheral.
struct ServiceSpec {
    BLEUUID uuid;
    std::vector<CharacteristicSpec> characteristics;
};

/// One of a driver's commands, with its arguments read from the fuzz input. It runs on the driver's
/// callback queue, as the manager's calls do.
using FuzzCommand = std::function<void(BLEDevice& driver, FuzzInput& input)>;

/// Everything the driver fuzz harness needs to know of one driver class.
struct DriverTarget {
    std::string name;  ///< the fuzz target's name, its source file's and its corpus folder's ("bracelet_notifications")
    std::string peripheralName;  ///< the advertised name the peripheral reports
    std::vector<ServiceSpec> services;
    std::function<std::shared_ptr<BLEDevice>(DriverContext)> make;
    std::vector<FuzzCommand> commands;
    std::string driverClass;  ///< the driver class, as the lab's catalog names the device that plays it
};

/// Every driver target, in recognition order.
const std::vector<DriverTarget>& driverTargets();
/// The target of that name; aborts on an unknown name (a build mistake).
const DriverTarget& driverTarget(const std::string& name);

/// The peripheral's characteristics in script order (services in order, then their characteristics).
std::vector<BLEUUID> characteristicOrder(const DriverTarget& target);

}  // namespace halvora::fuzz
