#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "halvora/Devices/Measurement/HalvoraThermometerDelegate.hpp"
#include "halvora/Devices/Measurement/SingleServiceDevice.hpp"
#include "halvora/Records/HalvoraSDKThermometerData.hpp"

namespace halvora {

/// What the three thermometer generations share: device kind 3, the 0xFFF0 service, the delivery of
/// readings to the application's thermometer delegate and the helpers of the later generations' frames.
/// Each generation recognises its own names and parses its own frames.
///
/// Results go straight to the manager's `thermometerDelegate`, looked up at the moment of delivery; without
/// one, readings are built and dropped.
class Thermometer : public SingleServiceDevice {
public:
    /// The protocol service of every generation, 0xFFF0.
    static BLEUUID rsServiceUUID() { return BLEUUID("0000fff0-0000-1000-8000-00805f9b34fb"); }
    /// A further name the generation answers to; none unless the generation has one.
    static std::optional<std::string> getSecondName() { return std::nullopt; }
    /// The exclusive-or of all bytes, read as a signed byte and widened (0xF0 gives -16).
    static std::int32_t calculateCRC(std::span<const std::uint8_t> data);

    /// The single-service device's constructors.
    using SingleServiceDevice::SingleServiceDevice;

    DeviceKind getType() const override { return DeviceTypeThermometer; }
    /// Starts a measurement; only the first generation has a start command.
    virtual void startMeasurement() {}

protected:
    BLEUUID serviceUUID() const override { return rsServiceUUID(); }
    /// Reports ready, then starts a measurement (also without a delegate).
    void characteristicsReady() override;

    /// The application's thermometer delegate, or nothing.
    std::shared_ptr<HalvoraThermometerDelegate> applicationDelegate() const;
    /// Whether the manager has a general device delegate.
    bool hasDeviceDelegate() const;
    /// Hands a reading to the thermometer delegate; returns whether there was one.
    bool deliverReading(const HalvoraSDKThermometerData& reading) const;
};

}  // namespace halvora
