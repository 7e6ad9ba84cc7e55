#include "lab/Devices/Measurement/VirtualHeartDeviceV2.hpp"

namespace halvora::lab {

namespace {

std::uint8_t low(int value) { return static_cast<std::uint8_t>(value & 0xFF); }

}  // namespace

VirtualHeartDeviceV2::VirtualHeartDeviceV2(VirtualPeripheralConfig config)
    : VirtualBloodPressureMonitor(std::move(config), BLEUUID("FFF4"), BLEUUID("FFF3")) {}

std::shared_ptr<VirtualHeartDeviceV2> VirtualHeartDeviceV2::make(const std::string& identifier, int rssi) {
    VirtualPeripheralConfig config;
    config.identifier = identifier;
    config.name = "eBlood-Pressure";
    config.localName = "eBlood-Pressure";
    config.rssi = rssi;
    return std::make_shared<VirtualHeartDeviceV2>(config);
}

void VirtualHeartDeviceV2::onNotifyChanged(const BLEUUID& characteristic, bool enabled) {
    if (!enabled || characteristic != notifyUUID()) return;
    const BloodPressureScript s = script();
    // The monitor greets a listener with its battery level: a 9-byte frame, level last.
    send({0xAA, 0x55, 0x09, 0x00, 0x00, 0x00, 0x00, 0x00, low(s.battery)});
    if (!s.autoStartAfter) return;
    std::weak_ptr<VirtualPeripheral> weak = weak_from_this();
    schedule(*s.autoStartAfter, [weak] {
        if (auto self = std::static_pointer_cast<VirtualHeartDeviceV2>(weak.lock())) self->measure();
    });
}

std::vector<std::uint8_t> VirtualHeartDeviceV2::startedFrame() const { return {}; }

std::vector<std::uint8_t> VirtualHeartDeviceV2::pressureFrame(int pressure) const { return {0x20, low(pressure)}; }

std::vector<std::uint8_t> VirtualHeartDeviceV2::resultFrame(int systolic, int diastolic, int pulse) const {
    // 11 bytes: systolic at 2, diastolic at 4, pulse at 8.
    return {0x1E, 0x00, low(systolic), 0x00, low(diastolic), 0x00, 0x00, 0x00, low(pulse), 0x00, 0x00};
}

std::vector<std::uint8_t> VirtualHeartDeviceV2::errorFrame(std::uint8_t error) const {
    return {0xFF, 0xFE, 0xFF, error};
}

}  // namespace halvora::lab
