// Whole flows through the manager with a virtual body-composition scale, in virtual time: one per way the
// scale reports its result.
#include <gtest/gtest.h>

#include "halvora/Devices/Measurement/HalvoraSDKWeightScale.hpp"
#include "lab/Devices/Measurement/VirtualWeightScale.hpp"
#include "support/LabHarness.hpp"
#include "support/RecordingWeightScaleDelegate.hpp"

namespace halvora {
namespace {

using test::LabHarness;
using Family = lab::WeightScaleScript::Family;

constexpr const char* kScale = "6F1C2D3E-0000-4000-8000-0000000000C4";

/// A harness with a scale in range, the user's parameters stored and a weight-scale delegate set, connected.
struct ScaleLab {
    LabHarness lab;
    std::shared_ptr<lab::VirtualWeightScale> scale;
    std::shared_ptr<test::RecordingWeightScaleDelegate> app = std::make_shared<test::RecordingWeightScaleDelegate>();

    ScaleLab(const lab::WeightScaleScript& script, const std::string& unit, std::int32_t gender, std::int32_t age,
             std::int32_t height) {
        scale = lab.add(lab::VirtualWeightScale::make(kScale));
        scale->setScript(script);
        lab.manager->setWeightScaleParams(unit, gender, age, height);
        lab.manager->setWeightscaleDelegate(app);
        lab.manager->connectDevice(DeviceTypeWeightScale, 30);
    }

    bool runUntilResults(std::size_t count) {
        return lab.runUntil([&] { return app->results().size() >= count; }, seconds(30));
    }
};

TEST(WeightScaleFlow, TwoPartScaleFromSearchToResult) {
    lab::WeightScaleScript script;
    script.family = Family::TwoPart;
    script.weighingWeights = {30.5, 64.2};
    script.weight = 72.4;
    script.fat = 21.5;
    ScaleLab s(script, "kg", 0, 30, 175);
    ASSERT_TRUE(s.lab.runUntilEvent("status 4 -> 2", seconds(10)));
    EXPECT_EQ(s.app->events().front(), "type 1");
    EXPECT_EQ(s.app->count("type 2"), 1U);  // the body characteristic comes with the second service

    ASSERT_TRUE(s.runUntilResults(1));
    const auto user = s.scale->userParameters();
    ASSERT_TRUE(user.has_value());
    EXPECT_TRUE(user->male);
    EXPECT_EQ(user->age, 30);
    EXPECT_EQ(user->height, 175);
    EXPECT_TRUE(user->kilograms);

    std::vector<double> weighed;
    for (const auto& w : s.app->weighings()) weighed.push_back(*w.weight);
    EXPECT_EQ(weighed, (std::vector<double>{30.5, 64.2, 72.4}));
    const auto r = s.app->results()[0];
    EXPECT_EQ(r.weight, 72.4);
    EXPECT_EQ(r.fatPercentage, 21.5);
    EXPECT_EQ(r.waterPercentage, 60.0);
    EXPECT_EQ(r.muscleRawValue, 40.0);
    EXPECT_EQ(r.bmr, 1600.0);
    EXPECT_EQ(r.boneRawValue, 3.0);
    EXPECT_EQ(HalvoraSDKWeightScale::lastWeight(), 72.4);

    // Once the result is in, the parameters are no longer repeated.
    const int frames = s.scale->parameterFrames();
    s.lab.advance(seconds(10));
    EXPECT_EQ(s.scale->parameterFrames(), frames);
    EXPECT_EQ(s.scale->badParameterFrames(), 0);
}

TEST(WeightScaleFlow, OneFrameScaleReportsInTheUsersUnitAndTheIndexTakesItAsKilograms) {
    lab::WeightScaleScript script;
    script.family = Family::OneFrame;
    script.weighingWeights = {40.0};
    script.weight = 70.0;
    ScaleLab s(script, "lb", 1, 40, 165);
    ASSERT_TRUE(s.runUntilResults(2));
    const auto results = s.app->results();
    EXPECT_FALSE(results[0].fatPercentage.has_value());  // weighing frame: weight only
    const auto r = results[1];
    EXPECT_EQ(r.unit, "lb");
    EXPECT_EQ(r.weight, 154.3);  // 70 kg as the scale shows it in pounds
    EXPECT_EQ(r.fatPercentage, 18.0);
    const double metres = 1.65F;
    EXPECT_EQ(r.imc, static_cast<double>(static_cast<float>(154.3 / (metres * metres))));
    EXPECT_FALSE(s.scale->userParameters()->male);
    EXPECT_FALSE(s.scale->userParameters()->kilograms);
}

TEST(WeightScaleFlow, ParametersRepeatWhileNoTwoPartResultWasSeen) {
    if (HalvoraSDKWeightScale::lastWeight() != 0) GTEST_SKIP() << "a two-part result was already seen";
    lab::WeightScaleScript script;
    script.family = Family::OneFrame;
    ScaleLab s(script, "kg", 0, 30, 175);
    ASSERT_TRUE(s.lab.runUntilEvent("status 4 -> 2", seconds(10)));
    const int first = s.scale->parameterFrames();
    s.lab.advance(seconds(6.1));
    // Both discoveries (two services) sent the parameters, but one repeat stays pending: one frame every
    // two seconds.
    EXPECT_EQ(s.scale->parameterFrames(), first + 3);
    s.lab.manager->disconnectDevice(DeviceTypeWeightScale);
    s.lab.advance(seconds(1));
    const int after = s.scale->parameterFrames();
    s.lab.advance(seconds(10));
    EXPECT_EQ(s.scale->parameterFrames(), after);
}

TEST(WeightScaleFlow, ImpedanceScaleResultIsEstimatedByTheKit) {
    lab::WeightScaleScript script;
    script.family = Family::Impedance;
    script.weight = 70.0;
    script.impedance = 500.0;
    ScaleLab s(script, "kg", 0, 30, 175);
    ASSERT_TRUE(s.runUntilResults(1));
    const auto r = s.app->results()[0];
    EXPECT_EQ(r.bia, 500.0);
    EXPECT_EQ(r.weight, 70.0);
    EXPECT_NEAR(*r.fatPercentage, 17.6420, 0.00005);
    EXPECT_NEAR(*r.bmr, 1675.2082, 0.00005);
    EXPECT_NEAR(*r.proteinPercentage, 20.3881, 0.00005);
    EXPECT_FALSE(s.app->weighings().empty());
    EXPECT_EQ(*s.app->weighings().back().weight, 70.0);
}

}  // namespace
}  // namespace halvora
