#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "halvora/Runtime/Task.hpp"

namespace halvora::lab {

/// What a virtual body-composition scale does when someone steps on it. Masses are given in kilograms; a
/// scale that reports in pounds (one-frame family, see `pounds`) converts its masses (weights, muscle,
/// bone) before sending them. Every other number goes on the air as given, in tenths where the frame
/// carries tenths; the scale bits are sent as given too (the phone multiplies by their factor).
struct WeightScaleScript {
    /// How the scale reports its result.
    enum class Family {
        /// CA 10 frames: weighing frames with the status bit clear, then one frame with every figure.
        OneFrame,
        /// CA 11 frames: weighing frames, then the first half (weight, fat) and the second half (the rest).
        TwoPart,
        /// 06 frames: weighing frames on the notifying characteristic, then the weight and the impedance
        /// on the body characteristic (the phone estimates the rest). Needs a scale with that characteristic.
        Impedance,
    };

    /// Which frames the scale sends its measurements in.
    Family family = Family::TwoPart;
    /// Weights (kg) shown while the user settles on the scale, before the final weight.
    std::vector<double> weighingWeights = {22.4, 51.8, 68.9};
    /// Final weight, kg.
    double weight = 70.0;
    /// Bio-impedance, ohms (impedance family only; 0 means the scale could not measure it).
    double impedance = 500.0;
    // Figures the scale computes itself (one-frame and two-part families).
    double fat = 18.0;      ///< per cent
    double water = 60.0;    ///< per cent
    double muscle = 40.0;   ///< muscle mass, kg
    int bmr = 1600;         ///< kcal
    double visceral = 8.0;  ///< visceral-fat figure
    double bone = 3.0;      ///< bone mass, kg (one byte of tenths on the air, so at most 25.5)
    /// One-frame family: the status bit of the final frame (weighing frames always have it clear).
    bool stable = true;
    /// One-frame family: the scale bits 1-2 of the flags byte (0, 2, 4 or 6), sent as given.
    std::uint8_t scaleBits = 0;
    /// One-frame family: report in pounds (unit bits 08, weights converted from kg). Unset: follow the unit
    /// of the user-parameter frame last received (kilograms before any).
    std::optional<bool> pounds;
    /// Two-part family: the time stamp of the first half, as the scale's clock gives it.
    std::uint32_t timestamp = 0x5F3759DF;
    /// Two-part family: the user number of the first half.
    std::uint32_t userNumber = 1;
    /// Time between two frames of a measurement.
    Duration stepInterval = std::chrono::milliseconds(300);
    /// A measurement starts this long after the first valid user-parameter frame of a connection; unset: only
    /// when stepOn() is called.
    std::optional<Duration> autoStartAfter = std::chrono::milliseconds(500);
    /// The scale echoes every valid user-parameter frame back on its notifying characteristic.
    bool echoParameters = false;

    /// "one-frame", "two-part", "impedance".
    static std::string familyName(Family family);
    /// The family of a name familyName() gives; nothing for any other text.
    static std::optional<Family> familyFromName(const std::string& name);
};

}  // namespace halvora::lab
