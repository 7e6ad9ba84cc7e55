#include "lab/Devices/Measurement/VirtualThermometerV3.hpp"

#include <algorithm>
#include <cmath>

namespace halvora::lab {

namespace {

constexpr std::uint8_t kHundredths = 0x80;
constexpr long kLargestValue = 0x3FFF;  // 14 bits
constexpr std::uint8_t kStatusMeasured = 0x01;

}  // namespace

VirtualThermometerV3::VirtualThermometerV3(VirtualPeripheralConfig config)
    : VirtualThermometerBase(std::move(config), BLEUUID("FFF1"), BLEUUID("FFF2")) {}

std::shared_ptr<VirtualThermometerV3> VirtualThermometerV3::make(const std::string& identifier, int rssi) {
    VirtualPeripheralConfig config;
    config.identifier = identifier;
    config.name = "DMT-4760b";
    config.localName = config.name;
    config.rssi = rssi;
    return std::make_shared<VirtualThermometerV3>(config);
}

void VirtualThermometerV3::onNotifyChanged(const BLEUUID& characteristic, bool enabled) {
    if (enabled && characteristic == notifyUUID()) measure();
}

std::vector<std::uint8_t> VirtualThermometerV3::readingFrame(double celsius, const ThermometerScript& s) const {
    const double scale = s.hundredths ? 100.0 : 10.0;
    const long value = std::clamp(std::lround(celsius * scale), 0L, kLargestValue);
    const auto high = static_cast<std::uint8_t>((value >> 8) | (s.hundredths ? kHundredths : 0x00));
    const auto low = static_cast<std::uint8_t>(value & 0xFF);
    std::vector<std::uint8_t> out = {0xFA, 0xAA, 0xAA, 0xAF, kStatusMeasured, 0x00, 0x00, high, low};
    std::uint8_t check = 0;
    for (std::size_t i = 4; i < out.size(); ++i) check ^= out[i];
    out.push_back(s.corruptCheck ? static_cast<std::uint8_t>(~check) : check);
    out.push_back(0xF5);
    out.push_back(0x5F);
    return out;
}

}  // namespace halvora::lab
