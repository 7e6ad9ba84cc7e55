// Whole flows through the manager with virtual blood-pressure monitors, in virtual time.
#include <gtest/gtest.h>

#include "halvora/Devices/Measurement/HalvoraSDKHeartDeviceV2.hpp"
#include "lab/Devices/Measurement/VirtualHeartDevice.hpp"
#include "lab/Devices/Measurement/VirtualHeartDeviceV2.hpp"
#include "lab/Devices/Measurement/VirtualHeartDeviceV3.hpp"
#include "lab/Devices/Measurement/VirtualThermometerV3.hpp"
#include "support/LabHarness.hpp"

namespace halvora {
namespace {

using test::LabHarness;

constexpr const char* kMonitorA = "6F1C2D3E-0000-4000-8000-0000000000A1";
constexpr const char* kMonitorB = "6F1C2D3E-0000-4000-8000-0000000000B2";

TEST(BloodPressureFlow, TypicalRequestFromSearchToResult) {
    LabHarness lab;
    auto monitor = lab.add(lab::VirtualHeartDevice::make(kMonitorA));
    lab::BloodPressureScript script;
    script.systolic = 128;
    script.diastolic = 84;
    script.pulse = 66;
    monitor->setScript(script);

    lab.manager->connectDevice(DeviceTypeHeart, 30);
    ASSERT_TRUE(lab.runUntilEvent("status 0 -> 0", seconds(1)));
    EXPECT_EQ(lab.manager->getDeviceStatus(DeviceTypeHeart), ConnectionStatusSearching);

    // The candidate is chosen at the first 4-second check, not before.
    lab.advance(seconds(3.9));
    EXPECT_FALSE(lab.app->has("status 0 -> 1"));
    ASSERT_TRUE(lab.runUntilEvent("status 0 -> 2", seconds(2)));
    EXPECT_GE(lab.app->timeOf("status 0 -> 1"), 4000);
    EXPECT_EQ(lab.app->eventsStartingWith("status 0"),
              (std::vector<std::string>{"status 0 -> 0", "status 0 -> 1", "status 0 -> 2"}));
    lab.advance(seconds(1));
    EXPECT_EQ(lab.app->count("status 0 -> 2"), 2U);  // ready after discovery and again after notifications on
    EXPECT_EQ(lab.app->eventsStartingWith("heart status"),
              (std::vector<std::string>{"heart status 0", "heart status 1", "heart status 2", "heart status 2"}));
    EXPECT_TRUE(lab.manager->isDeviceConnected(DeviceTypeHeart));
    EXPECT_FALSE(lab.manager->isPending(DeviceTypeHeart));
    EXPECT_EQ(lab.manager->getDeviceUUID(DeviceTypeHeart), std::optional<std::string>(kMonitorA));

    EXPECT_TRUE(lab.manager->startMeasurement(DeviceTypeHeart));
    ASSERT_TRUE(lab.runUntilEvent("result 128/84/66", seconds(30)));
    // Progress goes to both receivers: the general delegate and the heart delegate are the same object here.
    const auto progress = lab.app->eventsStartingWith("progress");
    ASSERT_FALSE(progress.empty());
    EXPECT_EQ(progress.front(), "progress 20");
    EXPECT_EQ(lab.app->count("progress 160"), 2U);
    EXPECT_EQ(lab.app->count("result 128/84/66"), 2U);
    EXPECT_TRUE(lab.logged("HalvoraSDK:  Trying to connect device: 0"));
}

TEST(BloodPressureFlow, DeviceErrorsBecomeErrorResults) {
    struct Case {
        std::uint8_t deviceByte;
        std::string expected;
    };
    for (const auto& c : {Case{0x0C, "error result -6"}, Case{0x04, "error result -1"}}) {
        LabHarness lab;
        auto monitor = lab.add(lab::VirtualHeartDevice::make(kMonitorA));
        lab::BloodPressureScript script;
        script.errorByte = c.deviceByte;
        monitor->setScript(script);
        lab.manager->connectDevice(DeviceTypeHeart, 30);
        ASSERT_TRUE(lab.runUntilEvent("status 0 -> 2"));
        lab.manager->startMeasurement(DeviceTypeHeart);
        ASSERT_TRUE(lab.runUntilEvent(c.expected, seconds(30))) << int(c.deviceByte);
        EXPECT_TRUE(lab.app->eventsStartingWith("result").empty());
    }
}

TEST(BloodPressureFlow, SecondGenerationMeasuresOnItsOwnAndCannotBeStarted) {
    LabHarness lab;
    auto monitor = lab.add(lab::VirtualHeartDeviceV2::make(kMonitorA));
    lab::BloodPressureScript script;
    script.battery = 64;
    monitor->setScript(script);
    lab.manager->connectDevice(DeviceTypeHeart, 30);
    ASSERT_TRUE(lab.runUntilEvent("status 0 -> 2"));
    EXPECT_FALSE(lab.manager->startMeasurement(DeviceTypeHeart));
    EXPECT_FALSE(lab.manager->startMeasurement());
    ASSERT_TRUE(lab.runUntilEvent("result 120/80/72", seconds(30)));
    EXPECT_TRUE(lab.app->has("battery 0 64"));
    // Only one result per connection, even when the monitor measures again.
    monitor->measure();
    lab.advance(seconds(30));
    EXPECT_EQ(lab.app->count("result 120/80/72"), 2U);  // once per receiver
    EXPECT_NE(std::dynamic_pointer_cast<HalvoraSDKHeartDeviceV2>(lab.manager->driverForKind(DeviceTypeHeart)), nullptr);
}

TEST(BloodPressureFlow, ThirdGenerationAnswersBatteryAndSuppressesARepeatedResult) {
    LabHarness lab;
    auto monitor = lab.add(lab::VirtualHeartDeviceV3::make(kMonitorA));
    lab::BloodPressureScript script;
    script.battery = 91;
    script.resultRepeats = 3;
    monitor->setScript(script);
    lab.manager->connectDevice(DeviceTypeHeart, 30);
    ASSERT_TRUE(lab.runUntilEvent("status 0 -> 2"));
    lab.manager->checkBatteryLevel(DeviceTypeHeart);
    ASSERT_TRUE(lab.runUntilEvent("battery 0 91", seconds(1)));
    EXPECT_TRUE(lab.manager->startMeasurement(DeviceTypeHeart));
    ASSERT_TRUE(lab.runUntilEvent("result 120/80/72", seconds(30)));
    lab.advance(seconds(5));
    EXPECT_EQ(lab.app->count("result 120/80/72"), 2U);  // three frames, one result, two receivers
    // The same values in a second measurement are not delivered again.
    lab.manager->startMeasurement(DeviceTypeHeart);
    lab.advance(seconds(30));
    EXPECT_EQ(lab.app->count("result 120/80/72"), 2U);
    // The started echo arrives before any cuff pressure and is not taken for an error.
    EXPECT_TRUE(lab.app->eventsStartingWith("error result").empty());
}

TEST(BloodPressureFlow, NothingInRangeExpiresAtTheFirstCheck) {
    LabHarness lab;
    lab.manager->connectDevice(DeviceTypeHeart);
    ASSERT_TRUE(lab.runUntilEvent("status 0 -> 0", seconds(1)));
    lab.advance(seconds(3.9));
    EXPECT_FALSE(lab.app->has("status 0 -> -1"));
    lab.advance(seconds(0.2));
    EXPECT_EQ(lab.app->count("status 0 -> -1"), 1U);
    EXPECT_EQ(lab.manager->getDeviceStatus(DeviceTypeHeart), ConnectionStatusDisconnected);
    lab.advance(seconds(20));
    EXPECT_EQ(lab.app->count("status 0 -> -1"), 1U);
}

TEST(BloodPressureFlow, TwoKindsInARowShareOneScanButKeepTheirOwnTimeOuts) {
    LabHarness lab;
    lab.add(lab::VirtualHeartDevice::make(kMonitorA));
    lab.manager->connectDevice(DeviceTypeHeart, 30);
    lab.advance(seconds(1));
    lab.manager->connectDevice(DeviceTypeOximeter, 2);
    ASSERT_TRUE(lab.runUntilEvent("status 0 -> 1", seconds(5)));
    // A second scan would have restarted the 4-second timer: the monitor is still chosen at 4 s.
    EXPECT_LT(lab.app->timeOf("status 0 -> 1"), 4500);
    EXPECT_TRUE(lab.app->has("status 2 -> 0"));
    ASSERT_TRUE(lab.runUntilEvent("status 2 -> -1", seconds(10)));
    // The oximeter's 2 seconds (from 1 s) had run out at the first check; the monitor's 30 s had not.
    EXPECT_EQ(lab.app->timeOf("status 2 -> -1"), 4000);
    EXPECT_EQ(lab.manager->getDeviceStatus(DeviceTypeHeart), ConnectionStatusReady);
}

TEST(BloodPressureFlow, StrongestCandidateWinsAndATieKeepsTheFirstHeard) {
    {
        LabHarness lab;
        lab.add(lab::VirtualHeartDevice::make(kMonitorA, -80));
        lab.add(lab::VirtualHeartDeviceV3::make(kMonitorB, -50));
        lab.manager->connectDevice(DeviceTypeHeart, 30);
        ASSERT_TRUE(lab.runUntilEvent("status 0 -> 2"));
        EXPECT_EQ(lab.manager->getDeviceUUID(DeviceTypeHeart), std::optional<std::string>(kMonitorB));
    }
    {
        LabHarness lab;
        auto first = lab::VirtualHeartDevice::make(kMonitorB, -60);
        auto second = lab::VirtualHeartDevice::make(kMonitorA, -60);
        lab.add(first);
        lab.manager->connectDevice(DeviceTypeHeart, 30);
        lab.advance(seconds(1));  // the first is heard before the second comes in range
        lab.add(second);
        ASSERT_TRUE(lab.runUntilEvent("status 0 -> 2"));
        EXPECT_EQ(lab.manager->getDeviceUUID(DeviceTypeHeart), std::optional<std::string>(kMonitorB));
    }
}

TEST(BloodPressureFlow, ConnectByUUIDTakesOnlyTheWantedMonitor) {
    // Known to the system: connected at once, without a scan or a time-out.
    {
        LabHarness lab;
        lab.add(lab::VirtualHeartDevice::make(kMonitorA, -50));
        lab.add(lab::VirtualHeartDevice::make(kMonitorB, -90));
        lab.manager->connectByUUID(std::string(kMonitorB), DeviceTypeHeart);
        ASSERT_TRUE(lab.runUntilEvent("status 0 -> 2", seconds(2)));
        EXPECT_FALSE(lab.app->has("status 0 -> 0"));
        EXPECT_EQ(lab.manager->getDeviceUUID(DeviceTypeHeart), std::optional<std::string>(kMonitorB));
    }
    // Not a UUID the system can look up: a 60-second search that accepts only that identifier.
    {
        LabHarness lab;
        lab.add(lab::VirtualHeartDevice::make(kMonitorA, -50));
        lab.manager->connectByUUID(std::string("not-a-uuid"), DeviceTypeHeart);
        ASSERT_TRUE(lab.runUntilEvent("status 0 -> 0", seconds(2)));
        lab.advance(seconds(59));
        EXPECT_FALSE(lab.app->has("status 0 -> 1"));
        EXPECT_EQ(lab.manager->getDeviceStatus(DeviceTypeHeart), ConnectionStatusSearching);
        ASSERT_TRUE(lab.runUntilEvent("status 0 -> -1", seconds(6)));
    }
}

TEST(BloodPressureFlow, ARequestForAReadyKindSendsReadyAgainAndChangesNothing) {
    LabHarness lab;
    lab.add(lab::VirtualHeartDevice::make(kMonitorA));
    lab.manager->connectDevice(DeviceTypeHeart, 30);
    ASSERT_TRUE(lab.runUntilEvent("status 0 -> 2"));
    lab.advance(seconds(1));
    auto driver = lab.manager->driverForKind(DeviceTypeHeart);
    lab.app->clear();
    lab.manager->connectDevice(DeviceTypeHeart, 30);
    lab.advance(seconds(1));
    EXPECT_EQ(lab.app->events(), (std::vector<std::string>{"heart status 2", "status 0 -> 2"}));
    EXPECT_EQ(lab.manager->driverForKind(DeviceTypeHeart), driver);
    EXPECT_TRUE(lab.logged("HalvoraSDK:  Device already connected: 0"));
}

TEST(BloodPressureFlow, DisconnectSendsDisconnectedEvenWithoutADriver) {
    LabHarness lab;
    lab.app->clear();
    lab.manager->disconnectDevice(DeviceTypeHeart);
    EXPECT_EQ(lab.app->events(), std::vector<std::string>{"status 0 -> -1"});

    auto monitor = lab.add(lab::VirtualHeartDevice::make(kMonitorA));
    lab.manager->connectDevice(DeviceTypeHeart, 30);
    ASSERT_TRUE(lab.runUntilEvent("status 0 -> 2"));
    lab.app->clear();
    lab.manager->disconnectDevice();
    lab.advance(seconds(1));
    EXPECT_FALSE(monitor->isConnected());
    EXPECT_EQ(lab.manager->getDeviceStatus(DeviceTypeHeart), ConnectionStatusDisconnected);
    EXPECT_GE(lab.app->count("status 0 -> -1"), 1U);
}

TEST(BloodPressureFlow, LinkLossUnregistersTheDriver) {
    LabHarness lab;
    auto monitor = lab.add(lab::VirtualHeartDevice::make(kMonitorA));
    lab.manager->connectDevice(DeviceTypeHeart, 30);
    ASSERT_TRUE(lab.runUntilEvent("status 0 -> 2"));
    monitor->dropLink();
    ASSERT_TRUE(lab.runUntilEvent("status 0 -> -1", seconds(2)));
    EXPECT_EQ(lab.manager->driverForKind(DeviceTypeHeart), nullptr);
    EXPECT_TRUE(lab.app->has("heart status -1"));
}

// The link drops between the driver's ready report and the manager's delayed ready step: the step must not
// bring the driver back, or the manager would call a lost device connected and never search for it again.
TEST(BloodPressureFlow, LinkLostJustAfterReadyIsNotReportedReady) {
    LabHarness lab;
    auto monitor = lab.add(lab::VirtualHeartDevice::make(kMonitorA));
    lab.manager->connectDevice(DeviceTypeHeart, 30);
    const auto readyLogged = [&] {
        for (const auto& line : lab.logLines()) {
            if (line.rfind("HalvoraSDK:  deviceReady:", 0) == 0) return true;
        }
        return false;
    };
    ASSERT_TRUE(lab.runUntil(readyLogged, seconds(10)));
    monitor->dropLink();
    lab.advance(seconds(1));
    EXPECT_FALSE(lab.app->has("status 0 -> 2"));
    EXPECT_FALSE(lab.manager->isDeviceConnected(DeviceTypeHeart));
    EXPECT_EQ(lab.manager->driverForKind(DeviceTypeHeart), nullptr);

    // The request was never fulfilled: the manager goes on searching and connects the monitor again.
    EXPECT_TRUE(lab.manager->isPending(DeviceTypeHeart));
    EXPECT_EQ(lab.manager->getDeviceStatus(DeviceTypeHeart), ConnectionStatusSearching);
    ASSERT_TRUE(lab.runUntilEvent("status 0 -> 2", seconds(10)));
    EXPECT_TRUE(monitor->isConnected());
}

// The application was told the monitor is disconnected: frames still on their way from the monitor (the
// link takes a moment to come down) must not reach it as progress values or results.
TEST(BloodPressureFlow, NothingArrivesAfterTheDisconnectionWasReported) {
    LabHarness lab;
    auto monitor = lab.add(lab::VirtualHeartDevice::make(kMonitorA));
    lab::BloodPressureScript script;
    script.stepInterval = std::chrono::milliseconds(5);
    monitor->setScript(script);
    lab.manager->connectDevice(DeviceTypeHeart, 30);
    ASSERT_TRUE(lab.runUntilEvent("status 0 -> 2", seconds(10)));
    lab.manager->startMeasurement(DeviceTypeHeart);
    ASSERT_TRUE(lab.runUntil([&] { return !lab.app->eventsStartingWith("progress").empty(); }, seconds(10)));
    lab.manager->disconnectDevice(DeviceTypeHeart);
    const auto told = lab.app->events();
    ASSERT_EQ(told.back(), "status 0 -> -1");
    lab.advance(seconds(30));
    const auto all = lab.app->events();
    for (std::size_t i = told.size(); i < all.size(); ++i) {
        EXPECT_EQ(all[i].rfind("progress", 0), std::string::npos) << all[i];
        EXPECT_EQ(all[i].rfind("result", 0), std::string::npos) << all[i];
    }
}

TEST(BloodPressureFlow, PowerOffTearsEveryDriverDownAndReportsTwice) {
    LabHarness lab;
    lab.add(lab::VirtualHeartDevice::make(kMonitorA));
    lab.manager->connectDevice(DeviceTypeHeart, 30);
    ASSERT_TRUE(lab.runUntilEvent("status 0 -> 2"));
    lab.advance(seconds(1));
    lab.app->clear();
    lab.radio->setPoweredOn(false);
    ASSERT_TRUE(lab.runUntilEvent("power off", seconds(1)));
    // Once from the manager's own teardown, once from the driver letting its peripheral go.
    EXPECT_EQ(lab.app->count("status 0 -> -1"), 2U);
    EXPECT_EQ(lab.manager->getDeviceStatus(DeviceTypeHeart), ConnectionStatusDisconnected);
    EXPECT_FALSE(lab.manager->isBluetoothOn());
    EXPECT_TRUE(lab.logged("HalvoraSDK: Device BLE PoweredOff"));
}

TEST(BloodPressureFlow, PowerOffWithTwoDriversEmptiesEveryTable) {
    LabHarness lab;
    lab.add(lab::VirtualHeartDevice::make(kMonitorA));
    lab.add(lab::VirtualThermometerV3::make(kMonitorB));
    lab.manager->connectDevice(DeviceTypeHeart, 30);
    lab.manager->connectDevice(DeviceTypeThermometer, 30);
    ASSERT_TRUE(lab.runUntil([&] { return lab.app->has("status 0 -> 2") && lab.app->has("status 3 -> 2"); }));
    lab.manager->connectDevice(DeviceTypeOximeter, 60);  // a pending request, cleared too
    lab.advance(seconds(1));
    ASSERT_TRUE(lab.manager->isPending(DeviceTypeOximeter));
    lab.app->clear();
    lab.radio->setPoweredOn(false);
    ASSERT_TRUE(lab.runUntilEvent("power off", seconds(1)));
    EXPECT_EQ(lab.app->count("status 0 -> -1"), 2U);
    EXPECT_EQ(lab.app->count("status 3 -> -1"), 2U);
    for (DeviceKind kind : {DeviceTypeHeart, DeviceTypeThermometer, DeviceTypeOximeter}) {
        EXPECT_EQ(lab.manager->getDeviceStatus(kind), ConnectionStatusDisconnected) << kind;
    }
    // Nothing is left to time out later.
    lab.advance(seconds(70));
    EXPECT_FALSE(lab.app->has("status 2 -> -1"));
}

TEST(BloodPressureFlow, RequestsWhileBluetoothIsOffAreRetriedEachSecond) {
    LabHarness lab;
    lab.add(lab::VirtualHeartDevice::make(kMonitorA));
    lab.radio->setPoweredOn(false);
    lab.advance(seconds(0.5));
    lab.manager->connectDevice(DeviceTypeHeart, 30);
    lab.advance(seconds(10));
    EXPECT_FALSE(lab.app->has("status 0 -> 0"));
    std::size_t tries = 0;
    for (const auto& line : lab.logLines()) tries += line == "HalvoraSDK:  Trying to connect device: 0";
    EXPECT_EQ(tries, 0U);
    lab.radio->setPoweredOn(true);
    ASSERT_TRUE(lab.runUntilEvent("status 0 -> 0", seconds(1.1)));
    ASSERT_TRUE(lab.runUntilEvent("status 0 -> 2", seconds(10)));
}

TEST(BloodPressureFlow, AMonitorThatNeverBecomesReadyIsTimedOut) {
    LabHarness lab;
    auto monitor = lab.add(lab::VirtualHeartDevice::make(kMonitorA));
    lab::LabFaults faults;
    faults.discoveryError = true;
    monitor->setFaults(faults);
    lab.manager->connectDevice(DeviceTypeHeart, 10);
    ASSERT_TRUE(lab.runUntilEvent("status 0 -> 1", seconds(5)));
    ASSERT_TRUE(lab.runUntilEvent("status 0 -> -1", seconds(15)));
    EXPECT_FALSE(lab.app->has("status 0 -> 2"));
    // Expired at the first check after the ten seconds: 12 s after the request.
    EXPECT_GE(lab.app->timeOf("status 0 -> -1"), 10000);
    EXPECT_LE(lab.app->timeOf("status 0 -> -1"), 12100);
}

TEST(BloodPressureFlow, ScanForAllListsADeviceFromItsSecondAdvertisement) {
    LabHarness lab;
    lab.add(lab::VirtualHeartDevice::make(kMonitorA, -75));
    lab.manager->scanAllDevices();
    ASSERT_TRUE(lab.runUntil([&] { return !lab.app->eventsStartingWith("scan").empty(); }, seconds(5)));
    const ScanResult scan = lab.app->lastScan();
    ASSERT_EQ(scan.count(DeviceTypeHeart), 1U);
    ASSERT_EQ(scan.at(DeviceTypeHeart).size(), 1U);
    const HalvoraSDKDevice& device = scan.at(DeviceTypeHeart).front();
    EXPECT_EQ(device.deviceIdentifier, kMonitorA);
    EXPECT_EQ(device.RSSI, -75);
    EXPECT_EQ(device.type, std::optional<DeviceKind>(DeviceTypeHeart));
    EXPECT_NEAR(device.getDistanceToDevice(), 1.9953, 1e-4);
}

TEST(BloodPressureFlow, RestoredPeripheralsAreReusedWithoutAScan) {
    LabHarness lab(1, false);
    lab.add(lab::VirtualHeartDevice::make(kMonitorA));
    // A first application run connects the monitor under a restore identifier...
    {
        auto first =
            HalvoraSDKManager::create(ManagerEnvironment{lab.executor, lab.transport, lab.preferences, lab.log, "179"});
        first->setCentralManagerIdentifiers({"halvora-restore"});
        lab.executor->runUntilIdle();
        first->connectDevice(DeviceTypeHeart, 30);
        ASSERT_TRUE(lab.runUntil([&] { return first->isDeviceConnected(DeviceTypeHeart); }, seconds(10)));
    }
    lab.executor->runUntilIdle();
    // ... and the relaunched one gets it back and reuses the link.
    lab.manager->setCentralManagerIdentifiers({"halvora-restore"});
    lab.executor->runUntilIdle();
    lab.manager->connectDevice(DeviceTypeHeart, 30);
    ASSERT_TRUE(lab.runUntilEvent("status 0 -> 2", seconds(3)));
    EXPECT_FALSE(lab.app->has("status 0 -> 0"));
}

TEST(BloodPressureFlow, CentralIdentifierIsFreshOnEveryCallWithoutIdentifiers) {
    LabHarness lab(1, false);
    lab.manager->setCentralManagerIdentifiers({});
    const auto first = lab.preferences->getCentralUUID();
    lab.manager->setCentralManagerIdentifiers({});
    const auto second = lab.preferences->getCentralUUID();
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->size(), 36U);
    EXPECT_NE(*first, *second);
}

}  // namespace
}  // namespace halvora
