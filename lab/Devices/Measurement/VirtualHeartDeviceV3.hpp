#pragma once

#include "lab/Devices/Measurement/VirtualBloodPressureMonitor.hpp"

namespace halvora::lab {

/// A third-generation monitor, "Belter_BT": frames start 02 40 and end in an XOR check byte; it measures on
/// its start command and answers the battery command.
class VirtualHeartDeviceV3 : public VirtualBloodPressureMonitor {
public:
    /// A monitor with this identity: notifies on 0xFFF4, takes commands on 0xFFF3.
    explicit VirtualHeartDeviceV3(VirtualPeripheralConfig config);
    /// A monitor named "Belter_BT" with the given identifier, advertising at `rssi` dBm.
    static std::shared_ptr<VirtualHeartDeviceV3> make(const std::string& identifier, int rssi = -60);

protected:
    void onWrite(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value, WriteType type) override;
    std::vector<std::uint8_t> startedFrame() const override;
    std::vector<std::uint8_t> pressureFrame(int pressure) const override;
    std::vector<std::uint8_t> resultFrame(int systolic, int diastolic, int pulse) const override;
    std::vector<std::uint8_t> errorFrame(std::uint8_t error) const override;
};

}  // namespace halvora::lab
