// Whole flows through the manager with the virtual text-command bracelet, in virtual time: the history
// download with the bracelet's time bases and its held-back last package, the remembered bracelet after a
// restart, and a hostile bracelet that must neither grow the kit's memory nor block its next command.
#include <gtest/gtest.h>

#include "Devices/Bracelet/RecordingBraceletDelegate.hpp"
#include "halvora/Core/Calendar.hpp"
#include "halvora/Devices/Bracelet/HalvoraSDKBracelet.hpp"
#include "halvora/Devices/Bracelet/internal/BraceletHistory.hpp"
#include "halvora/Devices/Bracelet/internal/BraceletTransfer.hpp"
#include "lab/Devices/Bracelet/VirtualBracelet.hpp"
#include "support/LabHarness.hpp"

namespace halvora {
namespace {

using lab::BraceletRecord;
using lab::BraceletTime;
using test::LabHarness;
using test::RecordingBraceletDelegate;

constexpr const char* kBraceletId = "7A2B3C4D-0000-4000-8000-0000000000C1";

BraceletTime at(const char* text) {
    return *BraceletTime::parse(text);
}

/// "yyyy-MM-dd HH:mm:ss" of a delivered date (the zone is pinned to UTC).
std::string text(const std::optional<Date>& date) {
    return date ? Calendar::formatDateTime(*date) : "-";
}

/// A lab world with a bracelet in range and the application listening to bracelets.
struct BraceletLab {
    LabHarness lab;
    std::shared_ptr<RecordingBraceletDelegate> app = std::make_shared<RecordingBraceletDelegate>();
    std::shared_ptr<lab::VirtualBracelet> bracelet;

    explicit BraceletLab(const lab::BraceletScript& script = {}) {
        Calendar::setTimeZone("UTC");
        bracelet = lab.add(lab::VirtualBracelet::make(kBraceletId));
        bracelet->setScript(script);
        lab.manager->setBraceletDelegate(app);
    }
    ~BraceletLab() {
        lab.advance(seconds(1));
        Calendar::setTimeZone(std::nullopt);
    }
    BraceletLab(const BraceletLab&) = delete;
    BraceletLab& operator=(const BraceletLab&) = delete;

