#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "halvora/Core/BLEDevice.hpp"
#include "halvora/Core/BLEDeviceDelegate.hpp"

namespace halvora::test {

/// Records every report a driver makes, in order, as short texts ("connected", "ready", "data 120",
/// "result 120/80/72", "error -6", "error absent", "battery 87", "disconnected") plus the typed payloads.
class RecordingDeviceDelegate : public BLEDeviceDelegate {
public:
    void deviceConnected(const std::shared_ptr<BLEDevice>&) override { add("connected"); }
    void deviceReady(const std::shared_ptr<BLEDevice>&) override { add("ready"); }
    void deviceDisconnected(const std::shared_ptr<BLEDevice>&) override { add("disconnected"); }
    void deviceOnDataReceived(const std::shared_ptr<BLEDevice>& device, const DeviceData& data) override;
    void deviceOnErrorReceived(const std::shared_ptr<BLEDevice>& device, const DeviceError& error) override;
    void deviceOnBatteryLevelReceived(const std::shared_ptr<BLEDevice>& device, std::int32_t level) override;

    std::vector<std::string> events() const;
    std::size_t count(const std::string& event) const;
    void clear();

private:
    void add(std::string event);

    mutable std::mutex mutex_;
    std::vector<std::string> events_;
};

/// Text form of a result, as the recording delegate writes it: "120/80/72".
std::string resultText(const HalvoraSDKHeartData& data);

}  // namespace halvora::test
