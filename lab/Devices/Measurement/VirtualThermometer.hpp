#pragma once

#include <memory>
#include <string>

#include "lab/Devices/Measurement/VirtualThermometerBase.hpp"

namespace halvora::lab {

/// A first-generation thermometer. Its name contains "Bluetooth BP" (but is longer, or the kit would take
/// it for the blood-pressure monitor). It measures when it receives FE FD AA A0 0D 0A and sends 8-byte
/// frames FE FD, the unit (15 Fahrenheit, 00 Celsius), 01, the value x 10 (big-endian), 0D 0A, in its own
/// unit.
class VirtualThermometer : public VirtualThermometerBase {
public:
    /// A thermometer with this identity: notifies on 0xFFF1, takes commands on 0xFFF2.
    explicit VirtualThermometer(VirtualPeripheralConfig config);
    /// A thermometer named "Bluetooth BP Thermo" with the given identifier.
    static std::shared_ptr<VirtualThermometer> make(const std::string& identifier, int rssi = -60);

protected:
    void onWrite(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value, WriteType type) override;
    std::vector<std::uint8_t> readingFrame(double celsius, const ThermometerScript& script) const override;
};

}  // namespace halvora::lab
