#pragma once

#include "halvora/Devices/Measurement/BloodPressureMonitor.hpp"

namespace halvora {

/// Second-generation blood-pressure monitor ("eBlood-Pressure"). It measures on its own (there is no start
/// command) and its frames are told apart by length alone. One driver reports at most one result for its
/// whole connection.
class HalvoraSDKHeartDeviceV2 : public BloodPressureMonitor {
public:
    /// The advertised name this class serves.
    static std::string getName() { return "eBlood-Pressure"; }
    /// The notifying characteristic, 0xFFF4.
    static BLEUUID readCharacteristicUUID() { return BLEUUID("0000fff4-0000-1000-8000-00805f9b34fb"); }
    /// The command characteristic, 0xFFF3 (nothing is sent to this generation).
    static BLEUUID sendCharacteristicUUID() { return BLEUUID("0000fff3-0000-1000-8000-00805f9b34fb"); }
    /// True for a peripheral named exactly "eBlood-Pressure".
    static bool matchDevice(const std::shared_ptr<Peripheral>& peripheral);
    /// The reported code for a device error byte (01 to 06), or nothing for a byte the monitor does not document.
    static std::optional<std::int32_t> errorCodeFor(std::uint8_t deviceByte);

    /// The blood-pressure monitor's constructors.
    using BloodPressureMonitor::BloodPressureMonitor;

    std::string className() const override { return "HalvoraSDKHeartDeviceV2"; }

protected:
    BLEUUID readUUID() const override { return readCharacteristicUUID(); }
    BLEUUID sendUUID() const override { return sendCharacteristicUUID(); }
    void parseFrame(std::span<const std::uint8_t> frame) override;
};

}  // namespace halvora
