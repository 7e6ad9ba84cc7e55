#pragma once

#include "lab/Devices/Measurement/VirtualBloodPressureMonitor.hpp"

namespace halvora::lab {

/// A first-generation monitor, "Bluetooth BP": measures on the FD FD FA start command.
class VirtualHeartDevice : public VirtualBloodPressureMonitor {
public:
    explicit VirtualHeartDevice(VirtualPeripheralConfig config);
    /// A monitor with the usual name and the given identifier.
    static std::shared_ptr<VirtualHeartDevice> make(const std::string& identifier, int rssi = -60);

protected:
    void onWrite(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value, WriteType type) override;
    std::vector<std::uint8_t> startedFrame() const override;
    std::vector<std::uint8_t> pressureFrame(int pressure) const override;
    std::vector<std::uint8_t> resultFrame(int systolic, int diastolic, int pulse) const override;
    std::vector<std::uint8_t> errorFrame(std::uint8_t error) const override;
};

}  // namespace halvora::lab
