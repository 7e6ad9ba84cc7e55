#include "lab/Devices/Measurement/VirtualBabyThermometer.hpp"

#include <limits>

#include "lab/Devices/Measurement/BabyThermometerSensor.hpp"

namespace halvora::lab {

namespace {

const BLEUUID kService("cccc1e08-93d4-4c06-bcba-e719578f1408");
const BLEUUID kCommand("ccccaa01-93d4-4c06-bcba-e719578f1408");
const BLEUUID kValue("ccccaa02-93d4-4c06-bcba-e719578f1408");
constexpr std::uint8_t kStart = 0x01;

}  // namespace

VirtualBabyThermometer::VirtualBabyThermometer(VirtualPeripheralConfig config)
    : ScriptedMeasurementDevice(std::move(config)) {
    addService(kService);
    addCharacteristic(kService, kCommand, CharacteristicPropertyWrite | CharacteristicPropertyWriteWithoutResponse);
    addCharacteristic(kService, kValue, CharacteristicPropertyNotify);
}

std::shared_ptr<VirtualBabyThermometer> VirtualBabyThermometer::make(const std::string& identifier, int rssi,
                                                                     const std::string& name) {
    VirtualPeripheralConfig config;
    config.identifier = identifier;
    config.name = name;
    config.localName = name;
    config.rssi = rssi;
    return std::make_shared<VirtualBabyThermometer>(config);
}

void VirtualBabyThermometer::setScript(const BabyThermometerScript& script) {
    std::lock_guard lock(mutex_);
    script_ = script;
}

BabyThermometerScript VirtualBabyThermometer::script() const {
    std::lock_guard lock(mutex_);
    return script_;
}

std::string VirtualBabyThermometer::valueText(std::size_t index) const {
    const BabyThermometerScript s = script();
    const std::size_t perPass = s.readingsPerPass();
    std::size_t readings = 0;
    if (perPass > 0) {
        readings =
            s.repeats <= 0 ? std::numeric_limits<std::size_t>::max() : perPass * static_cast<std::size_t>(s.repeats);
    }
    if (index >= readings) {
        const std::size_t raw = index - readings;
        return raw < s.rawValues.size() ? s.rawValues[raw] : std::string();
    }
    const double body = s.bodyTemperatures[index % s.bodyTemperatures.size()];
    const double ambient = s.ambientTemperatures[index % s.ambientTemperatures.size()];
    return BabyThermometerSensor::valueText(BabyThermometerSensor::bodyReading(body),
                                            BabyThermometerSensor::ambientReading(ambient)) +
           s.suffix;
}

void VirtualBabyThermometer::onWrite(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value, WriteType) {
    if (characteristic != kCommand || value != std::vector<std::uint8_t>{kStart}) return;
    const BabyThermometerScript s = script();
    // Nothing to send: no values at all, or nothing but raw texts behind readings that never end.
    if (s.valueCount() == 0 && (s.repeats > 0 || s.readingsPerPass() == 0)) return;
    startPlayback(s.firstReadingAfter, s.interval, s.valueCount(), [this](std::size_t index) {
        const std::string text = valueText(index);
        if (!text.empty()) notify(kValue, std::vector<std::uint8_t>(text.begin(), text.end()));
    });
}

}  // namespace halvora::lab
