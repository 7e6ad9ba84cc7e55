#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "halvora/Devices/Measurement/HalvoraBabyThermometerDelegate.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKBabyThermometerData.hpp"
#include "halvora/Devices/Measurement/SingleServiceDevice.hpp"

namespace halvora {

/// The continuous-wear baby thermometer ("iCcur", "thermF"). Started with the single byte 01, it sends its
/// two raw sensor readings as text: characters 0-3 the body reading, 4-7 the ambient reading, each a
/// decimal number (text that does not start with a number reads as 0). The driver converts them to degrees
/// Celsius by piecewise-linear interpolation in the device's calibration tables and hands the reading to
/// the manager's `babyThermometerDelegate`; without one it is dropped.
///
/// Bad input: a value shorter than 5 bytes, one that is not valid UTF-8, and one with fewer than 8
/// characters (so without a complete ambient reading) is ignored.
class HalvoraSDKBabyThermometer : public SingleServiceDevice {
public:
    static std::string getName() { return "iCcur"; }
    static std::string getSecondName() { return "thermF"; }
    /// The text contains "iCcur" or "thermF" (exact letter case).
    static bool isNameValid(const std::string& name);
    static bool matchDevice(const std::shared_ptr<Peripheral>& peripheral);
    static BLEUUID rsServiceUUID() { return BLEUUID("cccc1e08-93d4-4c06-bcba-e719578f1408"); }
    static BLEUUID readCharacteristicUUID() { return BLEUUID(format("aa02")); }
    static BLEUUID sendCharacteristicUUID() { return BLEUUID(format("aa01")); }
    /// The start command: 01.
    static const std::vector<std::uint8_t>& startCommand();

    /// The ambient temperature of the first ambient table entry, and the step between entries.
    static float envBaseTemper() { return -20.0F; }
    static float envDeltaTemper() { return 0.5F; }
    /// The calibration tables (raw values, ascending): body low (20.0 to 34.0 by 0.5), body main (34.00 to
    /// 42.00 by 0.02), body high (42.0 to 45.0 by 0.5), ambient (-20.0 to 50.0 by 0.5).
    static std::span<const std::int32_t> temperLowDataArray();
    static std::span<const std::int32_t> temperDataArray();
    static std::span<const std::int32_t> temperHighDataArray();
    static std::span<const std::int32_t> envTemperArray();

    /// Body temperature of a raw reading, computed in double precision and rounded to single. Readings at or
    /// below the low table's first entry are extrapolated from 30.0 (not 20.0), so the curve jumps there;
    /// readings above the high table are extrapolated from 45.0.
    static float getTemper(std::int32_t raw);
    /// Ambient temperature of a raw reading, in single precision, extrapolated linearly beyond both ends.
    /// A reading exactly equal to the last entry finds no greater entry and gives -100.0.
    static float getEnvTemper(std::int32_t raw);
    /// The (body, ambient) raw readings of a value, or nothing for a value that is ignored.
    static std::optional<std::pair<std::int32_t, std::int32_t>> rawReadings(std::span<const std::uint8_t> value);

    using SingleServiceDevice::SingleServiceDevice;

    DeviceKind getType() const override { return DeviceTypeBabyThermometer; }
    std::string className() const override { return "HalvoraSDKBabyThermometer"; }
    /// Asks the thermometer to start sending readings.
    void startMeasurement();

protected:
    BLEUUID serviceUUID() const override { return rsServiceUUID(); }
    BLEUUID readUUID() const override { return readCharacteristicUUID(); }
    BLEUUID sendUUID() const override { return sendCharacteristicUUID(); }
    /// Reports ready, then starts a measurement (also without a delegate).
    void characteristicsReady() override;
    void parseFrame(std::span<const std::uint8_t> frame) override;

private:
    std::shared_ptr<HalvoraBabyThermometerDelegate> applicationDelegate() const;
};

}  // namespace halvora
