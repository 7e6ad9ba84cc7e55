#include "halvora/Devices/Bracelet/internal/BraceletEstimates.hpp"

namespace halvora {

namespace {

constexpr double kStepLengthDivisor = 3;
constexpr double kCentimetresPerMetre = 100;
constexpr double kMetresPerKilometre = 1000;
constexpr float kMetresPerKilometreSingle = 1000.0F;
constexpr float kPoundsPerKilogram = 2.21F;
constexpr float kCaloriesPerPoundKilometre = 0.708F;
constexpr double kCaloriesPerKgFactor = 0.6;

}  // namespace

float BraceletEstimates::distanceBySteps(std::int32_t steps, std::optional<std::int64_t> heightCm) {
    const double height = static_cast<double>(heightCm.value_or(kDefaultHeightCm));
    return static_cast<float>(steps * (height / kStepLengthDivisor / kCentimetresPerMetre));
}

float BraceletEstimates::caloriesByDistance(double metres, std::optional<double> weightKg) {
    const double perKilometre =
        weightKg ? *weightKg * kPoundsPerKilogram * kCaloriesPerPoundKilometre : kDefaultCaloriesPerKm;
    return static_cast<float>(metres / kMetresPerKilometre * perKilometre);
}

double BraceletEstimates::distanceByCalories(double kcal, std::optional<double> weightKg) {
    return weightKg ? kcal / (*weightKg * kCaloriesPerKgFactor) : kcal / kDefaultCaloriesDivisor;
}

HalvoraSDKStepData BraceletEstimates::stepRecord(std::int32_t steps, Date date, const Body& body) {
    const float metres = distanceBySteps(steps, body.heightCm);
    HalvoraSDKStepData record;
    record.date = date;
    record.steps = steps;
    record.calories = caloriesByDistance(metres, body.weightKg);
    record.distance = metres / kMetresPerKilometreSingle;
    return record;
}

}  // namespace halvora
