#include "halvora/Devices/Measurement/BodyComposition.hpp"

#include "halvora/Core/PreferenceUtils.hpp"

namespace halvora {

namespace {

/// The coefficients of one linear impedance formula: constant, age, height, weight and impedance terms.
struct Coefficients {
    double constant;
    double age;
    double height;
    double weight;
    double impedance;
};

// Fat per cent.
constexpr Coefficients kFatFemale{43.1912, 0.0443, -0.5008, 0.7042, 0.0449};
constexpr Coefficients kFatMale{24.1911, 0.0463, -0.460888, 0.6341581, 0.0566524};
// Muscle per cent.
constexpr Coefficients kMuscleFemale{58.4907, 0.1919, 0.2278, -0.402, -0.0514};
constexpr Coefficients kMuscleMale{66.4907, 0.1919, 0.2279, -0.402, -0.0514};
// Basal metabolic rate.
constexpr Coefficients kBMRFemale{382.3347, -2.441487, 4.5998, 14.5974, -1.197371};
constexpr Coefficients kBMRMale{180.3347, -2.4414, 6.7997, 12.5974, -1.0073};
// Bone mass.
constexpr Coefficients kBoneFemale{2.1191, 0.00213, 0.0059, 0.010501, -0.001599};
constexpr Coefficients kBoneMale{1.3991, 0.00213, 0.0105, 0.0205, -0.0026};

constexpr double kWaterBase = 80.0;
constexpr double kWaterFemaleFactor = 0.96;
constexpr double kVisceralAge = 16.9;
constexpr double kVisceralIndex = 578.09;
constexpr double kVisceralFemaleConstant = 1868.36;
constexpr double kVisceralMaleConstant = 934.18;
constexpr double kVisceralOffset = 328.7;
constexpr double kVisceralScale = 10000.0;
constexpr double kProteinFactor = 0.5;
constexpr double kProteinOffset = 3.0;
constexpr double kIdealIndex = 21.8;
constexpr double kBodyAgeDivisor = 240.0;

}  // namespace

BodyComposition::BodyComposition(std::int64_t height, std::int32_t age, std::int32_t gender, Log& log)
    : height_(height), age_(age), gender_(gender), log_(&log) {}

BodyComposition BodyComposition::fromPreferences(const PreferenceUtils& preferences, Log& log) {
    const PreferenceUtils::WeightProfile user = preferences.getWeightProfile();
    return BodyComposition(user.height, user.age, user.gender, log);
}

double BodyComposition::fatPercentage(double weight, double bia) const {
    const Coefficients& k = isMale() ? kFatMale : kFatFemale;
    double fat = ageYears() * k.age + k.constant;
    fat = fat + heightCentimetres() * k.height;
    fat = fat + weight * k.weight;
    return fat + bia * k.impedance;
}

double BodyComposition::getPercentageFatWithWeight(double weight, double bia) const {
    if (bia == 0) return 0;
    log_->writef("HEIGHT %.2f Age: %d Gender %d", heightCentimetres(), age_, gender_);
    const double fat = fatPercentage(weight, bia);
    log_->writef("%s getPercentageFatWithWeight %.2f andBia: %.2f = %2.f", sexWord(), weight, bia, fat);
    return fat;
}

double BodyComposition::getPercentageWaterWithWeight(double weight, double bia) const {
    if (bia == 0) return 0;
    auto water = [this](double fat) { return isMale() ? kWaterBase - fat : (kWaterBase - fat) * kWaterFemaleFactor; };
    log_->writef("%s getPercentageWaterWithWeight %.2f andBia: %.2f = %2.f", sexWord(), weight, bia,
                 water(getPercentageFatWithWeight(weight, bia)));
    return water(getPercentageFatWithWeight(weight, bia));
}

double BodyComposition::getPercentageMuscleWithWeight(double weight, double bia) const {
    if (bia == 0) return 0;
    const Coefficients& k = isMale() ? kMuscleMale : kMuscleFemale;
    double muscle = k.constant - k.age * ageYears();
    muscle = muscle + k.height * heightCentimetres();
    muscle = muscle + k.weight * weight;
    return muscle + k.impedance * bia;
}

double BodyComposition::getBMRWithWeight(double weight, double bia) const {
    if (bia == 0) return 0;
    const Coefficients& k = isMale() ? kBMRMale : kBMRFemale;
    double bmr = k.age * ageYears() + k.constant;
    bmr = bmr + k.height * heightCentimetres();
    bmr = bmr + k.weight * weight;
    return bmr + k.impedance * bia;
}

double BodyComposition::getBoneWithWeight(double weight, double bia) const {
    if (bia == 0) return 0;
    const Coefficients& k = isMale() ? kBoneMale : kBoneFemale;
    double bone = k.constant - k.age * ageYears();
    bone = bone + k.height * heightCentimetres();
    bone = bone + k.weight * weight;
    return bone + k.impedance * bia;
}

double BodyComposition::getVisceralWithWeight(double weight, double bia) const {
    if (bia == 0) return 0;
    const double t = kVisceralAge * ageYears() + getBMIWithWeight(weight) * kVisceralIndex * 10.0;
    if (isMale()) return (t + kVisceralMaleConstant - kVisceralOffset) / kVisceralScale - 6.0;
    return ((t + kVisceralFemaleConstant - kVisceralOffset) / kVisceralScale) / 3.0;
}

float BodyComposition::heightInMetres() const {
    return static_cast<float>(height_) / 100.0F;
}

double BodyComposition::getBMIWithWeight(double weight) const {
    const double metres = heightInMetres();
    const double square = metres * metres;
    // A height of 0 gives an infinite (or, for a weight of 0, not-a-number) index; the narrowing keeps it.
    return static_cast<double>(static_cast<float>(weight / square));
}

double BodyComposition::getProteinWith(double musclePercentage) {
    if (musclePercentage > 0) return kProteinFactor * musclePercentage - kProteinOffset;
    return 0;
}

double BodyComposition::getIdealBodyWeight() const {
    const double metres = heightInMetres();
    return metres * metres * kIdealIndex;
}

double BodyComposition::getObesityPercentage(double weight) const {
    const double ideal = getIdealBodyWeight();
    return (weight - ideal) / ideal * 100.0;
}

double BodyComposition::getBodyAge(double bmi) const {
    return bmi * 10.0 * ageYears() / kBodyAgeDivisor;
}

}  // namespace halvora
