#pragma once

#include "halvora/Devices/Measurement/Thermometer.hpp"

namespace halvora {

/// First-generation thermometer: any name containing "Bluetooth BP" (a name equal to it is taken by the
/// blood-pressure monitor first). Frames are 8 bytes: FE FD, unit (15 Fahrenheit), type (00 or 01 a
/// reading), temperature x 10 big-endian, 0D 0A. Readings are delivered as the device sends them, in its
/// unit, mode 0.
class HalvoraSDKThermometer : public Thermometer {
public:
    /// The advertised name fragment this class serves.
    static std::string getName() { return "Bluetooth BP"; }
    /// The notifying characteristic, 0xFFF1.
    static BLEUUID readCharacteristicUUID() { return BLEUUID("0000fff1-0000-1000-8000-00805f9b34fb"); }
    /// The command characteristic, 0xFFF2.
    static BLEUUID sendCharacteristicUUID() { return BLEUUID("0000fff2-0000-1000-8000-00805f9b34fb"); }
    /// The name contains "Bluetooth BP", in exactly that letter case.
    static bool isNameValid(const std::string& name);
    /// False for a peripheral without a name, else isNameValid() of its name.
    static bool matchDevice(const std::shared_ptr<Peripheral>& peripheral);
    /// The start command: FE FD AA A0 0D 0A.
    static const std::vector<std::uint8_t>& startCommand();
    /// Whether a frame carries the device's framing: FE FD at the start and 0D 0A at bytes 6-7. Only the
    /// FD second byte is accepted (FB, 1A and 15 never pass, as the device family has always checked).
    static bool checkValue(std::span<const std::uint8_t> frame);

    /// The thermometer base's constructors.
    using Thermometer::Thermometer;

    std::string className() const override { return "HalvoraSDKThermometer"; }
    void startMeasurement() override;

protected:
    BLEUUID readUUID() const override { return readCharacteristicUUID(); }
    BLEUUID sendUUID() const override { return sendCharacteristicUUID(); }
    void parseFrame(std::span<const std::uint8_t> frame) override;
};

}  // namespace halvora
