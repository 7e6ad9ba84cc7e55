#pragma once

#include <string>

namespace halvora::lab {

/// The baby thermometer's sensors, seen from the device: the raw readings its two thermistor channels give
/// at a temperature, by its calibration sheet (body: 20 to 45 degrees Celsius in three ranges; ambient:
/// -20 to 50). Between calibration points the reading is linear; beyond the sheet it continues the slope
/// of the outermost interval. Readings are rounded to whole counts and kept within 0 to 9999 (four digits).
class BabyThermometerSensor {
public:
    BabyThermometerSensor() = delete;

    /// The body channel's reading at `celsius`.
    static int bodyReading(double celsius);
    /// The ambient channel's reading at `celsius`.
    static int ambientReading(double celsius);
    /// The text the device sends for one pair of readings: eight digits, body first.
    static std::string valueText(int bodyReading, int ambientReading);
};

}  // namespace halvora::lab
