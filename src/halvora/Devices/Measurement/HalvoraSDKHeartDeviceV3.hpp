#pragma once

#include "halvora/Devices/Measurement/BloodPressureMonitor.hpp"

namespace halvora {

/// Third-generation blood-pressure monitor ("Belter_BT"). Frames start 02 40 and are told apart by length;
/// errors count only once the current measurement has sent a cuff pressure.
class HalvoraSDKHeartDeviceV3 : public BloodPressureMonitor {
public:
    /// The advertised name this class serves.
    static std::string getName() { return "Belter_BT"; }
    /// The notifying characteristic, 0xFFF4.
    static BLEUUID readCharacteristicUUID() { return BLEUUID("0000fff4-0000-1000-8000-00805f9b34fb"); }
    /// The command characteristic, 0xFFF3.
    static BLEUUID sendCharacteristicUUID() { return BLEUUID("0000fff3-0000-1000-8000-00805f9b34fb"); }
    /// True for a peripheral named exactly "Belter_BT".
    static bool matchDevice(const std::shared_ptr<Peripheral>& peripheral);
    /// 02 40 DD 04 FF FD 02 01 98: the last byte is the XOR of bytes 1 to 7.
    static const std::vector<std::uint8_t>& startCommand();
    /// 02 40 DD 04 FF FD 02 03 9A.
    static const std::vector<std::uint8_t>& batteryCommand();
    /// The reported code for a device error byte, or nothing for a byte the monitor does not document.
    static std::optional<std::int32_t> errorCodeFor(std::uint8_t deviceByte);

    /// The blood-pressure monitor's constructors.
    using BloodPressureMonitor::BloodPressureMonitor;

    std::string className() const override { return "HalvoraSDKHeartDeviceV3"; }
    /// Starts a measurement: clears the progress count and the taken result, then sends the start command.
    void startMeasurement();
    /// Asks for the battery level; it arrives through deviceOnBatteryLevelReceived.
    void getBatteryLevel();
    /// Cuff-pressure frames received since the last startMeasurement().
    std::int32_t progressCount() const { return progressCount_; }

protected:
    BLEUUID readUUID() const override { return readCharacteristicUUID(); }
    BLEUUID sendUUID() const override { return sendCharacteristicUUID(); }
    void parseFrame(std::span<const std::uint8_t> frame) override;

private:
    void parseResult(std::span<const std::uint8_t> frame);

    std::int32_t progressCount_ = 0;
};

}  // namespace halvora
