#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <vector>

#include "halvora/Runtime/Task.hpp"

namespace halvora::lab {

/// What a virtual thermometer (any generation) reports once it measures. The first generation measures
/// when the kit sends its start command; the second and third measure on their own as soon as
/// notifications are switched on. Fields marked with a generation only concern that generation.
struct ThermometerScript {
    /// The readings, in degrees Celsius, in order.
    std::vector<double> temperatures = {36.6};
    /// How many times the list is played; 0 plays it over and over until the link ends.
    int repeats = 1;
    /// From the start of a measurement to the first reading.
    Duration firstReadingAfter = std::chrono::milliseconds(500);
    /// Between two readings (and before each error frame).
    Duration interval = std::chrono::seconds(1);
    /// Report in Fahrenheit. The first generation converts its value and marks the unit; the second
    /// sets its Fahrenheit flag but still sends the Celsius value (the kit converts it).
    bool fahrenheit = false;

    /// Second generation: set the mode flag (the kit reports mode 3 instead of 2).
    bool modeThree = false;
    /// Second generation: leave the 4-byte header off reading frames (10-byte notifications).
    bool headerless = false;
    /// Second generation: device error bytes sent after the readings, one frame each (not when the
    /// readings play until the link ends). The kit reports 01 as 1, 03 as 3, 04 as 2, 05 as 5, 06 as 4.
    std::vector<std::uint8_t> errors;
    /// Second generation: the data byte returned with the acknowledgement of a command (default 0).
    std::map<int, int> commandData;
    /// Second generation: commands refused with an error frame carrying this byte instead of an
    /// acknowledgement.
    std::map<int, int> commandErrors;

    /// Third generation: send hundredths of a degree (else tenths).
    bool hundredths = true;
    /// Third generation: send a wrong check byte (the kit logs it and still takes the reading).
    bool corruptCheck = false;

    /// Steps of one measurement: every reading of every repetition, then the error frames; 0 when the
    /// readings play until the link ends.
    std::size_t stepCount() const;
};

}  // namespace halvora::lab
