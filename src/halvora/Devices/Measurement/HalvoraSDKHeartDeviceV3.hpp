#pragma once

#include "halvora/Devices/Measurement/BloodPressureMonitor.hpp"

namespace halvora {

/// Third-generation blood-pressure monitor ("Belter_BT"). Frames start 02 40 and are told apart by length;
/// errors count only once the current measurement has sent a cuff pressure.
class HalvoraSDKHeartDeviceV3 : public BloodPressureMonitor {
public:
    static std::string getName() { return "Belter_BT"; }
    static BLEUUID readCharacteristicUUID() { return BLEUUID("0000fff4-0000-1000-8000-00805f9b34fb"); }
    static BLEUUID sendCharacteristicUUID() { return BLEUUID("0000fff3-0000-1000-8000-00805f9b34fb"); }
    static bool matchDevice(const std::shared_ptr<Peripheral>& peripheral);
    /// 02 40 DD 04 FF FD 02 01 98: the last byte is the XOR of bytes 1 to 7.
    static const std::vector<std::uint8_t>& startCommand();
    /// 02 40 DD 04 FF FD 02 03 9A.
    static const std::vector<std::uint8_t>& batteryCommand();
    static std::optional<std::int32_t> errorCodeFor(std::uint8_t deviceByte);

    using BloodPressureMonitor::BloodPressureMonitor;

    std::string className() const override { return "HalvoraSDKHeartDeviceV3"; }
    void startMeasurement();
    void getBatteryLevel();
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
