#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "halvora/Devices/Measurement/SingleServiceDevice.hpp"
#include "halvora/Records/HalvoraSDKHeartData.hpp"

namespace halvora {

/// What the three generations of blood-pressure monitor share: the serial-port-like service 0xFFF0 with one
/// notifying and one writable characteristic (the connection steps and raw writes are the single-service
/// device's), the device error reports and the suppression of repeated results. Each generation parses its
/// own frames.
class BloodPressureMonitor : public SingleServiceDevice {
public:
    /// The protocol service, 0xFFF0.
    static BLEUUID rsServiceUUID() { return BLEUUID("0000fff0-0000-1000-8000-00805f9b34fb"); }
    /// The standard Device Information service, 0x180A.
    static BLEUUID deviceInformationServiceUUID() { return BLEUUID("0000180A-0000-1000-8000-00805f9b34fb"); }
    /// The Device Information service's hardware revision string, 0x2A27.
    static BLEUUID hardwareRevisionStringUUID() { return BLEUUID("2A27"); }

    /// The single-service device's constructors.
    using SingleServiceDevice::SingleServiceDevice;

    DeviceKind getType() const override { return DeviceTypeHeart; }

    /// True once a result frame has been taken for the current measurement; later result frames are ignored
    /// until it is cleared (the second and third generations only).
    bool dataReceived() const { return dataReceived_; }
    /// The last result delivered to the delegate; absent before the first one.
    const std::optional<HalvoraSDKHeartData>& lastData() const { return lastData_; }

protected:
    BLEUUID serviceUUID() const override { return rsServiceUUID(); }
    /// The hardware revision string is read if the monitor ever lists it; its value is not used.
    bool readsHardwareRevision() const override { return true; }

    /// Delivers a result unless it equals the last one delivered; with no delegate nothing is delivered and
    /// the last result stays as it was.
    void deliverResultUnlessRepeated(const HalvoraSDKHeartData& result);

    /// Marks the current measurement as having (or not yet having) its result.
    void setDataReceived(bool received) { dataReceived_ = received; }
    /// Reports a device error: the mapped code, or an absent code for a byte the tables do not know.
    void reportDeviceError(std::optional<std::int32_t> code);

    /// Looks a device error byte up in a generation's (byte, code) table.
    template <typename Table>
    static std::optional<std::int32_t> lookUpErrorCode(const Table& table, std::uint8_t deviceByte) {
        for (const auto& [byte, code] : table) {
            if (byte == deviceByte) return code;
        }
        return std::nullopt;
    }

    /// Matches a peripheral whose name is exactly `name` (case-sensitive); a peripheral without a name never
    /// matches.
    static bool nameEquals(const std::shared_ptr<Peripheral>& peripheral, const char* name);

private:
    bool dataReceived_ = false;
    std::optional<HalvoraSDKHeartData> lastData_;
};

}  // namespace halvora
