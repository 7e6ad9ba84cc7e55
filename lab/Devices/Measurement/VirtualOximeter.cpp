#include "lab/Devices/Measurement/VirtualOximeter.hpp"

#include <algorithm>

namespace halvora::lab {

namespace {

const BLEUUID kService("FFE0");
const BLEUUID kData("FFE1");
const BLEUUID kDeviceInformation("180A");
const BLEUUID kHardwareRevision("2A27");

constexpr std::size_t kFrameLength = 20;
constexpr std::size_t kFirstWaveStart = 7;
constexpr std::size_t kFirstWaveSamples = 12;

std::uint8_t byteOf(int value) {
    return static_cast<std::uint8_t>(std::clamp(value, 0, 255));
}

}  // namespace

VirtualOximeter::VirtualOximeter(VirtualPeripheralConfig config) : ScriptedMeasurementDevice(std::move(config)) {
    addService(kService);
    addCharacteristic(kService, kData, CharacteristicPropertyNotify | CharacteristicPropertyWriteWithoutResponse);
    addService(kDeviceInformation);
    addCharacteristic(kDeviceInformation, kHardwareRevision, CharacteristicPropertyRead);
    setReadValue(kHardwareRevision, {'M', '7', '0', 'C', ' ', '1', '.', '2'});
}

std::shared_ptr<VirtualOximeter> VirtualOximeter::make(const std::string& identifier, int rssi) {
    VirtualPeripheralConfig config;
    config.identifier = identifier;
    config.name = "BLT_M70C";
    config.localName = config.name;
    config.rssi = rssi;
    return std::make_shared<VirtualOximeter>(config);
}

void VirtualOximeter::setScript(const OximeterScript& script) {
    std::lock_guard lock(mutex_);
    script_ = script;
}

OximeterScript VirtualOximeter::script() const {
    std::lock_guard lock(mutex_);
    return script_;
}

std::vector<std::vector<std::uint8_t>> VirtualOximeter::cycleFrames(int cycle) const {
    const OximeterScript s = script();
    std::vector<std::uint8_t> marker(kFrameLength, 0x00);
    marker[0] = 0xAA;
    marker[1] = 0x55;
    marker[2] = 0x41;
    std::vector<std::uint8_t> values(kFrameLength, 0x00);
    values[15] = byteOf(s.pi);
    values[16] = byteOf(s.sp2);
    values[17] = byteOf(s.lpm);
    values[18] = byteOf(s.rpm);
    values[19] = static_cast<std::uint8_t>(cycle);
    const auto samples = s.waveSamples(cycle);
    std::vector<std::uint8_t> wave1(kFrameLength, 0x00);
    std::copy_n(samples.begin(), kFirstWaveSamples, wave1.begin() + kFirstWaveStart);
    std::vector<std::uint8_t> wave2(samples.begin() + kFirstWaveSamples, samples.end());
    if (s.skipMarkers && cycle > 0) return {values, wave1, wave2};
    return {marker, values, wave1, wave2};
}

void VirtualOximeter::onNotifyChanged(const BLEUUID& characteristic, bool enabled) {
    if (!enabled || characteristic != kData) return;
    const OximeterScript s = script();
    startPlayback(s.firstCycleAfter, s.cycleInterval, static_cast<std::size_t>(std::max(s.cycles, 0)),
                  [this](std::size_t cycle) { playCycle(static_cast<int>(cycle)); });
}

void VirtualOximeter::playCycle(int cycle) {
    const Duration gap = script().notificationInterval;
    const auto frames = cycleFrames(cycle);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        if (i == 0) {
            notify(kData, frames[i]);
            continue;
        }
        std::weak_ptr<VirtualPeripheral> weak = weak_from_this();
        schedule(gap * static_cast<int>(i), [weak, frame = frames[i]] {
            if (auto self = weak.lock(); self && self->isConnected()) self->notify(kData, frame);
        });
    }
}

}  // namespace halvora::lab
