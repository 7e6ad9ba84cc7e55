#include "halvora/Devices/Measurement/SingleServiceDevice.hpp"

#include <algorithm>
#include <cctype>

namespace halvora {

namespace {

const BLEUUID kHardwareRevisionString("2A27");

std::string lowerCased(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

}  // namespace

std::string SingleServiceDevice::format(const std::string& text) {
    return "cccc" + text + "-93d4-4c06-bcba-e719578f1408";
}

void SingleServiceDevice::writeRawData(const std::vector<std::uint8_t>& data) {
    writeInPieces(data, sendCharacteristic_);
}

void SingleServiceDevice::peripheralDidDiscoverServices(const std::shared_ptr<Peripheral>& peripheral,
                                                        const OptionalError& error) {
    if (error) return;
    if (auto service = discoverCharacteristicsOfService(peripheral, serviceUUID(), characteristicsToDiscover())) {
        rs232Service_ = service;
    }
}

void SingleServiceDevice::peripheralDidDiscoverCharacteristicsForService(const std::shared_ptr<Peripheral>& peripheral,
                                                                         const std::shared_ptr<Service>& service,
                                                                         const OptionalError& error) {
    if (error || !service || !peripheral) return;
    for (const auto& characteristic : service->characteristics()) {
        // A device whose two identifiers are equal gets its one characteristic as the notifying one.
        if (characteristic->uuid() == readUUID()) {
            readCharacteristic_ = characteristic;
            peripheral->setNotifyValue(true, characteristic);
        } else if (characteristic->uuid() == sendUUID()) {
            sendCharacteristic_ = characteristic;
        } else if (readsHardwareRevision() && characteristic->uuid() == kHardwareRevisionString) {
            peripheral->readValue(characteristic);
        }
    }
    characteristicsReady();
}

void SingleServiceDevice::peripheralDidWriteValueForDescriptor(const std::shared_ptr<Peripheral>& /*peripheral*/,
                                                               const std::shared_ptr<Characteristic>& /*c*/,
                                                               const OptionalError& /*error*/) {
    // Ready again once notifications are on, whatever the outcome of the write.
    reportReady();
}

void SingleServiceDevice::peripheralDidUpdateValueForCharacteristic(
    const std::shared_ptr<Peripheral>& /*peripheral*/, const std::shared_ptr<Characteristic>& characteristic,
    const std::vector<std::uint8_t>& value, const OptionalError& error) {
    if (error || !characteristic || isReleased() || characteristic != readCharacteristic_) return;
    parseFrame(value);
}

Date SingleServiceDevice::now() const {
    const auto& executor = context().executor;
    return executor ? executor->date() : Date{};
}

std::optional<std::string> SingleServiceDevice::peripheralName(const std::shared_ptr<Peripheral>& peripheral) {
    if (!peripheral) return std::nullopt;
    return peripheral->name();
}

bool SingleServiceDevice::containsIgnoringCase(const std::string& name, const std::string& fragment) {
    return lowerCased(name).find(lowerCased(fragment)) != std::string::npos;
}

}  // namespace halvora
