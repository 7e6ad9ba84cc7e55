#include "lab/Devices/Measurement/VirtualHeartDeviceV3.hpp"

namespace halvora::lab {

namespace {

constexpr std::uint8_t kStart = 0x02;
constexpr std::uint8_t kAddress = 0x40;
constexpr std::uint8_t kFromMonitor = 0xDD;
constexpr std::uint8_t kBatteryAnswer = 0xD4;
constexpr std::uint8_t kCommandStart = 0x01;
constexpr std::uint8_t kCommandBattery = 0x03;

std::uint8_t high(int value) { return static_cast<std::uint8_t>((value >> 8) & 0xFF); }
std::uint8_t low(int value) { return static_cast<std::uint8_t>(value & 0xFF); }

/// Appends the check byte: the XOR of every byte after the leading 02.
std::vector<std::uint8_t> sealed(std::vector<std::uint8_t> frame) {
    std::uint8_t check = 0;
    for (std::size_t i = 1; i < frame.size(); ++i) check ^= frame[i];
    frame.push_back(check);
    return frame;
}

}  // namespace

VirtualHeartDeviceV3::VirtualHeartDeviceV3(VirtualPeripheralConfig config)
    : VirtualBloodPressureMonitor(std::move(config), BLEUUID("FFF4"), BLEUUID("FFF3")) {}

std::shared_ptr<VirtualHeartDeviceV3> VirtualHeartDeviceV3::make(const std::string& identifier, int rssi) {
    VirtualPeripheralConfig config;
    config.identifier = identifier;
    config.name = "Belter_BT";
    config.localName = "Belter_BT";
    config.rssi = rssi;
    return std::make_shared<VirtualHeartDeviceV3>(config);
}

void VirtualHeartDeviceV3::onWrite(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value, WriteType) {
    if (characteristic != BLEUUID("FFF3") || value.size() != 9 || value[0] != kStart || value[1] != kAddress) return;
    if (value[7] == kCommandStart) {
        measure();
    } else if (value[7] == kCommandBattery) {
        send(sealed({kStart, kAddress, kBatteryAnswer, 0x04, 0x00, 0x00, 0x00, low(script().battery)}));
    }
}

std::vector<std::uint8_t> VirtualHeartDeviceV3::startedFrame() const {
    // The monitor echoes the start command before it inflates.
    return {0x02, 0x40, 0xDD, 0x04, 0xFF, 0xFD, 0x02, 0x01, 0x98};
}

std::vector<std::uint8_t> VirtualHeartDeviceV3::pressureFrame(int pressure) const {
    return sealed({kStart, kAddress, kFromMonitor, 0x02, high(pressure), low(pressure)});
}

std::vector<std::uint8_t> VirtualHeartDeviceV3::resultFrame(int systolic, int diastolic, int pulse) const {
    return sealed({kStart, kAddress, kFromMonitor, 0x0C, 0x00, high(systolic), low(systolic), high(diastolic),
                   low(diastolic), 0x00, 0x00, high(pulse), low(pulse), 0x00, 0x00, 0x00});
}

std::vector<std::uint8_t> VirtualHeartDeviceV3::errorFrame(std::uint8_t error) const {
    return sealed({kStart, kAddress, kFromMonitor, 0x04, 0xFF, 0x00, 0x00, error});
}

}  // namespace halvora::lab
