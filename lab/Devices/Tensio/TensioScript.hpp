#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include "halvora/Runtime/Task.hpp"
#include "lab/Devices/Bracelet/BraceletTime.hpp"
#include "lab/Devices/Tensio/TensioError.hpp"
#include "lab/Devices/Tensio/TensioFaults.hpp"
#include "lab/Devices/Tensio/TensioReading.hpp"

namespace halvora::lab {

/// What the virtual blood-pressure bracelet reports and how it behaves.
struct TensioScript {
    /// The unit the bracelet shows, the high nibble of byte 5 of its basic information.
    enum class Unit {
        MmHg = 0,  ///< millimetres of mercury
        KPa = 1,   ///< kilopascals
    };

    /// The highest cuff pressure the bracelet streams (its frames keep byte 3 below every answer kind).
    static constexpr int kMaxCuffPressure = 299;

    /// Where the clock stands when the script is set (or, for a bracelet not yet in a radio, when it first
    /// connects); absent: the clock shows the lab's local time until the phone sets it.
    std::optional<BraceletTime> clock;

    /// Stored measurements, oldest first, after the seeded ones.
    std::vector<TensioReading> readings;
    /// Plausible seeded measurements stored before `readings`, the newest a little before the clock's time
    /// when the memory is first needed (TensioHistory::seededReadings()).
    int seededReadings = 0;
    /// The seed of the seeded measurements.
    std::uint64_t seed = 1;

    /// The result of every measurement the phone starts (in the unit the bracelet shows).
    int systolic = 122;
    int diastolic = 78;  ///< the result's diastolic pressure
    int pulse = 70;      ///< the result's pulse, beats per minute
    int irregular = 0;   ///< the result's irregular heartbeat flag byte
    /// A measurement that fails: this error frame comes at the top of the inflation, in place of the
    /// deflation and the result.
    std::optional<TensioError> measurementError;

    /// The cuff inflates in steps of `pressureStep` up to this pressure, then deflates to `deflateTo`.
    int inflateTo = 170;
    /// The last cuff pressure before the result.
    int deflateTo = 60;
    /// Pressure added or let out between two cuff pressure frames.
    int pressureStep = 10;
    /// Between the acknowledgement and the first cuff pressure, between two cuff pressures, and between the
    /// last one and the result.
    Duration pressureInterval = std::chrono::milliseconds(250);

    /// Battery level, percent (byte 3 of the basic information).
    int battery = 80;
    /// The unit shown.
    Unit unit = Unit::MmHg;
    /// The hold setting, 0 to 15 (the low nibble of byte 5 of the basic information).
    int hold = 0;

    /// The bracelet's protocol faults.
    TensioFaults faults;

    /// The cuff pressures of one measurement: up in steps to `inflateTo`, then down to `deflateTo` (both
    /// kept within 1 to kMaxCuffPressure, a step below 1 counts as 1). A measurement that fails stops at the
    /// top.
    std::vector<int> cuffPressures() const;
};

}  // namespace halvora::lab
