#pragma once

#include "halvora/Devices/Measurement/BloodPressureMonitor.hpp"

namespace halvora {

/// First-generation blood-pressure monitor ("Bluetooth BP"). Frames: byte 2 is the frame type (06 started,
/// FB cuff pressure, FC result, FD error). Every result frame is delivered, repeats included.
class HalvoraSDKHeartDevice : public BloodPressureMonitor {
public:
    static std::string getName() { return "Bluetooth BP"; }
    static BLEUUID readCharacteristicUUID() { return BLEUUID("0000fff1-0000-1000-8000-00805f9b34fb"); }
    static BLEUUID sendCharacteristicUUID() { return BLEUUID("0000fff2-0000-1000-8000-00805f9b34fb"); }
    static bool matchDevice(const std::shared_ptr<Peripheral>& peripheral);
    /// The start command: FD FD FA 05 0D 0A.
    static const std::vector<std::uint8_t>& startCommand();
    /// The reported code for a device error byte, or nothing for a byte the monitor does not document.
    static std::optional<std::int32_t> errorCodeFor(std::uint8_t deviceByte);

    using BloodPressureMonitor::BloodPressureMonitor;

    std::string className() const override { return "HalvoraSDKHeartDevice"; }
    void startMeasurement();

protected:
    BLEUUID readUUID() const override { return readCharacteristicUUID(); }
    BLEUUID sendUUID() const override { return sendCharacteristicUUID(); }
    void parseFrame(std::span<const std::uint8_t> frame) override;
};

}  // namespace halvora
