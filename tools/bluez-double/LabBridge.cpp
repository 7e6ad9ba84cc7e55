#include "LabBridge.hpp"

#include "BlueZDouble.hpp"
#include "halvora/Transport/BlueZ/internal/BusLoop.hpp"

namespace halvora::bluezdouble {

void LabBridge::onDevice(const std::shared_ptr<Peripheral>& peripheral,
                         std::function<void(DoubleDevice& device)> work) {
    if (!peripheral) return;
    BlueZDouble* owner = &owner_;
    loop_.post([owner, identifier = peripheral->identifier(), work = std::move(work)] {
        if (auto* device = owner->deviceFor(identifier)) work(*device);
    });
}

void LabBridge::centralManagerDidUpdateState(Central& central) {
    BlueZDouble* owner = &owner_;
    loop_.post([owner, state = central.state()] { owner->labStateChanged(state); });
}

void LabBridge::centralManagerDidDiscoverPeripheral(Central& /*central*/, const std::shared_ptr<Peripheral>& peripheral,
                                                    const AdvertisementData& advertisementData, int rssi) {
    BlueZDouble* owner = &owner_;
    loop_.post([owner, identifier = peripheral->identifier(), advertisementData, rssi] {
        owner->labAdvertisement(identifier, advertisementData, rssi);
    });
}

void LabBridge::centralManagerDidConnectPeripheral(Central& /*central*/,
                                                   const std::shared_ptr<Peripheral>& peripheral) {
    onDevice(peripheral, [](DoubleDevice& device) { device.labConnected(); });
}

void LabBridge::centralManagerDidFailToConnectPeripheral(Central& /*central*/,
                                                         const std::shared_ptr<Peripheral>& peripheral,
                                                         const OptionalError& error) {
    const BLEError reason = error.value_or(BLEError{BLEErrorConnectionFailed, "Connection failed"});
    onDevice(peripheral, [reason](DoubleDevice& device) { device.labConnectFailed(reason); });
}

void LabBridge::centralManagerDidDisconnectPeripheral(Central& /*central*/,
                                                      const std::shared_ptr<Peripheral>& peripheral,
                                                      const OptionalError& /*error*/) {
    onDevice(peripheral, [](DoubleDevice& device) { device.labDisconnected(); });
}

void LabBridge::peripheralDidDiscoverServices(const std::shared_ptr<Peripheral>& peripheral,
                                              const OptionalError& error) {
    onDevice(peripheral, [error](DoubleDevice& device) { device.labServicesDiscovered(error); });
}

void LabBridge::peripheralDidDiscoverCharacteristicsForService(const std::shared_ptr<Peripheral>& peripheral,
                                                               const std::shared_ptr<Service>& /*service*/,
                                                               const OptionalError& error) {
    onDevice(peripheral, [error](DoubleDevice& device) { device.labCharacteristicsDiscovered(error); });
}

void LabBridge::peripheralDidWriteValueForDescriptor(const std::shared_ptr<Peripheral>& peripheral,
                                                     const std::shared_ptr<Characteristic>& characteristic,
                                                     const OptionalError& error) {
    onDevice(peripheral, [characteristic, error](DoubleDevice& device) {
        if (auto* served = device.characteristicFor(characteristic)) served->labNotifyAnswered(error);
    });
}

void LabBridge::peripheralDidUpdateValueForCharacteristic(const std::shared_ptr<Peripheral>& peripheral,
                                                          const std::shared_ptr<Characteristic>& characteristic,
                                                          const std::vector<std::uint8_t>& value,
                                                          const OptionalError& error) {
    onDevice(peripheral, [characteristic, value, error](DoubleDevice& device) {
        if (auto* served = device.characteristicFor(characteristic)) served->labValue(value, error);
    });
}

void LabBridge::peripheralDidWriteValueForCharacteristic(const std::shared_ptr<Peripheral>& peripheral,
                                                         const std::shared_ptr<Characteristic>& characteristic,
                                                         const OptionalError& error) {
    onDevice(peripheral, [characteristic, error](DoubleDevice& device) {
        if (auto* served = device.characteristicFor(characteristic)) served->labWriteAnswered(error);
    });
}

}  // namespace halvora::bluezdouble
