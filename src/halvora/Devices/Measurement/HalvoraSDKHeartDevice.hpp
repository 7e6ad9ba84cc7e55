#pragma once

#include "halvora/Devices/Measurement/BloodPressureMonitor.hpp"

namespace halvora {

/// First-generation blood-pressure monitor ("Bluetooth BP"). Frames: byte 2 is the frame type (06 started,
/// FB cuff pressure, FC result, FD error). Every result frame is delivered, repeats included.
class HalvoraSDKHeartDevice : public BloodPressureMonitor {
public:
    /// The advertised name this class serves.
    static std::string getName() { return "Bluetooth BP"; }
    /// The notifying characteristic, 0xFFF1.
    static BLEUUID readCharacteristicUUID() { return BLEUUID("0000fff1-0000-1000-8000-00805f9b34fb"); }
    /// The command characteristic, 0xFFF2.
    static BLEUUID sendCharacteristicUUID() { return BLEUUID("0000fff2-0000-1000-8000-00805f9b34fb"); }
    /// True for a peripheral named exactly "Bluetooth BP".
    static bool matchDevice(const std::shared_ptr<Peripheral>& peripheral);
    /// The start command: FD FD FA 05 0D 0A.
    static const std::vector<std::uint8_t>& startCommand();
    /// The reported code for a device error byte, or nothing for a byte the monitor does not document.
    static std::optional<std::int32_t> errorCodeFor(std::uint8_t deviceByte);

    /// The blood-pressure monitor's constructors.
    using BloodPressureMonitor::BloodPressureMonitor;

    std::string className() const override { return "HalvoraSDKHeartDevice"; }
    /// Sends the start command; cuff pressures and then the result (or an error) follow as notifications.
    void startMeasurement();

protected:
    BLEUUID readUUID() const override { return readCharacteristicUUID(); }
    BLEUUID sendUUID() const override { return sendCharacteristicUUID(); }
    void parseFrame(std::span<const std::uint8_t> frame) override;
};

}  // namespace halvora
