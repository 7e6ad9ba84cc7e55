#pragma once

#include "lab/Devices/Measurement/VirtualBloodPressureMonitor.hpp"

namespace halvora::lab {

/// A first-generation monitor, "Bluetooth BP": measures on the FD FD FA start command.
class VirtualHeartDevice : public VirtualBloodPressureMonitor {
public:
    /// A monitor with this identity: notifies on 0xFFF1, takes commands on 0xFFF2.
    explicit VirtualHeartDevice(VirtualPeripheralConfig config);
    /// A monitor named "Bluetooth BP" with the given identifier, advertising at `rssi` dBm.
    static std::shared_ptr<VirtualHeartDevice> make(const std::string& identifier, int rssi = -60);

protected:
    void onWrite(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value, WriteType type) override;
    std::vector<std::uint8_t> startedFrame() const override;
    /// FD FD FB 00, then the pressure's low byte (cuff pressures stay below 256).
    std::vector<std::uint8_t> pressureFrame(int pressure) const override;
    /// FD FD FC, systolic, diastolic and pulse (low byte each), 0D 0A.
    std::vector<std::uint8_t> resultFrame(int systolic, int diastolic, int pulse) const override;
    /// FD FD FD, the error byte, 0D 0A.
    std::vector<std::uint8_t> errorFrame(std::uint8_t error) const override;
};

}  // namespace halvora::lab