    void connect() {
        lab.manager->connectDevice(DeviceTypeBracelet, 30);
        ASSERT_TRUE(lab.runUntilEvent("status 1 -> 2", seconds(10)));
        lab.advance(seconds(1));  // the opening BT+IOS and AT+UNITS are answered
    }
    std::shared_ptr<HalvoraSDKBracelet> driver() const {
        return std::dynamic_pointer_cast<HalvoraSDKBracelet>(lab.manager->driverForKind(DeviceTypeBracelet));
    }
    bool runUntilSyncs(std::size_t count, Duration limit = seconds(120)) {
        return lab.runUntil([&] { return app->syncs.size() >= count; }, limit);
    }
};

TEST(BraceletFlow, TwoDownloadsBringTheWholeHistoryWithTheBraceletsTimeBases) {
    lab::BraceletScript script;
    script.history = {
        BraceletRecord::steps(at("2026-11-20 08:00"), 1200), BraceletRecord::steps(at("2026-11-20 09:00"), 300),
        BraceletRecord::sleep(at("2026-11-20 01:10"), true), BraceletRecord::sleep(at("2026-11-20 01:20"), false),
        BraceletRecord::heartRate(at("2026-11-20 09:30"), 71)};
    script.itemsPerPackage = 1;  // five packages: steps, steps, sleep, sleep, heart rate
    BraceletLab world(script);
    world.connect();

    world.lab.manager->synchronizeBraceletHistoryData();
    ASSERT_TRUE(world.runUntilSyncs(1));
    // The last package (the heart rate) is decoded after the delivery: it waits for the next download.
    const auto first = world.app->syncs[0];
    ASSERT_EQ(first.stepsData.size(), 2U);
    EXPECT_EQ(text(first.stepsData[0].date), "2026-11-20 08:00:00");  // the bracelet's 35-s lead removed
    EXPECT_EQ(first.stepsData[0].steps, 1200);
    EXPECT_EQ(text(first.stepsData[1].date), "2026-11-20 09:00:00");
    ASSERT_EQ(first.sleepData.size(), 2U);
    EXPECT_EQ(text(first.sleepData[0].date), "2026-11-20 01:10:00");  // the start of its 10-minute slot
    EXPECT_EQ(first.sleepData[0].sleepDeepness, 1);
    EXPECT_EQ(first.sleepData[1].sleepDeepness, 0);
    EXPECT_TRUE(first.heartData.empty());
    EXPECT_EQ(world.bracelet->packagesSent(), 5);

    world.lab.manager->synchronizeBraceletHistoryData();  // nothing new on the bracelet
    ASSERT_TRUE(world.runUntilSyncs(2));
    const auto second = world.app->syncs[1];
    EXPECT_TRUE(second.stepsData.empty());
    EXPECT_TRUE(second.sleepData.empty());
    ASSERT_EQ(second.heartData.size(), 1U);
    EXPECT_EQ(text(second.heartData[0].date), "2026-11-20 09:30:00");
    EXPECT_EQ(second.heartData[0].heartRate, 71);

    // Every package was reported, and nothing is left waiting.
    const auto& events = world.app->events;
    EXPECT_EQ(std::count_if(events.begin(), events.end(), [](const auto& e) { return e.rfind("progress ", 0) == 0; }),
              5);
    EXPECT_EQ(world.driver()->commandQueue().pendingCount(), 0U);
    EXPECT_FALSE(world.driver()->isReceivingData());
}

TEST(BraceletFlow, TheRememberedBraceletIsReconnectedAfterARestart) {
    LabHarness lab(1, false);
    auto bracelet = lab.add(lab::VirtualBracelet::make(kBraceletId));
    auto app = std::make_shared<RecordingBraceletDelegate>();
    // A first run of the application connects the bracelet, which the kit remembers...
    {
        auto first =
            HalvoraSDKManager::create(ManagerEnvironment{lab.executor, lab.transport, lab.preferences, lab.log, "179"});
        first->initCentralManagerWithoutBackgroundMode();
        lab.executor->runUntilIdle();
        first->connectDevice(DeviceTypeBracelet, 30);
        ASSERT_TRUE(lab.runUntil([&] { return first->getDeviceStatus(DeviceTypeBracelet) == ConnectionStatusReady; },
                                 seconds(10)));
        lab.advance(seconds(1));
    }
    lab.executor->runUntilIdle();
    ASSERT_EQ(lab.preferences->getBraceletUUID(), std::optional<std::string>(kBraceletId));

    // ... and the next run finds it again without a scan.
    lab.manager->setBraceletDelegate(app);
    lab.manager->initCentralManagerWithoutBackgroundMode();
    lab.executor->runUntilIdle();
    lab.manager->checkBracelet();
    ASSERT_TRUE(lab.runUntilEvent("status 1 -> 2", seconds(5)));
    EXPECT_FALSE(lab.app->has("status 1 -> 0"));
    lab.advance(seconds(1));
    lab.manager->getBraceletCurrentSteps();
    ASSERT_TRUE(lab.runUntil([&] { return !app->steps.empty(); }, seconds(5)));
    EXPECT_EQ(app->steps.back().steps, lab::BraceletScript{}.steps);

    // Forgetting the bracelet keeps a later check from bringing it back.
    lab.manager->disconnectDevice(DeviceTypeBracelet);
    lab.advance(seconds(1));
    lab.manager->checkBracelet();
    lab.advance(seconds(5));
    EXPECT_EQ(lab.manager->driverForKind(DeviceTypeBracelet), nullptr);
}

/// A hostile bracelet: what the kit holds stays under its caps, and a command after the hostile answer
/// still goes out once the slot's 60-second wait has run out.
class HostileBracelet : public ::testing::TestWithParam<lab::BraceletFaults::Hostile> {};

TEST_P(HostileBracelet, CannotGrowTheKitsBuffersNorBlockItsNextCommand) {
    lab::BraceletScript script;
    script.history = lab::BraceletHistory::seeded(3, at("2026-11-20 23:00"), 7);
    script.faults.hostile = GetParam();
    BraceletLab world(script);
    world.connect();

    world.lab.manager->synchronizeBraceletHistoryData();
    std::size_t largestLine = 0;
    std::size_t largestPackage = 0;
    for (int i = 0; i < 200; ++i) {
        world.lab.advance(std::chrono::milliseconds(50));
        auto driver = world.driver();
        ASSERT_NE(driver, nullptr);
        largestLine = std::max(largestLine, driver->transfer().receivedString().size());
        largestPackage = std::max(largestPackage, driver->transfer().byteData().size());
    }
    EXPECT_LE(largestLine, BraceletTransfer::kMaxHeaderLineLength);
    EXPECT_LE(largestPackage, static_cast<std::size_t>(BraceletTransfer::kMaxPackageLength));
    EXPECT_LE(world.driver()->history().stepsCount(), BraceletHistory::kMaxRecords);

    // The steps request waits behind the held slot at most its 60 seconds, then goes out and is answered
    // (a bracelet sending random bytes answers nothing readable, but the request still leaves).
    const auto sentBefore = world.bracelet->commandsReceived().size();
    world.lab.manager->getBraceletCurrentSteps();
    world.lab.advance(seconds(61));
    const auto commands = world.bracelet->commandsReceived();
    ASSERT_GT(commands.size(), sentBefore);
    EXPECT_EQ(commands.back().rfind("AT+PACE", 0), 0U) << commands.back();
}

INSTANTIATE_TEST_SUITE_P(Modes, HostileBracelet,
                         ::testing::Values(lab::BraceletFaults::Hostile::OversizedHeader,
                                           lab::BraceletFaults::Hostile::EndlessHeader,
                                           lab::BraceletFaults::Hostile::RandomBinary));

}  // namespace
}  // namespace halvora
