#pragma once

#include <optional>
#include <string>

namespace halvora {

/// One weight-scale reading: a weight while the user stands on the scale (`weight`, `unit` and sometimes
/// `imc` only) or a final result with the body-composition figures. Every field is absent until set.
///
/// Masses (`weight` and the `...RawValue` fields) are in the unit of `unit`; percentages are per cent of the
/// weight. The estimates that the kit computes itself (body-mass index, ideal weight, obesity, body age)
/// always take the weight as kilograms.
struct HalvoraSDKWeightScaleData {
    std::optional<double> weight;              ///< body weight, in `unit`
    std::optional<std::string> unit;           ///< "kg" or "lb"
    std::optional<double> imc;                 ///< body-mass index (a single-precision value, widened)
    std::optional<double> fatRawValue;         ///< weight × fatPercentage / 100
    std::optional<double> fatPercentage;       ///< body fat, per cent
    std::optional<double> waterRawValue;       ///< weight × waterPercentage / 100
    std::optional<double> waterPercentage;     ///< body water, per cent
    std::optional<double> muscleRawValue;      ///< muscle mass
    std::optional<double> musclePercentage;    ///< muscle, per cent of the weight
    std::optional<double> visceralRawValue;    ///< weight × visceralPercentage / 100
    std::optional<double> visceralPercentage;  ///< visceral-fat figure
    std::optional<double> boneRawValue;        ///< bone mass
    std::optional<double> bonePercentage;      ///< bone mass, per cent of the weight
    std::optional<double> bmr;                 ///< basal metabolic rate
    std::optional<double> proteinPercentage;   ///< protein, per cent
    std::optional<double> idealWeight;         ///< ideal weight for the user's height
    std::optional<double> obesityPercentage;   ///< deviation of the weight from the ideal weight, per cent
    std::optional<double> bodyAge;             ///< estimated body age
    std::optional<double> bia;                 ///< bio-impedance value the estimates used

    /// One "name: value" line per field that is set, in declaration order; numbers as "%.4f", so infinite
    /// and not-a-number figures print as "inf" and "nan".
    std::string description() const;
};

}  // namespace halvora
