#pragma once

#include <cstdint>

#include "halvora/Core/Log.hpp"

namespace halvora {

class PreferenceUtils;

/// The body-composition estimates for a user of the weight scale: fixed linear formulas in the weight W
/// (kilograms), the bio-impedance Z, the height H (centimetres), the age A (years) and the sex S (0 male,
/// any other value female).
///
/// Every figure is a 64-bit floating-point value, computed in the evaluation order each formula documents
/// (the order decides the last bits). Nothing is clamped or rounded: negative or out-of-range results are
/// passed on as they are. The six impedance formulas give exactly 0 when Z is 0, before anything else is
/// evaluated (water too is 0 then, not 80).
///
/// A height of 0 is not guarded: the body-mass index and the ideal weight are then infinite or
/// not-a-number, and so is everything derived from them. Every division here is a floating-point one, so
/// that is well defined (IEEE 754), never undefined behaviour.
class BodyComposition {
public:
    /// A user `height` centimetres tall, `age` years old, of sex `gender` (0 male, else female). `log`
    /// receives the fat and water formulas' lines and must outlive the object.
    BodyComposition(std::int64_t height, std::int32_t age, std::int32_t gender, Log& log = Log::shared());
    /// The user as the preferences hold it now: the user height, the weight age and the weight gender.
    static BodyComposition fromPreferences(const PreferenceUtils& preferences, Log& log = Log::shared());

    /// Centimetres.
    std::int64_t height() const { return height_; }
    /// Years.
    std::int32_t age() const { return age_; }
    /// 0 male, any other value female.
    std::int32_t gender() const { return gender_; }
    /// True when gender() is 0.
    bool isMale() const { return gender_ == 0; }

    /// Fat per cent: ((A·a + c) + H·h) + W·w) + Z·z with the sex's coefficients. Logs "HEIGHT ..." and then
    /// "MALE getPercentageFatWithWeight ..." or "FEMALE ...".
    double getPercentageFatWithWeight(double weight, double bia) const;
    /// Water per cent: 80 − fat (male), (80 − fat) × 0.96 (female). The fat formula runs twice, once for
    /// the log line and once for the result, each time with its own lines.
    double getPercentageWaterWithWeight(double weight, double bia) const;
    /// Muscle per cent: ((c − 0.1919·A) + H term) + W term) + Z term.
    double getPercentageMuscleWithWeight(double weight, double bia) const;
    /// Basal metabolic rate: ((A term + c) + H term) + W term) + Z term.
    double getBMRWithWeight(double weight, double bia) const;
    /// Bone mass: ((c − 0.00213·A) + H term) + W term) + Z term.
    double getBoneWithWeight(double weight, double bia) const;
    /// Visceral-fat figure from t = 16.9·A + BMI(W) × 578.09 × 10: ((t + 1868.36 − 328.7) / 10000) / 3
    /// for a woman, (t + 934.18 − 328.7) / 10000 − 6 for a man. Z only enters through the zero test.
    double getVisceralWithWeight(double weight, double bia) const;

    /// Body-mass index in mixed precision: the height in metres in single precision, squared in double,
    /// W divided by the square in double and the quotient rounded to single precision (70 kg at 175 cm
    /// gives 22.857143..., the float nearest 22.857142857...).
    double getBMIWithWeight(double weight) const;
    /// 0.5·x − 3 for a muscle per cent x above 0; 0 otherwise.
    static double getProteinWith(double musclePercentage);
    /// h² × 21.8 with h the height in metres in single precision, squared in double.
    double getIdealBodyWeight() const;
    /// (W − ideal) / ideal × 100.
    double getObesityPercentage(double weight) const;
    /// BMI × 10 × A / 240, in that order.
    double getBodyAge(double bmi) const;

private:
    /// Fat per cent without the log lines.
    double fatPercentage(double weight, double bia) const;
    /// The height in metres as the single-precision value the index and the ideal weight use.
    float heightInMetres() const;
    double heightCentimetres() const { return static_cast<double>(height_); }
    double ageYears() const { return static_cast<double>(age_); }
    const char* sexWord() const { return isMale() ? "MALE" : "FEMALE"; }

    std::int64_t height_;
    std::int32_t age_;
    std::int32_t gender_;
    Log* log_;
};

}  // namespace halvora
