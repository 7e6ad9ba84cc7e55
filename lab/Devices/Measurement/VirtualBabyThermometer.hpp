#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "lab/Devices/Measurement/BabyThermometerScript.hpp"
#include "lab/Devices/Measurement/ScriptedMeasurementDevice.hpp"

namespace halvora::lab {

/// The continuous-wear baby thermometer "iCcur". Service cccc1e08-93d4-4c06-bcba-e719578f1408; it listens on
/// ccccaa01-... and notifies on ccccaa02-.... When it receives the byte 01 it starts sending its sensor
/// readings as text (see BabyThermometerScript).
class VirtualBabyThermometer : public ScriptedMeasurementDevice {
public:
    /// A baby thermometer with this identity and the default script.
    explicit VirtualBabyThermometer(VirtualPeripheralConfig config);
    /// A thermometer with the given name (it must contain "iCcur" or "thermF" for the kit to know it).
    static std::shared_ptr<VirtualBabyThermometer> make(const std::string& identifier, int rssi = -60,
                                                        const std::string& name = "iCcur");

    /// Replaces the script; it applies from the next measurement.
    void setScript(const BabyThermometerScript& script);
    /// The current script.
    BabyThermometerScript script() const;
    /// The text of value `index` of a measurement under the current script.
    std::string valueText(std::size_t index) const;

protected:
    void onWrite(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value, WriteType type) override;

private:
    mutable std::mutex mutex_;
    BabyThermometerScript script_;
};

}  // namespace halvora::lab
