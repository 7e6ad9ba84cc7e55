#pragma once

#include <memory>
#include <string>

#include "lab/Devices/Measurement/VirtualThermometerBase.hpp"

namespace halvora::lab {

/// A third-generation thermometer ("DMT-4760b"). It measures on its own once notifications are on and
/// never reads what is written to it. Its 12-byte frames: FA AA AA AF, a status byte, two reserved bytes,
/// the temperature (bit 7 of the high byte set for hundredths, else tenths; 14 bits of value), the XOR of
/// bytes 4 to 8, then F5 5F.
class VirtualThermometerV3 : public VirtualThermometerBase {
public:
    /// A thermometer with this identity: notifies on 0xFFF1; writes to 0xFFF2 are ignored.
    explicit VirtualThermometerV3(VirtualPeripheralConfig config);
    /// A thermometer named "DMT-4760b" with the given identifier.
    static std::shared_ptr<VirtualThermometerV3> make(const std::string& identifier, int rssi = -60);

protected:
    void onNotifyChanged(const BLEUUID& characteristic, bool enabled) override;
    std::vector<std::uint8_t> readingFrame(double celsius, const ThermometerScript& script) const override;
};

}  // namespace halvora::lab
