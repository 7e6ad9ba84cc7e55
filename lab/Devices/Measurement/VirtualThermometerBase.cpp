#include "lab/Devices/Measurement/VirtualThermometerBase.hpp"

#include <limits>

namespace halvora::lab {

VirtualThermometerBase::VirtualThermometerBase(VirtualPeripheralConfig config, const BLEUUID& notifyUUID,
                                               const BLEUUID& writeUUID)
    : ScriptedMeasurementDevice(std::move(config)), notifyUUID_(notifyUUID), writeUUID_(writeUUID) {
    addService(serviceUUID());
    addCharacteristic(serviceUUID(), notifyUUID, CharacteristicPropertyNotify);
    addCharacteristic(serviceUUID(), writeUUID,
                      CharacteristicPropertyWrite | CharacteristicPropertyWriteWithoutResponse);
}

void VirtualThermometerBase::setScript(const ThermometerScript& script) {
    std::lock_guard lock(mutex_);
    script_ = script;
}

ThermometerScript VirtualThermometerBase::script() const {
    std::lock_guard lock(mutex_);
    return script_;
}

void VirtualThermometerBase::measure() {
    const ThermometerScript s = script();
    // Nothing to play: no readings, and no error frames (or readings that would play forever).
    if (s.temperatures.empty() && (s.errors.empty() || s.repeats <= 0)) return;
    startPlayback(s.firstReadingAfter, s.interval, s.stepCount(), [this, s](std::size_t index) { playStep(s, index); });
}

void VirtualThermometerBase::playStep(const ThermometerScript& s, std::size_t index) {
    const std::size_t readings = s.repeats <= 0 ? std::numeric_limits<std::size_t>::max()
                                                : s.temperatures.size() * static_cast<std::size_t>(s.repeats);
    std::vector<std::uint8_t> frame;
    if (index < readings) {
        frame = readingFrame(s.temperatures[index % s.temperatures.size()], s);
    } else if (index - readings < s.errors.size()) {
        frame = errorFrame(s.errors[index - readings]);
    }
    if (!frame.empty()) send(frame);
}

}  // namespace halvora::lab
