#include "lab/Devices/Measurement/VirtualBloodPressureMonitor.hpp"

namespace halvora::lab {

namespace {

const BLEUUID kSerialService("FFF0");
const BLEUUID kDeviceInformation("180A");
const BLEUUID kHardwareRevision("2A27");

}  // namespace

VirtualBloodPressureMonitor::VirtualBloodPressureMonitor(VirtualPeripheralConfig config, const BLEUUID& notifyUUID,
                                                         const BLEUUID& writeUUID)
    : VirtualPeripheral(std::move(config)), notifyUUID_(notifyUUID) {
    addService(kSerialService);
    addCharacteristic(kSerialService, notifyUUID, CharacteristicPropertyNotify);
    addCharacteristic(kSerialService, writeUUID,
                      CharacteristicPropertyWrite | CharacteristicPropertyWriteWithoutResponse);
    addService(kDeviceInformation);
    addCharacteristic(kDeviceInformation, kHardwareRevision, CharacteristicPropertyRead);
    setReadValue(kHardwareRevision, {'H', 'W', ' ', '1', '.', '0'});
}

void VirtualBloodPressureMonitor::setScript(const BloodPressureScript& script) {
    std::lock_guard lock(mutex_);
    script_ = script;
}

BloodPressureScript VirtualBloodPressureMonitor::script() const {
    std::lock_guard lock(mutex_);
    return script_;
}

int VirtualBloodPressureMonitor::measurementsStarted() const {
    std::lock_guard lock(mutex_);
    return measurements_;
}

void VirtualBloodPressureMonitor::measure() {
    const BloodPressureScript s = script();
    std::vector<std::vector<std::uint8_t>> frames;
    if (auto started = startedFrame(); !started.empty()) frames.push_back(started);
    for (int pressure : s.cuffPressures()) frames.push_back(pressureFrame(pressure));
    if (s.errorByte) {
        frames.push_back(errorFrame(*s.errorByte));
    } else {
        for (int i = 0; i < std::max(1, s.resultRepeats); ++i) frames.push_back(resultFrame(s.systolic, s.diastolic, s.pulse));
    }
    int generation;
    {
        std::lock_guard lock(mutex_);
        generation = ++measurements_;
    }
    playStep(0, std::move(frames), generation);
}

void VirtualBloodPressureMonitor::playStep(std::size_t step, std::vector<std::vector<std::uint8_t>> frames,
                                           int generation) {
    if (step >= frames.size() || !isConnected()) return;
    {
        // A newer measurement replaces this one.
        std::lock_guard lock(mutex_);
        if (generation != measurements_) return;
    }
    send(frames[step]);
    if (step + 1 >= frames.size()) return;
    std::weak_ptr<VirtualPeripheral> weak = weak_from_this();
    schedule(script().stepInterval, [weak, step, frames = std::move(frames), generation]() mutable {
        auto self = std::static_pointer_cast<VirtualBloodPressureMonitor>(weak.lock());
        if (self) self->playStep(step + 1, std::move(frames), generation);
    });
}

}  // namespace halvora::lab
