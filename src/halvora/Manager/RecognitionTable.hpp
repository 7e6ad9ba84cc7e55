#pragma once

#include <memory>
#include <vector>

#include "halvora/Manager/DriverClass.hpp"

namespace halvora {

/// The driver classes in the order in which they are asked to recognise a peripheral. The order matters: a
/// device named exactly "Bluetooth BP" is a blood-pressure monitor, while longer names containing it reach
/// the thermometer further down.
class RecognitionTable {
public:
    /// Every row, in recognition order.
    static const std::vector<DriverClass>& rows();
    /// The first class that accepts the peripheral. Classes that need the advertisement (the pill reminder)
    /// are asked only when `advertisement` is given.
    static const DriverClass* recognise(const std::shared_ptr<Peripheral>& peripheral,
                                        const AdvertisementData* advertisement);
    /// The first class of `kind` that accepts the peripheral (kinds with several generations try them in
    /// order).
    static const DriverClass* recogniseAsKind(const std::shared_ptr<Peripheral>& peripheral, DeviceKind kind,
                                              const AdvertisementData* advertisement);
    /// The first row of a kind, or nothing when no class of that kind is built.
    static const DriverClass* firstOfKind(DeviceKind kind);
};

}  // namespace halvora
