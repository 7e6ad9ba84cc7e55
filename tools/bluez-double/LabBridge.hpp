#pragma once

#include <functional>
#include <memory>
#include <string>

#include "halvora/Transport/CentralDelegate.hpp"
#include "halvora/Transport/PeripheralDelegate.hpp"

namespace halvora::bluez {
class BusLoop;
}

namespace halvora::bluezdouble {

class BlueZDouble;
class DoubleDevice;

/// The delegate of the double's lab central and of its peripherals: hands every lab event to the bus
/// thread, where the double turns it into bluetoothd's objects and answers.
class LabBridge : public CentralDelegate, public PeripheralDelegate {
public:
    LabBridge(BlueZDouble& owner, bluez::BusLoop& loop) : owner_(owner), loop_(loop) {}

    void centralManagerDidUpdateState(Central& central) override;
    void centralManagerDidDiscoverPeripheral(Central& central, const std::shared_ptr<Peripheral>& peripheral,
                                             const AdvertisementData& advertisementData, int rssi) override;
    void centralManagerDidConnectPeripheral(Central& central, const std::shared_ptr<Peripheral>& peripheral) override;
    void centralManagerDidFailToConnectPeripheral(Central& central, const std::shared_ptr<Peripheral>& peripheral,
                                                  const OptionalError& error) override;
    void centralManagerDidDisconnectPeripheral(Central& central, const std::shared_ptr<Peripheral>& peripheral,
                                               const OptionalError& error) override;

    void peripheralDidDiscoverServices(const std::shared_ptr<Peripheral>& peripheral,
                                       const OptionalError& error) override;
    void peripheralDidDiscoverCharacteristicsForService(const std::shared_ptr<Peripheral>& peripheral,
                                                        const std::shared_ptr<Service>& service,
                                                        const OptionalError& error) override;
    void peripheralDidWriteValueForDescriptor(const std::shared_ptr<Peripheral>& peripheral,
                                              const std::shared_ptr<Characteristic>& characteristic,
                                              const OptionalError& error) override;
    void peripheralDidUpdateValueForCharacteristic(const std::shared_ptr<Peripheral>& peripheral,
                                                   const std::shared_ptr<Characteristic>& characteristic,
                                                   const std::vector<std::uint8_t>& value,
                                                   const OptionalError& error) override;
    void peripheralDidWriteValueForCharacteristic(const std::shared_ptr<Peripheral>& peripheral,
                                                  const std::shared_ptr<Characteristic>& characteristic,
                                                  const OptionalError& error) override;

private:
    /// Runs `work` on the bus thread with the double's device for `peripheral` (if it still has one).
    void onDevice(const std::shared_ptr<Peripheral>& peripheral, std::function<void(DoubleDevice& device)> work);

    BlueZDouble& owner_;
    bluez::BusLoop& loop_;
};

}  // namespace halvora::bluezdouble
