#include "halvora/Core/SerialCommandDevice.hpp"

#include "halvora/Core/PreferenceUtils.hpp"

namespace halvora {

SerialCommandDevice::SerialCommandDevice(DriverContext context, Profile profile)
    : BLEDevice(std::move(context)), profile_(std::move(profile)) {
    const auto& executor = this->context().executor;
    queue_ = this->context().callbackQueue;
    if (!queue_ && executor) queue_ = executor->makeQueue(profile_.ownQueueLabel);
    commands_ = std::make_unique<CommandQueue>(executor, queue_);
}

SerialCommandDevice::~SerialCommandDevice() = default;

void SerialCommandDevice::deinit() {
    commands_->dispose();
}

void SerialCommandDevice::writeRawData(const std::vector<std::uint8_t>& data) {
    writeInPieces(data, sendCharacteristic_);
}

std::shared_ptr<PreferenceUtils> SerialCommandDevice::preferences() const {
    return context().preferences ? context().preferences : PreferenceUtils::shared();
}

Date SerialCommandDevice::now() const {
    const auto& executor = context().executor;
    return executor ? executor->date() : Date{};
}

void SerialCommandDevice::peripheralDidDiscoverServices(const std::shared_ptr<Peripheral>& peripheral,
                                                        const OptionalError& error) {
    if (error) return;
    const auto service = discoverCharacteristicsOfService(peripheral, profile_.service, profile_.discoveryOrder);
    if (service) rs232Service_ = service;
}

void SerialCommandDevice::peripheralDidDiscoverCharacteristicsForService(const std::shared_ptr<Peripheral>& peripheral,
                                                                         const std::shared_ptr<Service>& service,
                                                                         const OptionalError& error) {
    if (error || !service || !peripheral) return;
    for (const auto& characteristic : service->characteristics()) {
        if (characteristic->uuid() == profile_.read) {
            readCharacteristic_ = characteristic;
            peripheral->setNotifyValue(true, characteristic);
        } else if (characteristic->uuid() == profile_.send) {
            sendCharacteristic_ = characteristic;
        }
    }
    characteristicsReady(peripheral);
}

void SerialCommandDevice::peripheralDidWriteValueForDescriptor(const std::shared_ptr<Peripheral>& /*peripheral*/,
                                                               const std::shared_ptr<Characteristic>& /*c*/,
                                                               const OptionalError& /*error*/) {
    reportReady();
}

}  // namespace halvora
