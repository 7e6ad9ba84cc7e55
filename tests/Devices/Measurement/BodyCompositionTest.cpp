// The body-composition estimates against figures worked out separately, for both sexes, plus the zero
// impedance, zero height and protein edges.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "halvora/Devices/Measurement/BodyComposition.hpp"

namespace halvora {
namespace {

struct Figures {
    double fat, water, muscle, bmr, bone, bmi, visceral, ideal, obesity, bodyAge, protein;
};

struct Case {
    double weight;
    double bia;
    std::int64_t height;
    std::int32_t age;
    std::int32_t gender;
    Figures expected;
};

Log& silentLog() {
    static const auto log = Log::makeSilent();
    return *log;
}

void expectFigures(const Case& c) {
    const BodyComposition body(c.height, c.age, c.gender, silentLog());
    const double w = c.weight;
    const double z = c.bia;
    const double bmi = body.getBMIWithWeight(w);
    const double muscle = body.getPercentageMuscleWithWeight(w, z);
    const std::vector<std::pair<double, double>> figures = {
        {body.getPercentageFatWithWeight(w, z), c.expected.fat},
        {body.getPercentageWaterWithWeight(w, z), c.expected.water},
        {muscle, c.expected.muscle},
        {body.getBMRWithWeight(w, z), c.expected.bmr},
        {body.getBoneWithWeight(w, z), c.expected.bone},
        {bmi, c.expected.bmi},
        {body.getVisceralWithWeight(w, z), c.expected.visceral},
        {body.getIdealBodyWeight(), c.expected.ideal},
        {body.getObesityPercentage(w), c.expected.obesity},
        {body.getBodyAge(bmi), c.expected.bodyAge},
        {BodyComposition::getProteinWith(muscle), c.expected.protein}};
    for (std::size_t i = 0; i < figures.size(); ++i) {
        // Four decimals.
        EXPECT_NEAR(figures[i].first, figures[i].second, 0.00005)
            << "figure " << i << " for W " << w << " Z " << z << " H " << c.height << " A " << c.age << " S "
            << c.gender;
    }
}

TEST(BodyComposition, WorkedFiguresForBothSexes) {
    const std::vector<Case> cases = {
        {70,
         500,
         175,
         30,
         0,
         {17.6420, 62.3580, 46.7762, 1675.2082, 3.3077, 22.857143, 7.3247, 66.7625, 4.8493, 28.5714, 20.3881}},
        {70,
         500,
         175,
         30,
         1,
         {28.6242, 49.3208, 38.7587, 1537.1876, 3.0233, 22.857143, 4.4727, 66.7625, 4.8493, 28.5714, 16.3794}},
        {85.3,
         420.5,
         182,
         45,
         0,
         {20.3090, 59.6910, 43.4287, 1959.0057, 3.8696, 25.7517, 9.0234, 72.2103, 18.1272, 48.2845, 18.7143}},
        {85.3,
         420.5,
         182,
         45,
         1,
         {32.9878, 45.1317, 35.4105, 1851.2951, 3.3204, 25.7517, 5.0389, 72.2103, 18.1272, 48.2845, 14.7052}},
        {52.4,
         610.0,
         158,
         67,
         0,
         {22.2607, 57.7393, 37.2228, 1136.7643, 2.4036, 20.9902, 6.3080, 54.4215, -3.7146, 58.5977, 15.6114}},
        {52.4,
         610.0,
         158,
         67,
         2,  // any sex but 0 is female
         {31.3220, 46.7309, 29.2070, 980.0309, 2.4835, 20.9902, 4.1338, 54.4215, -3.7146, 58.5977, 11.6035}},
    };
    for (const auto& c : cases) expectFigures(c);
}

TEST(BodyComposition, IndexAndIdealWeightUseTheHeightInSinglePrecision) {
    const double metres = 1.83F;  // not 1.83
    const BodyComposition body(183, 30, 0, silentLog());
    EXPECT_EQ(body.getBMIWithWeight(90), static_cast<double>(static_cast<float>(90.0 / (metres * metres))));
    EXPECT_NE(body.getBMIWithWeight(90), 90.0 / (metres * metres));
    EXPECT_EQ(body.getIdealBodyWeight(), metres * metres * 21.8);
}

TEST(BodyComposition, ZeroImpedanceGivesZeroForEveryImpedanceFigure) {
    for (std::int32_t sex : {0, 1}) {
        const BodyComposition body(175, 30, sex, silentLog());
        EXPECT_EQ(body.getPercentageFatWithWeight(70, 0), 0.0);
        EXPECT_EQ(body.getPercentageWaterWithWeight(70, 0), 0.0);  // not 80
        EXPECT_EQ(body.getPercentageMuscleWithWeight(70, 0), 0.0);
        EXPECT_EQ(body.getBMRWithWeight(70, 0), 0.0);
        EXPECT_EQ(body.getBoneWithWeight(70, 0), 0.0);
        EXPECT_EQ(body.getVisceralWithWeight(70, 0), 0.0);
    }
}

TEST(BodyComposition, ZeroHeightMakesTheIndexAndIdealWeightFiguresInfiniteOrNotANumber) {
    const BodyComposition body(0, 30, 0, silentLog());
    EXPECT_TRUE(std::isinf(body.getBMIWithWeight(70)));
    EXPECT_TRUE(std::isnan(body.getBMIWithWeight(0)));
    EXPECT_EQ(body.getIdealBodyWeight(), 0.0);
    EXPECT_TRUE(std::isinf(body.getObesityPercentage(70)));
    EXPECT_TRUE(std::isnan(body.getObesityPercentage(0)));
    EXPECT_TRUE(std::isinf(body.getBodyAge(body.getBMIWithWeight(70))));
    EXPECT_TRUE(std::isinf(body.getVisceralWithWeight(70, 500)));
    // The linear formulas do not use the index and stay finite.
    EXPECT_TRUE(std::isfinite(body.getPercentageFatWithWeight(70, 500)));
}

TEST(BodyComposition, ProteinIsHalfTheMuscleLessThreeAboveZeroOnly) {
    for (const auto& [muscle, protein] : std::vector<std::pair<double, double>>{{4, -1}, {6, 0}, {0, 0}, {-5, 0}}) {
        EXPECT_EQ(BodyComposition::getProteinWith(muscle), protein) << "muscle " << muscle;
    }
}

TEST(BodyComposition, FatAndWaterWriteTheirLogLines) {
    std::vector<std::string> lines;
    Log log([&lines](const std::string& line) { lines.push_back(line); });
    const BodyComposition male(175, 30, 0, log);
    male.getPercentageWaterWithWeight(70, 500);
    const std::vector<std::string> expected = {
        "HEIGHT 175.00 Age: 30 Gender 0",
        "MALE getPercentageFatWithWeight 70.00 andBia: 500.00 = 18",
        "MALE getPercentageWaterWithWeight 70.00 andBia: 500.00 = 62",
        "HEIGHT 175.00 Age: 30 Gender 0",
        "MALE getPercentageFatWithWeight 70.00 andBia: 500.00 = 18",
    };
    EXPECT_EQ(lines, expected);

    lines.clear();
    const BodyComposition female(160, 25, 2, log);
    female.getPercentageFatWithWeight(55.5, 480);
    female.getPercentageFatWithWeight(55.5, 0);  // zero impedance: no lines
    EXPECT_EQ(lines, (std::vector<std::string>{"HEIGHT 160.00 Age: 25 Gender 2",
                                               "FEMALE getPercentageFatWithWeight 55.50 andBia: 480.00 = 25"}));
}

}  // namespace
}  // namespace halvora
