#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "halvora/Core/BLEDevice.hpp"
#include "halvora/Records/HalvoraSDKHeartData.hpp"

namespace halvora {

/// What the three generations of blood-pressure monitor share: the serial-port-like service 0xFFF0 with one
/// notifying and one writable characteristic, the connection steps, raw writes and the suppression of
/// repeated results. Each generation parses its own frames.
class BloodPressureMonitor : public BLEDevice {
public:
    static BLEUUID rsServiceUUID() { return BLEUUID("0000fff0-0000-1000-8000-00805f9b34fb"); }
    static BLEUUID deviceInformationServiceUUID() { return BLEUUID("0000180A-0000-1000-8000-00805f9b34fb"); }
    static BLEUUID hardwareRevisionStringUUID() { return BLEUUID("2A27"); }

    using BLEDevice::BLEDevice;

    DeviceKind getType() const override { return DeviceTypeHeart; }

    /// Writes a command to the send characteristic (in 20-byte pieces).
    void writeRawData(const std::vector<std::uint8_t>& data);

    std::shared_ptr<Service> rs232Service() const { return rs232Service_; }
    std::shared_ptr<Characteristic> readCharacteristic() const { return readCharacteristic_; }
    std::shared_ptr<Characteristic> sendCharacteristic() const { return sendCharacteristic_; }
    bool dataReceived() const { return dataReceived_; }
    const std::optional<HalvoraSDKHeartData>& lastData() const { return lastData_; }

    void peripheralDidDiscoverServices(const std::shared_ptr<Peripheral>& peripheral,
                                       const OptionalError& error) override;
    void peripheralDidDiscoverCharacteristicsForService(const std::shared_ptr<Peripheral>& peripheral,
                                                        const std::shared_ptr<Service>& service,
                                                        const OptionalError& error) override;
    void peripheralDidWriteValueForDescriptor(const std::shared_ptr<Peripheral>& peripheral,
                                              const std::shared_ptr<Characteristic>& characteristic,
                                              const OptionalError& error) override;
    void peripheralDidUpdateValueForCharacteristic(const std::shared_ptr<Peripheral>& peripheral,
                                                   const std::shared_ptr<Characteristic>& characteristic,
                                                   const std::vector<std::uint8_t>& value,
                                                   const OptionalError& error) override;

protected:
    /// The generation's characteristic UUIDs.
    virtual BLEUUID readUUID() const = 0;
    virtual BLEUUID sendUUID() const = 0;
    /// Parses one notification of the read characteristic.
    virtual void parseFrame(std::span<const std::uint8_t> frame) = 0;

    /// Delivers a result unless it equals the last one delivered; with no delegate nothing is delivered and
    /// the last result stays as it was.
    void deliverResultUnlessRepeated(const HalvoraSDKHeartData& result);

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
    std::shared_ptr<Service> rs232Service_;
    std::shared_ptr<Characteristic> readCharacteristic_;
    std::shared_ptr<Characteristic> sendCharacteristic_;
    bool dataReceived_ = false;
    std::optional<HalvoraSDKHeartData> lastData_;
};

}  // namespace halvora
