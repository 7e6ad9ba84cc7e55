#pragma once

#include <cstdint>
#include <optional>

#include "halvora/Core/Date.hpp"
#include "halvora/Records/HalvoraSDKStepData.hpp"

namespace halvora {

/// Distance and energy estimated from a step count and the user's body, in single precision as the
/// bracelet family has always reported them.
class BraceletEstimates {
public:
    BraceletEstimates() = delete;

    /// The user's body as the estimates use it.
    struct Body {
        /// Height, cm; nothing for unknown.
        std::optional<std::int64_t> heightCm;
        /// Weight, kg; nothing for unknown.
        std::optional<double> weightKg;
    };

    /// Height used when none is known, cm.
    static constexpr std::int64_t kDefaultHeightCm = 160;
    /// Calories per kilometre used when no weight is known (that of 60 kg).
    static constexpr double kDefaultCaloriesPerKm = 93.88080218954087;
    /// kcal per kg divisor of `distanceByCalories` when no weight is known.
    static constexpr double kDefaultCaloriesDivisor = 36;

    /// Metres: steps x (height / 3 / 100), rounded to single precision.
    static float distanceBySteps(std::int32_t steps, std::optional<std::int64_t> heightCm);
    /// kcal: metres / 1000 x (weight x 2.21 x 0.708), the two factors single-precision constants, rounded to
    /// single precision.
    static float caloriesByDistance(double metres, std::optional<double> weightKg);
    /// kcal / (weight x 0.6), or kcal / 36 without a weight.
    static double distanceByCalories(double kcal, std::optional<double> weightKg);
    /// A step record: steps, distance (km, the metres divided by 1000 in single precision), calories of that
    /// distance, and the date.
    static HalvoraSDKStepData stepRecord(std::int32_t steps, Date date, const Body& body);
};

}  // namespace halvora
