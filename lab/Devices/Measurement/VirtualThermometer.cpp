#include "lab/Devices/Measurement/VirtualThermometer.hpp"

#include <algorithm>
#include <cmath>

namespace halvora::lab {

namespace {

const std::vector<std::uint8_t> kStartCommand = {0xFE, 0xFD, 0xAA, 0xA0, 0x0D, 0x0A};
constexpr std::uint8_t kUnitFahrenheit = 0x15;
constexpr std::uint8_t kUnitCelsius = 0x00;
constexpr std::uint8_t kReading = 0x01;

}  // namespace

VirtualThermometer::VirtualThermometer(VirtualPeripheralConfig config)
    : VirtualThermometerBase(std::move(config), BLEUUID("FFF1"), BLEUUID("FFF2")) {}

std::shared_ptr<VirtualThermometer> VirtualThermometer::make(const std::string& identifier, int rssi) {
    VirtualPeripheralConfig config;
    config.identifier = identifier;
    config.name = "Bluetooth BP Thermo";
    config.localName = config.name;
    config.rssi = rssi;
    return std::make_shared<VirtualThermometer>(config);
}

void VirtualThermometer::onWrite(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value, WriteType) {
    if (characteristic == writeUUID() && value == kStartCommand) measure();
}

std::vector<std::uint8_t> VirtualThermometer::readingFrame(double celsius, const ThermometerScript& script) const {
    const double shown = script.fahrenheit ? celsius * 9.0 / 5.0 + 32.0 : celsius;
    const auto tenths = static_cast<std::uint16_t>(std::clamp(std::lround(shown * 10.0), 0L, 0xFFFFL));
    return {0xFE,
            0xFD,
            script.fahrenheit ? kUnitFahrenheit : kUnitCelsius,
            kReading,
            static_cast<std::uint8_t>(tenths >> 8),
            static_cast<std::uint8_t>(tenths & 0xFF),
            0x0D,
            0x0A};
}

}  // namespace halvora::lab
