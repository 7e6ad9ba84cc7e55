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
    /// The first advertised name fragment this class serves.
    static std::string getName() { return "iCcur"; }
    /// The second advertised name fragment this class serves.
    static std::string getSecondName() { return "thermF"; }
    /// The text contains "iCcur" or "thermF" (exact letter case).
    static bool isNameValid(const std::string& name);
    /// False for a peripheral without a name, else isNameValid() of its name.
    static bool matchDevice(const std::shared_ptr<Peripheral>& peripheral);
    /// The protocol service.
    static BLEUUID rsServiceUUID() { return BLEUUID("cccc1e08-93d4-4c06-bcba-e719578f1408"); }
    /// The notifying characteristic (readings as text).
    static BLEUUID readCharacteristicUUID() { return BLEUUID(format("aa02")); }
    /// The command characteristic.
    static BLEUUID sendCharacteristicUUID() { return BLEUUID(format("aa01")); }
    /// The start command: 01.
    static const std::vector<std::uint8_t>& startCommand();

    /// The ambient temperature of the first ambient table entry, degrees Celsius.
    static float envBaseTemper() { return -20.0F; }
    /// The ambient temperature step between ambient table entries, degrees Celsius.
    static float envDeltaTemper() { return 0.5F; }

    // The calibration tables: raw sensor values, ascending, one per temperature step.

    /// Body, low range: 20.0 to 34.0 °C by 0.5.
    static std::span<const std::int32_t> temperLowDataArray();
    /// Body, main range: 34.00 to 42.00 °C by 0.02.
    static std::span<const std::int32_t> temperDataArray();
    /// Body, high range: 42.0 to 45.0 °C by 0.5.
    static std::span<const std::int32_t> temperHighDataArray();
    /// Ambient: -20.0 to 50.0 °C by 0.5.
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

    /// The single-service device's constructors.
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
