#include "halvora/Devices/Measurement/BloodPressureMonitor.hpp"

namespace halvora {

void BloodPressureMonitor::writeRawData(const std::vector<std::uint8_t>& data) {
    writeInPieces(data, sendCharacteristic_);
}

void BloodPressureMonitor::peripheralDidDiscoverServices(const std::shared_ptr<Peripheral>& peripheral,
                                                         const OptionalError& error) {
    if (error) return;
    // The device-information service is recognised but not explored.
    if (auto service = discoverCharacteristicsOfService(peripheral, rsServiceUUID(), {sendUUID(), readUUID()})) {
        rs232Service_ = service;
    }
}

void BloodPressureMonitor::peripheralDidDiscoverCharacteristicsForService(
    const std::shared_ptr<Peripheral>& peripheral, const std::shared_ptr<Service>& service,
    const OptionalError& error) {
    if (error || !service) return;
    for (const auto& characteristic : service->characteristics()) {
        if (characteristic->uuid() == readUUID()) {
            readCharacteristic_ = characteristic;
            peripheral->setNotifyValue(true, characteristic);
        } else if (characteristic->uuid() == sendUUID()) {
            sendCharacteristic_ = characteristic;
        } else if (characteristic->uuid() == hardwareRevisionStringUUID()) {
            peripheral->readValue(characteristic);
        }
    }
    reportReady();
}

void BloodPressureMonitor::peripheralDidWriteValueForDescriptor(const std::shared_ptr<Peripheral>& /*peripheral*/,
                                                                const std::shared_ptr<Characteristic>& /*c*/,
                                                                const OptionalError& /*error*/) {
    // Ready again once notifications are on, whatever the outcome of the write.
    reportReady();
}

void BloodPressureMonitor::peripheralDidUpdateValueForCharacteristic(
    const std::shared_ptr<Peripheral>& /*peripheral*/, const std::shared_ptr<Characteristic>& characteristic,
    const std::vector<std::uint8_t>& value, const OptionalError& error) {
    if (error || !characteristic) return;
    if (characteristic == readCharacteristic_) {
        parseFrame(value);
    }
    // The hardware revision string, if it is ever read, is not used.
}

void BloodPressureMonitor::deliverResultUnlessRepeated(const HalvoraSDKHeartData& result) {
    if (lastData_ && lastData_->isEqual(result)) return;
    auto receiver = delegate();
    if (!receiver) return;
    receiver->deviceOnDataReceived(shared_from_this(), result);
    lastData_ = result;
}

void BloodPressureMonitor::reportDeviceError(std::optional<std::int32_t> code) {
    reportError(code ? DeviceError(*code) : DeviceError(std::monostate{}));
}

bool BloodPressureMonitor::nameEquals(const std::shared_ptr<Peripheral>& peripheral, const char* name) {
    if (!peripheral) return false;
    const auto peripheralName = peripheral->name();
    return peripheralName && *peripheralName == name;
}

}  // namespace halvora
