#pragma once

#include <memory>
#include <vector>

#include "halvora/Transport/AdvertisementData.hpp"
#include "halvora/Transport/BLEError.hpp"

namespace halvora {

class Central;
class Peripheral;

/// Events of a central. They arrive in order on the queue given when the central was made.
class CentralDelegate {
public:
    virtual ~CentralDelegate() = default;

    /// The power state changed (or was reported for the first time); read it with central.state().
    virtual void centralManagerDidUpdateState(Central& /*central*/) {}
    /// An advertisement was received while scanning; `rssi` in dBm. With duplicates allowed, every advertisement
    /// is reported.
    virtual void centralManagerDidDiscoverPeripheral(Central& /*central*/,
                                                     const std::shared_ptr<Peripheral>& /*peripheral*/,
                                                     const AdvertisementData& /*advertisementData*/, int /*rssi*/) {}
    /// The link to `peripheral` is up.
    virtual void centralManagerDidConnectPeripheral(Central& /*central*/,
                                                    const std::shared_ptr<Peripheral>& /*peripheral*/) {}
    /// A connection attempt failed; `error` says why.
    virtual void centralManagerDidFailToConnectPeripheral(Central& /*central*/,
                                                          const std::shared_ptr<Peripheral>& /*peripheral*/,
                                                          const OptionalError& /*error*/) {}
    /// The link is down: cancelled by the kit (no error) or lost (with the reason).
    virtual void centralManagerDidDisconnectPeripheral(Central& /*central*/,
                                                       const std::shared_ptr<Peripheral>& /*peripheral*/,
                                                       const OptionalError& /*error*/) {}
    /// Sent once, before the first state update, to a central made with a restore identifier under which
    /// peripherals were connected.
    virtual void centralManagerWillRestoreState(Central& /*central*/,
                                                const std::vector<std::shared_ptr<Peripheral>>& /*peripherals*/) {}
};

}  // namespace halvora
