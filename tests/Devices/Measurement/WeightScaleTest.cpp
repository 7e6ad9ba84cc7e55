// Byte scripts for the body-composition scale: connection steps, the user-parameter frame and its
// two-second repeat, the four notification families, short frames and the process-wide first half of a
// two-part result. Results are read at a recording application delegate set on a real manager.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <thread>

#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKWeightScale.hpp"
#include "halvora/Manager/HalvoraSDKManager.hpp"
#include "halvora/Manager/RecognitionTable.hpp"
#include "halvora/Runtime/VirtualExecutor.hpp"
#include "halvora/Transport/UnavailableTransport.hpp"
#include "support/FakePeripheral.hpp"
#include "support/Hex.hpp"
#include "support/RecordingDeviceDelegate.hpp"
#include "support/RecordingWeightScaleDelegate.hpp"
#include "support/TempDir.hpp"

namespace halvora {
namespace {

using test::bytes;
using test::FakePeripheral;
using test::hex;

const BLEUUID kService("FFF0");
const BLEUUID kRead("FFF1");
const BLEUUID kSend("FFF2");
const BLEUUID kBodyService("181B");
const BLEUUID kBody("2A9C");
constexpr std::uint8_t kNotify = CharacteristicPropertyNotify;
constexpr double kFourDecimals = 0.00005;

/// A scale driver on a peripheral double, with a manager whose weight-scale delegate records the results.
struct Scale {
    test::TempDir folder;
    std::shared_ptr<VirtualExecutor> executor = VirtualExecutor::create();
    std::shared_ptr<PreferenceUtils> preferences = std::make_shared<PreferenceUtils>(folder.file("preferences"));
    std::shared_ptr<Log> log = Log::makeSilent();
    std::shared_ptr<HalvoraSDKManager> manager = HalvoraSDKManager::create(
        ManagerEnvironment{executor, std::make_shared<UnavailableTransport>(), preferences, log});
    std::shared_ptr<test::RecordingWeightScaleDelegate> app = std::make_shared<test::RecordingWeightScaleDelegate>();
    std::shared_ptr<test::RecordingDeviceDelegate> reports = std::make_shared<test::RecordingDeviceDelegate>();
    std::shared_ptr<FakePeripheral> peripheral;
    std::shared_ptr<HalvoraSDKWeightScale> driver;

    /// `withBody`: the scale also has the body characteristic, in a service of its own.
    explicit Scale(bool withBody = true, bool connect = true, bool withReports = true) {
        manager->setWeightscaleDelegate(app);
        peripheral = std::make_shared<FakePeripheral>("00000000-0000-0000-0000-0000000000C4", "Chipsea-BLE");
        peripheral->addService(kService, {{kRead, kNotify}, {kSend, CharacteristicPropertyWriteWithoutResponse}});
        if (withBody) peripheral->addService(kBodyService, {{kBody, kNotify}});
        DriverContext context;
        context.executor = executor;
        context.log = log;
        context.preferences = preferences;
        context.delegates = manager;
        driver = std::make_shared<HalvoraSDKWeightScale>(context);
        if (withReports) {
            driver->setPeripheral(peripheral, reports);
        } else {
            driver->setPeripheral(peripheral, {});
        }
        if (connect) connectAll(withBody);
    }

    void connectAll(bool withBody) {
        driver->didConnect();
        peripheral->playServicesDiscovered();
        peripheral->playCharacteristicsDiscovered(kService);
        if (withBody) peripheral->playCharacteristicsDiscovered(kBodyService);
        peripheral->playDescriptorWritten(kRead);
        app->clear();
        reports->clear();
        peripheral->writes.clear();
    }

