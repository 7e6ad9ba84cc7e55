#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "halvora/Runtime/Task.hpp"

namespace halvora::lab {

/// What the virtual baby thermometer sends once the kit starts it (the byte 01): one text value per
/// reading, eight digits (body reading, then ambient reading) computed from the temperatures below by the
/// sensor's calibration, plus an optional suffix; then the raw texts, verbatim.
struct BabyThermometerScript {
    /// Body temperatures, degrees Celsius.
    std::vector<double> bodyTemperatures = {36.8};
    /// Ambient temperatures, degrees Celsius; paired with the body temperatures by position (the shorter
    /// list starts over).
    std::vector<double> ambientTemperatures = {24.0};
    /// How many times the readings are played; 0 plays them until the link ends.
    int repeats = 1;
    /// From the start command to the first reading.
    Duration firstReadingAfter = std::chrono::milliseconds(500);
    /// Between two values.
    Duration interval = std::chrono::seconds(1);
    /// Text sent after the eight digits of each reading (for example "\r\n").
    std::string suffix;
    /// Texts sent verbatim after the readings (malformed values, raw sensor readings); not sent when the
    /// readings play until the link ends.
    std::vector<std::string> rawValues;

    /// Readings in one pass over the two lists.
    std::size_t readingsPerPass() const;
    /// Values of one measurement; 0 when the readings play until the link ends.
    std::size_t valueCount() const;
};

}  // namespace halvora::lab
