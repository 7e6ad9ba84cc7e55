#include "halvora/Devices/Measurement/Thermometer.hpp"

#include "halvora/Manager/HalvoraDeviceDelegate.hpp"

namespace halvora {

std::int32_t Thermometer::calculateCRC(std::span<const std::uint8_t> data) {
    std::uint8_t crc = 0;
    for (std::uint8_t byte : data) crc ^= byte;
    return static_cast<std::int8_t>(crc);
}

void Thermometer::characteristicsReady() {
    reportReady();
    startMeasurement();
}

std::shared_ptr<HalvoraThermometerDelegate> Thermometer::applicationDelegate() const {
    if (auto delegates = context().delegates.lock()) return delegates->thermometerDelegate();
    return nullptr;
}

bool Thermometer::hasDeviceDelegate() const {
    auto delegates = context().delegates.lock();
    return delegates && delegates->deviceDelegate() != nullptr;
}

bool Thermometer::deliverReading(const HalvoraSDKThermometerData& reading) const {
    auto receiver = applicationDelegate();
    if (!receiver) return false;
    receiver->thermometerOnResult(reading);
    return true;
}

}  // namespace halvora