    void notifyRead(const std::string& frame) { peripheral->playNotification(kRead, bytes(frame)); }
    void notifyBody(const std::string& frame) { peripheral->playNotification(kBody, bytes(frame)); }
    std::vector<std::string> writtenFrames() const {
        std::vector<std::string> frames;
        for (const auto& w : peripheral->writes) frames.push_back(hex(w.value));
        return frames;
    }
};

/// Family D frame: flags, then weight, fat, water, muscle, metabolic rate and visceral big-endian, bone.
std::string oneFrameResult(std::uint8_t flags, std::uint16_t weight, std::uint16_t fat, std::uint16_t water,
                           std::uint16_t muscle, std::uint16_t bmr, std::uint16_t visceral, std::uint8_t bone) {
    std::vector<std::uint8_t> frame = {0xCA, 0x10, 0x00, 0x00, flags};
    for (std::uint16_t v : {weight, fat, water, muscle, bmr, visceral}) {
        frame.push_back(static_cast<std::uint8_t>(v >> 8));
        frame.push_back(static_cast<std::uint8_t>(v & 0xFF));
    }
    frame.push_back(bone);
    return hex(frame);
}

// Family C halves: 70.0 kg with 18.0 % fat (time stamp 0x01020304, user 7), then water 60.0 %, muscle
// 40.0 kg, metabolic rate 1600, visceral 8.0, bone 3.0 kg.
const std::string kFirstHalf = "CA 11 00 01 10 01 02 03 04 00 00 00 00 00 07 02 BC 00 B4";
const std::string kSecondHalf = "CA 11 00 01 20 02 58 01 90 06 40 00 50 1E";

bool freshProcess() {
    return HalvoraSDKWeightScale::lastWeight() == 0;
}

// ------------------------------------------------------------------------------------ recognition

TEST(HalvoraSDKWeightScale, RecognisesNamesContainingItsFragmentInExactCase) {
    const std::vector<std::pair<std::optional<std::string>, bool>> cases = {
        {"Chipsea-BLE", true}, {"My Chipsea-BLE 02", true}, {"chipsea-ble", false}, {"Chipsea BLE", false},
        {"", false},           {std::nullopt, false}};
    for (const auto& [name, expected] : cases) {
        auto peripheral = std::make_shared<FakePeripheral>("00000000-0000-0000-0000-000000000001", name);
        EXPECT_EQ(HalvoraSDKWeightScale::matchDevice(peripheral), expected) << name.value_or("(no name)");
        const DriverClass* row = RecognitionTable::recognise(peripheral, nullptr);
        EXPECT_EQ(row != nullptr && row->className == "HalvoraSDKWeightScale", expected);
        if (row && expected) {
            EXPECT_EQ(row->kind, DeviceTypeWeightScale);
        }
    }
    // Classes earlier in the recognition order win names that also contain the scale's fragment.
    for (const auto& [name, className] :
         std::vector<std::pair<std::string, std::string>>{{"iCcur Chipsea-BLE", "HalvoraSDKBabyThermometer"},
                                                          {"Bluetooth BP Chipsea-BLE", "HalvoraSDKThermometer"}}) {
        auto peripheral = std::make_shared<FakePeripheral>("00000000-0000-0000-0000-000000000002", name);
        const DriverClass* row = RecognitionTable::recognise(peripheral, nullptr);
        ASSERT_NE(row, nullptr);
        EXPECT_EQ(row->className, className);
    }
    EXPECT_EQ(HalvoraSDKWeightScale::format("fff0"), "ccccfff0-93d4-4c06-bcba-e719578f1408");
    auto driver = std::make_shared<HalvoraSDKWeightScale>();
    EXPECT_EQ(driver->getType(), 4);
}

// ------------------------------------------------------------------------------------ connection

TEST(HalvoraSDKWeightScale, DiscoveryReportsTypeAfterEveryCharacteristicThenReadyAndParameters) {
    Scale scale(true, false);
    auto& p = *scale.peripheral;
    scale.driver->didConnect();
    EXPECT_EQ(p.serviceDiscoveries, 1);
    p.playServicesDiscovered();
    // Every service is explored in full.
    ASSERT_EQ(p.characteristicDiscoveries.size(), 2U);
    EXPECT_EQ(p.characteristicDiscoveries[0].first, kService);
    EXPECT_TRUE(p.characteristicDiscoveries[0].second.empty());
    EXPECT_EQ(p.characteristicDiscoveries[1].first, kBodyService);
    EXPECT_EQ(scale.driver->rs232Service()->uuid(), kBodyService);

    p.playCharacteristicsDiscovered(kService);
    EXPECT_EQ(scale.app->events(), (std::vector<std::string>{"type 1", "type 1"}));
    EXPECT_EQ(scale.reports->events(), (std::vector<std::string>{"connected", "ready"}));
    EXPECT_EQ(scale.writtenFrames(), std::vector<std::string>{"CA 0A 10 01 00 00 00 00 80 1E AF 00 E0"});
    EXPECT_EQ(p.writes[0].characteristic, kSend);
    EXPECT_EQ(p.writes[0].type, WriteType::WithoutResponse);

    p.playCharacteristicsDiscovered(kBodyService);
    EXPECT_EQ(scale.app->events(), (std::vector<std::string>{"type 1", "type 1", "type 2"}));
    EXPECT_EQ(p.notified, (std::vector<BLEUUID>{kRead, kBody}));
    EXPECT_EQ(p.writes.size(), 2U);  // each discovery ends with the parameters

    p.playDescriptorWritten(kRead, BLEError{1, "refused"});
    EXPECT_EQ(scale.reports->events(), (std::vector<std::string>{"connected", "ready", "ready", "ready"}));
}

TEST(HalvoraSDKWeightScale, WithoutReportReceiverNeitherReadyNorParametersAndErrorsStopDiscovery) {
    Scale silent(true, false, false);
    silent.driver->didConnect();
    silent.peripheral->playServicesDiscovered();
    silent.peripheral->playCharacteristicsDiscovered(kService);
    EXPECT_TRUE(silent.peripheral->writes.empty());
    EXPECT_EQ(silent.app->count("type 1"), 2U);  // the application still hears the type

    Scale failing(true, false);
    failing.driver->didConnect();
    failing.peripheral->playServicesDiscovered(BLEError{3, "no services"});
    EXPECT_TRUE(failing.peripheral->characteristicDiscoveries.empty());
    failing.peripheral->playCharacteristicsDiscovered(kService, BLEError{4, "gatt"});
    EXPECT_EQ(failing.reports->events(), std::vector<std::string>{"connected"});
    EXPECT_TRUE(failing.app->events().empty());
    EXPECT_TRUE(failing.peripheral->notified.empty());
}

// ------------------------------------------------------------------------------------ user parameters

TEST(HalvoraSDKWeightScale, UserParameterFrameCarriesSexAgeHeightUnitAndXor) {
    struct Case {
        std::optional<std::string> unit;
        std::int32_t sex, age, height;
        const char* frame;
    };
    const std::vector<Case> cases = {
        {"kg", 0, 30, 175, "CA 0A 10 01 00 00 00 00 80 1E AF 00 E0"},
        {"lb", 1, 45, 160, "CA 0A 10 01 00 00 00 00 00 2D A0 01 5D"},
        {std::nullopt, 0, 300, 430, "CA 0A 10 01 00 00 00 00 80 2C AE 01 D2"},  // low 8 bits; no unit
        {"KG", 2, 18, 200, "CA 0A 10 01 00 00 00 00 00 12 C8 01 0A"},           // only exactly "kg"
        {"kg", -1, -1, -1, "CA 0A 10 01 00 00 00 00 00 FF FF 00 D1"},
    };
    for (const auto& c : cases) {
        Scale scale;
        if (c.unit) {
            // From the stored preferences, as the manager keeps them.
            scale.manager->setWeightScaleParams(*c.unit, c.sex, c.age, c.height);
            scale.driver->startMeasurement();
        } else {
            scale.driver->startMeasurement(c.unit, c.sex, c.age, c.height);
        }
        ASSERT_EQ(scale.peripheral->writes.size(), 1U);
        const auto& frame = scale.peripheral->writes[0].value;
        EXPECT_EQ(hex(frame), c.frame);
        std::uint8_t x = 0;
        for (std::size_t i = 0; i + 1 < frame.size(); ++i) x ^= frame[i];
        EXPECT_EQ(x, frame.back());
    }
}

// A scale streaming live weights: every weighing frame sends the parameters again, but only one repeat
// stays pending, so the scale is not sent one extra frame every two seconds per frame it streamed.
TEST(HalvoraSDKWeightScale, StreamedWeighingFramesKeepOneRepeatPending) {
    if (!freshProcess()) GTEST_SKIP() << "a two-part result was already seen in this process";
    Scale scale(false);
    for (int i = 0; i < 5; ++i) scale.notifyRead("CA 11 00 00 00 03 0D");
    EXPECT_EQ(scale.peripheral->writes.size(), 5U);
    scale.executor->advance(seconds(2.001));
    EXPECT_EQ(scale.peripheral->writes.size(), 6U);
    scale.executor->advance(seconds(2));
    EXPECT_EQ(scale.peripheral->writes.size(), 7U);
}

TEST(HalvoraSDKWeightScale, ParametersRepeatEveryTwoSecondsUntilATwoPartResultIsSeen) {
    if (!freshProcess()) GTEST_SKIP() << "a two-part result was already seen in this process";
    Scale scale(false);  // one service: one discovery, one repeat chain
    scale.executor->advance(seconds(1.999));
    EXPECT_TRUE(scale.peripheral->writes.empty());
    scale.executor->advance(seconds(0.002));
    EXPECT_EQ(scale.peripheral->writes.size(), 1U);
    scale.executor->advance(seconds(4));
    EXPECT_EQ(scale.peripheral->writes.size(), 3U);

    // The first half of a two-part result ends the repeat for good.
    scale.notifyRead(kFirstHalf);
    scale.executor->advance(seconds(10));
    EXPECT_EQ(scale.peripheral->writes.size(), 3U);
    scale.driver->startMeasurement();
    scale.executor->advance(seconds(10));
    EXPECT_EQ(scale.peripheral->writes.size(), 4U);
}

// ------------------------------------------------------------------------------------ family A

TEST(HalvoraSDKWeightScale, ImpedanceResultTakesEveryFigureFromTheFormulas) {
    Scale scale;
    scale.notifyBody("06 00 00 00 00 00 00 00 00 88 13 BC 02");  // impedance 500.0, 70.0 kg
    ASSERT_EQ(scale.app->events(), std::vector<std::string>{"result"});
    const auto r = scale.app->results()[0];
    EXPECT_EQ(r.unit, "kg");
    EXPECT_EQ(r.weight, 70.0);
    EXPECT_EQ(r.bia, 500.0);
    EXPECT_EQ(r.imc, static_cast<double>(static_cast<float>(70.0 / 3.0625)));
    EXPECT_NEAR(*r.fatPercentage, 17.6420, kFourDecimals);
    EXPECT_NEAR(*r.fatRawValue, 70 * *r.fatPercentage / 100, 1e-12);
    EXPECT_NEAR(*r.waterPercentage, 62.3580, kFourDecimals);
    EXPECT_NEAR(*r.muscleRawValue, 70 * 46.7762 / 100, 0.0001);  // a percentage of the weight here
    EXPECT_NEAR(*r.visceralRawValue, 70 * 7.3247 / 100, 0.0001);
    EXPECT_NEAR(*r.bonePercentage, 3.3077 / 70 * 100, 0.0001);
    EXPECT_NEAR(*r.bmr, 1675.2082, kFourDecimals);
    EXPECT_NEAR(*r.proteinPercentage, 20.3881, kFourDecimals);
    EXPECT_NEAR(*r.obesityPercentage, 4.8493, kFourDecimals);
    EXPECT_NEAR(*r.bodyAge, 28.5714, kFourDecimals);
}

TEST(HalvoraSDKWeightScale, ImpedanceResultWithoutImpedanceLeavesBiaAndProteinAbsent) {
    Scale scale;
    scale.manager->setWeightScaleParams("kg", 1, 30, 175);
    scale.notifyBody("06 00 00 00 00 00 00 00 00 00 00 BC 02");
    ASSERT_EQ(scale.app->results().size(), 1U);
    const auto r = scale.app->results()[0];
    EXPECT_FALSE(r.bia.has_value());
    EXPECT_FALSE(r.proteinPercentage.has_value());
    for (const auto& figure :
         {r.fatPercentage, r.waterPercentage, r.musclePercentage, r.visceralPercentage, r.boneRawValue, r.bmr}) {
        EXPECT_EQ(figure, 0.0);
    }
    EXPECT_NEAR(*r.obesityPercentage, 4.8493, kFourDecimals);
}

// ------------------------------------------------------------------------------------ families B and C

TEST(HalvoraSDKWeightScale, WeighingFramesReportTheWeightAndFamilyCSendsTheParametersAgain) {
    Scale scale;
    scale.notifyRead("06 00 00 00 00 00 00 00 00 88 13 BC 02");  // family B: 70.0 kg, no index
    scale.notifyRead("CA 11 00 00 00 03 0D");                    // family C weighing: 78.1 kg
    ASSERT_EQ(scale.app->events(), (std::vector<std::string>{"weighing", "weighing"}));
    const auto w = scale.app->weighings();
    EXPECT_EQ(w[0].weight, 70.0);
    EXPECT_EQ(w[0].unit, "kg");
    EXPECT_FALSE(w[0].imc.has_value());
    EXPECT_FALSE(w[0].bia.has_value());
    EXPECT_EQ(w[1].weight, 78.1);
    EXPECT_EQ(w[1].imc, static_cast<double>(static_cast<float>(78.1 / 3.0625)));
    EXPECT_EQ(scale.writtenFrames(), std::vector<std::string>{"CA 0A 10 01 00 00 00 00 80 1E AF 00 E0"});
}

TEST(HalvoraSDKWeightScale, TwoPartResultCombinesTheStoredFirstHalfWithTheSecond) {
    Scale scale;
    scale.notifyRead(kFirstHalf);
    EXPECT_TRUE(scale.app->events().empty());
    EXPECT_EQ(HalvoraSDKWeightScale::lastWeight(), 70.0);
    EXPECT_EQ(HalvoraSDKWeightScale::lastFat(), 18.0);
    EXPECT_EQ(HalvoraSDKWeightScale::dateWeight(), 0x01020304);
    EXPECT_EQ(HalvoraSDKWeightScale::userID(), 7);

    scale.notifyRead(kSecondHalf);
    ASSERT_EQ(scale.app->results().size(), 1U);
    const auto r = scale.app->results()[0];
    EXPECT_EQ(r.weight, 70.0);
    EXPECT_EQ(r.unit, "kg");
    EXPECT_EQ(r.fatPercentage, 18.0);
    EXPECT_NEAR(*r.fatRawValue, 12.6, 1e-9);
    EXPECT_NEAR(*r.waterRawValue, 42.0, 1e-9);
    EXPECT_EQ(r.muscleRawValue, 40.0);  // a mass here
    EXPECT_NEAR(*r.musclePercentage, 400.0 / 7, 1e-9);
    EXPECT_EQ(r.bmr, 1600.0);
    EXPECT_NEAR(*r.visceralRawValue, 5.6, 1e-9);
    EXPECT_NEAR(*r.bonePercentage, 300.0 / 70, 1e-9);
    EXPECT_NEAR(*r.proteinPercentage, 200.0 / 7 - 3, 1e-9);
    EXPECT_NEAR(*r.bodyAge, 28.5714, kFourDecimals);
    EXPECT_FALSE(r.bia.has_value());
}

TEST(HalvoraSDKWeightScale, FirstHalfIsSharedAcrossConnectionsAndUserIsClearedOnConnect) {
    {
        Scale first;
        first.notifyRead(kFirstHalf);
        EXPECT_EQ(HalvoraSDKWeightScale::userID(), 7);
    }
    Scale second;  // a new driver on a new connection
    EXPECT_EQ(HalvoraSDKWeightScale::userID(), 0);
    EXPECT_EQ(HalvoraSDKWeightScale::lastWeight(), 70.0);
    second.notifyRead(kSecondHalf);
    ASSERT_EQ(second.app->results().size(), 1U);
    EXPECT_EQ(second.app->results()[0].weight, 70.0);
    EXPECT_EQ(second.app->results()[0].fatPercentage, 18.0);
    // The repeat has stopped for every scale of the process.
    second.executor->advance(seconds(10));
    EXPECT_TRUE(second.peripheral->writes.empty());
}

TEST(HalvoraSDKWeightScale, SecondHalfBeforeAnyFirstHalfUsesAZeroWeight) {
    if (!freshProcess()) GTEST_SKIP() << "a two-part result was already seen in this process";
    Scale scale;
    scale.notifyRead(kSecondHalf);
    ASSERT_EQ(scale.app->results().size(), 1U);
    const auto r = scale.app->results()[0];
    EXPECT_EQ(r.weight, 0.0);
    EXPECT_EQ(r.imc, 0.0);
    EXPECT_TRUE(std::isinf(*r.musclePercentage));
    EXPECT_TRUE(std::isinf(*r.bonePercentage));
    EXPECT_EQ(r.fatRawValue, 0.0);
}

// ------------------------------------------------------------------------------------ family D

TEST(HalvoraSDKWeightScale, OneFrameResultAppliesTheScaleBitsMultiplierAndUnitBits) {
    struct Case {
        std::uint8_t flags;
        std::uint16_t bmr;
        double weight;  // expected
        const char* unit;
        bool full;
        double fat;  // expected when full
    };
    const std::vector<Case> cases = {
        {0x01, 1600, 70.0, "kg", true, 18.0},                                       // status 1, factor 1
        {0x03, 1600, 140.0, "kg", true, 36.0},                                      // factor 2, percentages too
        {0x09, 1600, 70.0, "lb", true, 18.0},                                       // pounds, factor 1
        {0x11, 1600, 70.0, "lb", true, 18.0},  {0x00, 1600, 70.0, "kg", false, 0},  // status 0: weight only
        {0x05, 0, 0.0, "kg", false, 0},  // factor 0 and no metabolic rate: every figure 0
        {0x07, 0, 0.0, "kg", false, 0},
    };
    for (const auto& c : cases) {
        Scale scale;
        scale.notifyRead(oneFrameResult(c.flags, 700, 180, 600, 400, c.bmr, 80, 30));
        ASSERT_EQ(scale.app->results().size(), 1U) << "flags " << int(c.flags);
        const auto r = scale.app->results()[0];
        EXPECT_EQ(r.weight, c.weight) << "flags " << int(c.flags);
        EXPECT_EQ(r.unit, c.unit);
        // The index takes the weight as kilograms whatever the unit.
        EXPECT_EQ(r.imc, static_cast<double>(static_cast<float>(c.weight / 3.0625)));
        EXPECT_EQ(r.fatPercentage.has_value(), c.full);
        EXPECT_EQ(r.bmr.has_value(), c.full);
        if (!c.full) continue;
        EXPECT_EQ(r.fatPercentage, c.fat);
        EXPECT_EQ(r.bmr, 1600.0);  // never multiplied
        EXPECT_NEAR(*r.musclePercentage, 400.0 / 7, 1e-9);
        EXPECT_NEAR(*r.obesityPercentage, (c.weight - 66.7625) / 66.7625 * 100, 1e-4);
    }
}

TEST(HalvoraSDKWeightScale, OneFrameResultMetabolicRateEscapesAZeroMultiplier) {
    Scale scale;
    scale.notifyRead(oneFrameResult(0x05, 700, 180, 600, 400, 1600, 80, 30));
    ASSERT_EQ(scale.app->results().size(), 1U);
    const auto r = scale.app->results()[0];
    EXPECT_EQ(r.weight, 0.0);
    EXPECT_EQ(r.bmr, 1600.0);
    EXPECT_EQ(r.fatPercentage, 0.0);
    EXPECT_TRUE(std::isnan(*r.musclePercentage));  // 0 / 0
}

// ------------------------------------------------------------------------------------ bad input and delivery

TEST(HalvoraSDKWeightScale, ShortAndUnknownFramesAreIgnored) {
    Scale scale;
    const std::vector<std::string> readFrames = {"",
                                                 "06",
                                                 "06 00 00 00 00 00 00 00 00 88 13 BC",
                                                 "CA",
                                                 "CA 11",
                                                 "CA 11 00",
                                                 "CA 11 00 00 00 02",
                                                 "CA 11 00 01",
                                                 kFirstHalf.substr(0, kFirstHalf.size() - 3),
                                                 kSecondHalf.substr(0, kSecondHalf.size() - 3),
                                                 oneFrameResult(0x01, 700, 180, 600, 400, 1600, 80, 30).substr(0, 50),
                                                 "CA 12 00 00 00 02 BC",
                                                 "CB 10 00 00 01 02 BC 00 B4 02 58 01 90 06 40 00 50 1E",
                                                 "CA 0A 10 01 00 00 00 00 80 1E AF 00 E0"};
    for (const auto& frame : readFrames) scale.notifyRead(frame);
    for (const auto& frame : {"06 00 00 00 00 00 00 00 00 88 13 BC", "07 00 00 00 00 00 00 00 00 88 13 BC 02", ""}) {
        scale.notifyBody(frame);
    }
    EXPECT_TRUE(scale.app->events().empty());
    EXPECT_TRUE(scale.peripheral->writes.empty());
}

TEST(HalvoraSDKWeightScale, ResultsGoToTheDelegateSetAtTheMomentOfDelivery) {
    Scale scale;
    auto later = std::make_shared<test::RecordingWeightScaleDelegate>();
    const std::string frame = oneFrameResult(0x01, 700, 180, 600, 400, 1600, 80, 30);
    scale.notifyRead(frame);
    scale.manager->setWeightscaleDelegate(later);
    scale.notifyRead(frame);
    scale.manager->setWeightscaleDelegate({});
    scale.notifyRead(frame);  // built and dropped
    EXPECT_EQ(scale.app->count("result"), 1U);
    EXPECT_EQ(later->count("result"), 1U);
}

TEST(HalvoraSDKWeightScale, RandomNotificationsNeverBreakTheDriver) {
    Scale scale;
    std::mt19937 random(20240607);
    const std::vector<std::uint8_t> leads = {0x06, 0xCA, 0xCA, 0xCA};
    const std::vector<std::uint8_t> families = {0x10, 0x11, 0x12};
    for (int i = 0; i < 5000; ++i) {
        std::vector<std::uint8_t> frame(random() % 24);
        for (auto& b : frame) b = static_cast<std::uint8_t>(random());
        if (!frame.empty() && random() % 4 != 0) frame[0] = leads[random() % leads.size()];
        if (frame.size() > 1 && random() % 3 != 0) frame[1] = families[random() % families.size()];
        if (random() % 3 == 0) {
            scale.peripheral->playNotification(kBody, frame);
        } else {
            scale.peripheral->playNotification(kRead, frame);
        }
    }
    for (const auto& r : scale.app->results()) {
        EXPECT_TRUE(r.weight.has_value());
        EXPECT_TRUE(r.unit == "kg" || r.unit == "lb");
    }
    for (const auto& w : scale.peripheral->writes) EXPECT_EQ(w.value.size(), 13U);
    EXPECT_GT(scale.app->results().size(), 0U);
}

TEST(HalvoraSDKWeightScale, RepeatThreadAndEventThreadShareTheDriverSafely) {
    // The repeat writes from the main queue while events arrive on the callback queue; two drivers on two
    // threads share the process-wide first half. Run under ThreadSanitizer, this checks the locking.
    Scale a(true, true, false);  // no report receiver: discovery does not write (the double is not thread-safe)
    Scale b;
    std::thread repeat([&] {
        for (int i = 0; i < 200; ++i) {
            a.driver->startMeasurement();
            (void)HalvoraSDKWeightScale::lastWeight();
        }
    });
    std::thread events([&] {
        for (int i = 0; i < 200; ++i) {
            a.peripheral->playCharacteristicsDiscovered(kService);
            a.notifyRead(kSecondHalf);
        }
    });
    for (int i = 0; i < 200; ++i) {
        b.notifyRead(kFirstHalf);
        b.driver->didConnect();
    }
    repeat.join();
    events.join();
    EXPECT_EQ(a.app->count("result"), 200U);
    EXPECT_EQ(a.peripheral->writes.size(), 200U);
}

}  // namespace
}  // namespace halvora
