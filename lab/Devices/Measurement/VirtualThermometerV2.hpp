#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "lab/Devices/Measurement/VirtualThermometerBase.hpp"

namespace halvora::lab {

/// A second-generation thermometer ("e-Thermometer"). It measures on its own once notifications are on.
/// Its frames are 14 bytes: header 02 20 DD 0A, type, fields, zero padding and an XOR of bytes 1 to 12
/// at the end. Readings: AA, the flags (bit 0 Fahrenheit, bit 1 mode 3), the Celsius value x 100
/// (big-endian). Acknowledgements: DD, the command, its data. Errors: EE, the error byte.
///
/// Commands arrive as 02 20 DD 02 FD, the command, the XOR of bytes 1 to 5; a frame with a wrong check byte is
/// ignored. Command 29 acknowledges a reading and gets no answer; any other command is answered with an
/// acknowledgement (or with an error frame when the script refuses it).
class VirtualThermometerV2 : public VirtualThermometerBase {
public:
    /// A thermometer with this identity: notifies on 0xFFF4, takes commands on 0xFFF3.
    explicit VirtualThermometerV2(VirtualPeripheralConfig config);
    /// A thermometer named "e-Thermometer" with the given identifier.
    static std::shared_ptr<VirtualThermometerV2> make(const std::string& identifier, int rssi = -60);

    /// Readings the kit acknowledged (command 29).
    int acknowledgedReadings() const { return acknowledged_.load(); }
    /// Other commands received with a good check byte.
    int commandsReceived() const { return commands_.load(); }

protected:
    void onWrite(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value, WriteType type) override;
    void onNotifyChanged(const BLEUUID& characteristic, bool enabled) override;
    std::vector<std::uint8_t> readingFrame(double celsius, const ThermometerScript& script) const override;
    std::vector<std::uint8_t> errorFrame(std::uint8_t error) const override;

private:
    std::vector<std::uint8_t> frame(std::uint8_t type, std::uint8_t a, std::uint8_t b, std::uint8_t c) const;

    std::atomic<int> acknowledged_{0};
    std::atomic<int> commands_{0};
};

}  // namespace halvora::lab
