#pragma once

#include "halvora/Devices/Measurement/Thermometer.hpp"

namespace halvora {

/// Second-generation thermometer: names containing "e-Thermometer" or "Belter_TP", in any letter case.
///
/// Frames carry their type at byte 4 after a 4-byte header (02 20 DD 0A); a 10-byte notification is the
/// same frame without its header. Type AA or FF is a reading (byte 5 flags: bit 0 Fahrenheit, bit 1 mode 3;
/// bytes 6-7 the Celsius temperature x 100, big-endian), DD acknowledges a command (byte 5 command, byte 6
/// data) and EE reports a device error (byte 5). Each delivered reading is acknowledged with command 0x29.
/// Commands go out as 02 20 DD 02 FD, the command byte, then the XOR of bytes 1 to 5.
class HalvoraSDKThermometerV2 : public Thermometer {
public:
    /// The command that acknowledges a reading.
    static constexpr std::uint8_t kAcknowledgeReading = 0x29;

    /// The first advertised name fragment this class serves.
    static std::string getName() { return "e-Thermometer"; }
    /// The second advertised name fragment this class serves.
    static std::optional<std::string> getSecondName() { return "Belter_TP"; }
    /// The notifying characteristic, 0xFFF4.
    static BLEUUID readCharacteristicUUID() { return BLEUUID("0000fff4-0000-1000-8000-00805f9b34fb"); }
    /// The command characteristic, 0xFFF3.
    static BLEUUID sendCharacteristicUUID() { return BLEUUID("0000fff3-0000-1000-8000-00805f9b34fb"); }
    /// The name, lower-cased, contains "e-thermometer" or "belter_tp".
    static bool isNameValid(const std::string& name);
    /// False for a peripheral without a name, else isNameValid() of its name.
    static bool matchDevice(const std::shared_ptr<Peripheral>& peripheral);
    /// Every frame passes.
    static bool checkValue(std::span<const std::uint8_t> /*frame*/) { return true; }
    /// The 7-byte command frame for a command byte (the low 8 bits of `command`).
    static std::vector<std::uint8_t> commandFrame(std::int32_t command);
    /// The reported code for a device error byte, or nothing for a byte that is not reported.
    static std::optional<std::int32_t> errorCodeFor(std::uint8_t deviceByte);

    /// The thermometer base's constructors.
    using Thermometer::Thermometer;

    std::string className() const override { return "HalvoraSDKThermometerV2"; }
    /// Sends a command byte to the thermometer.
    void sendCommand(std::int32_t command);

protected:
    BLEUUID readUUID() const override { return readCharacteristicUUID(); }
    BLEUUID sendUUID() const override { return sendCharacteristicUUID(); }
    void parseFrame(std::span<const std::uint8_t> frame) override;

private:
    void parseReading(std::span<const std::uint8_t> frame);
    void parseAcknowledgement(std::span<const std::uint8_t> frame);
    void parseError(std::span<const std::uint8_t> frame);
};

}  // namespace halvora
