#pragma once

#include "lab/Devices/Measurement/VirtualBloodPressureMonitor.hpp"

namespace halvora::lab {

/// A second-generation monitor, "eBlood-Pressure": it has no start command; it measures on its own after a
/// connection when its script says so (or when measure() is called), and announces its battery level.
class VirtualHeartDeviceV2 : public VirtualBloodPressureMonitor {
public:
    /// A monitor with this identity: notifies on 0xFFF4, takes commands on 0xFFF3.
    explicit VirtualHeartDeviceV2(VirtualPeripheralConfig config);
    /// A monitor named "eBlood-Pressure" with the given identifier, advertising at `rssi` dBm.
    static std::shared_ptr<VirtualHeartDeviceV2> make(const std::string& identifier, int rssi = -60);

protected:
    void onNotifyChanged(const BLEUUID& characteristic, bool enabled) override;
    std::vector<std::uint8_t> startedFrame() const override;
    std::vector<std::uint8_t> pressureFrame(int pressure) const override;
    std::vector<std::uint8_t> resultFrame(int systolic, int diastolic, int pulse) const override;
    std::vector<std::uint8_t> errorFrame(std::uint8_t error) const override;
};

}  // namespace halvora::lab
