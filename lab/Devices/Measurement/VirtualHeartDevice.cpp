#include "lab/Devices/Measurement/VirtualHeartDevice.hpp"

namespace halvora::lab {

namespace {

// The monitor's frames: FD FD, a type byte, the fields, then CR LF on the longer ones.
constexpr std::uint8_t kSync = 0xFD;
constexpr std::uint8_t kStarted = 0x06;
constexpr std::uint8_t kPressure = 0xFB;
constexpr std::uint8_t kResult = 0xFC;
constexpr std::uint8_t kError = 0xFD;
constexpr std::uint8_t kStartCommand = 0xFA;

std::uint8_t low(int value) { return static_cast<std::uint8_t>(value & 0xFF); }

}  // namespace

VirtualHeartDevice::VirtualHeartDevice(VirtualPeripheralConfig config)
    : VirtualBloodPressureMonitor(std::move(config), BLEUUID("FFF1"), BLEUUID("FFF2")) {}

std::shared_ptr<VirtualHeartDevice> VirtualHeartDevice::make(const std::string& identifier, int rssi) {
    VirtualPeripheralConfig config;
    config.identifier = identifier;
    config.name = "Bluetooth BP";
    config.localName = "Bluetooth BP";
    config.rssi = rssi;
    return std::make_shared<VirtualHeartDevice>(config);
}

void VirtualHeartDevice::onWrite(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value, WriteType) {
    if (characteristic != BLEUUID("FFF2")) return;
    if (value.size() >= 3 && value[0] == kSync && value[1] == kSync && value[2] == kStartCommand) measure();
}

std::vector<std::uint8_t> VirtualHeartDevice::startedFrame() const { return {kSync, kSync, kStarted, 0x0D, 0x0A}; }

std::vector<std::uint8_t> VirtualHeartDevice::pressureFrame(int pressure) const {
    // The cuff pressure's high byte would go in byte 3; cuff pressures stay below 256 here.
    return {kSync, kSync, kPressure, 0x00, low(pressure)};
}

std::vector<std::uint8_t> VirtualHeartDevice::resultFrame(int systolic, int diastolic, int pulse) const {
    return {kSync, kSync, kResult, low(systolic), low(diastolic), low(pulse), 0x0D, 0x0A};
}

std::vector<std::uint8_t> VirtualHeartDevice::errorFrame(std::uint8_t error) const {
    return {kSync, kSync, kError, error, 0x0D, 0x0A};
}

}  // namespace halvora::lab
