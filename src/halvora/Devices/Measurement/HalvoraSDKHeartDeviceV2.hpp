#pragma once

#include "halvora/Devices/Measurement/BloodPressureMonitor.hpp"

namespace halvora {

/// Second-generation blood-pressure monitor ("eBlood-Pressure"). It measures on its own (there is no start
/// command) and its frames are told apart by length alone. One driver reports at most one result for its
/// whole connection.
class HalvoraSDKHeartDeviceV2 : public BloodPressureMonitor {
public:
    static std::string getName() { return "eBlood-Pressure"; }
    static BLEUUID readCharacteristicUUID() { return BLEUUID("0000fff4-0000-1000-8000-00805f9b34fb"); }
    static BLEUUID sendCharacteristicUUID() { return BLEUUID("0000fff3-0000-1000-8000-00805f9b34fb"); }
    static bool matchDevice(const std::shared_ptr<Peripheral>& peripheral);
    static std::optional<std::int32_t> errorCodeFor(std::uint8_t deviceByte);

    using BloodPressureMonitor::BloodPressureMonitor;

    std::string className() const override { return "HalvoraSDKHeartDeviceV2"; }

protected:
    BLEUUID readUUID() const override { return readCharacteristicUUID(); }
    BLEUUID sendUUID() const override { return sendCharacteristicUUID(); }
    void parseFrame(std::span<const std::uint8_t> frame) override;
};

}  // namespace halvora
