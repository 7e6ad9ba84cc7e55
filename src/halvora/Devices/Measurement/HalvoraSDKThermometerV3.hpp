#pragma once

#include "halvora/Devices/Measurement/Thermometer.hpp"

namespace halvora {

/// Third-generation thermometer: names containing "DMT-4760b", in any letter case. It measures on its own
/// and sends nothing back.
///
/// Frames: FA AA AA AF, bytes 4-8 with the temperature in bytes 7-8 (bit 7 of byte 7: hundredths, else
/// tenths; bits 0-5 of byte 7 the high part), byte 9 the XOR of bytes 4 to 8, and F5 5F at the end.
/// Readings are in Celsius, mode 4, without a date. A frame with a wrong check byte is logged as discarded
/// but its reading is still delivered, as the device family has always done.
class HalvoraSDKThermometerV3 : public Thermometer {
public:
    /// The advertised name fragment this class serves.
    static std::string getName() { return "DMT-4760b"; }
    /// The protocol service, 0xFFF0.
    static BLEUUID rsServiceUUID() { return BLEUUID("FFF0"); }
    /// The notifying characteristic, 0xFFF1.
    static BLEUUID readCharacteristicUUID() { return BLEUUID("FFF1"); }
    /// The command characteristic, 0xFFF2 (nothing is sent to this generation).
    static BLEUUID sendCharacteristicUUID() { return BLEUUID("FFF2"); }
    /// The name, lower-cased, contains "dmt-4760b".
    static bool isNameValid(const std::string& name);
    /// False for a peripheral without a name, else isNameValid() of its name.
    static bool matchDevice(const std::shared_ptr<Peripheral>& peripheral);

    /// The thermometer base's constructors.
    using Thermometer::Thermometer;

    std::string className() const override { return "HalvoraSDKThermometerV3"; }

protected:
    BLEUUID serviceUUID() const override { return rsServiceUUID(); }
    BLEUUID readUUID() const override { return readCharacteristicUUID(); }
    BLEUUID sendUUID() const override { return sendCharacteristicUUID(); }
    /// Every characteristic of the service is asked for.
    std::vector<BLEUUID> characteristicsToDiscover() const override { return {}; }
    /// Reports ready and sends nothing.
    void characteristicsReady() override { reportReady(); }
    void parseFrame(std::span<const std::uint8_t> frame) override;
};

}  // namespace halvora
