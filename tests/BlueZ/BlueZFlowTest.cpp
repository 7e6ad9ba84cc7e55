// Whole flows through the manager with the BlueZ transport, against the bluetoothd double on a private
// bus, in real time. The results are those of the lab transport (tests/e2e/BloodPressureFlowTest.cpp).
#include <gtest/gtest.h>
#include <signal.h>

#include "BlueZ/BlueZWorld.hpp"
#include "BlueZ/BusClient.hpp"

namespace halvora {
namespace {

using test::BlueZWorld;

constexpr const char* kResult = "result 128/84/66";

/// Connects kind 0 and waits until it is ready, after discovery and again once notifications are on.
void connectMonitor(BlueZWorld& world) {
    world.manager->connectDevice(DeviceTypeHeart, 30);
    ASSERT_TRUE(world.waitFor([&] { return world.app->count("status 0 -> 2") == 2; }))
        << "the monitor never became ready";
}

void measure(BlueZWorld& world) {
    world.app->clear();
    ASSERT_TRUE(world.manager->startMeasurement(DeviceTypeHeart));
    ASSERT_TRUE(world.waitFor([&] { return world.app->count(kResult) == 2; }, seconds(10)));
    EXPECT_EQ(world.app->eventsStartingWith("progress").front(), "progress 20");
    EXPECT_TRUE(world.app->eventsStartingWith("error").empty());
}

TEST(BlueZFlow, ScanConnectMeasureDisconnectAndReconnectByIdentifier) {
    BlueZWorld world;
    ASSERT_TRUE(world.doubleStarted);
    ASSERT_TRUE(world.manager->isBluetoothOn());
    connectMonitor(world);
    EXPECT_EQ(world.app->eventsStartingWith("status 0"),
              (std::vector<std::string>{"status 0 -> 0", "status 0 -> 1", "status 0 -> 2", "status 0 -> 2"}));
    const auto identifier = world.manager->getDeviceUUID(DeviceTypeHeart);
    ASSERT_TRUE(identifier);
    EXPECT_EQ(identifier->size(), 36U);
    EXPECT_EQ(BLEUUID::parse(*identifier)->toLongString(), *identifier);
    measure(world);

    world.manager->disconnectDevice(DeviceTypeHeart);
    ASSERT_TRUE(world.waitFor([&] { return !world.manager->driverForKind(DeviceTypeHeart); }, seconds(5)));
    EXPECT_TRUE(world.logged("HalvoraSDK: Did disconnect peripheral Bluetooth BP"));

    // Known to the system by its identifier: connected at once, without a search.
    world.app->clear();
    world.manager->connectByUUID(*identifier, DeviceTypeHeart);
    ASSERT_TRUE(world.waitForEvent("status 0 -> 2", seconds(5)));
    EXPECT_FALSE(world.app->has("status 0 -> 0"));
    EXPECT_EQ(world.manager->getDeviceUUID(DeviceTypeHeart), identifier);
    measure(world);
}

TEST(BlueZFlow, AdapterPoweredOffAndOnAgain) {
    BlueZWorld world;
    connectMonitor(world);
    world.app->clear();
    test::BusClient(world.bus.address()).setPowered(false);
    ASSERT_TRUE(world.waitForEvent("power off", seconds(5)));
    ASSERT_TRUE(world.waitForEvent("status 0 -> -1", seconds(2)));
    EXPECT_FALSE(world.manager->isBluetoothOn());
    EXPECT_EQ(world.manager->getDeviceStatus(DeviceTypeHeart), ConnectionStatusDisconnected);
    EXPECT_TRUE(world.logged("HalvoraSDK: Device BLE PoweredOff"));
    EXPECT_TRUE(world.logged("BlueZ: adapter hci0 is powered off"));

    test::BusClient(world.bus.address()).setPowered(true);
    ASSERT_TRUE(world.waitForEvent("power on", seconds(5)));
    world.app->clear();
    connectMonitor(world);
    measure(world);
}

TEST(BlueZFlow, FailedConnectCarriesTheDBusErrorAndTheRequestTimesOut) {
    BlueZWorld world({"--connect-error", "org.bluez.Error.Failed:le-connection-abort-by-local"});
    // Chosen at the first 4-second check, refused at once, expired at the second check.
    world.manager->connectDevice(DeviceTypeHeart, 5);
    ASSERT_TRUE(world.waitForEvent("status 0 -> -1", seconds(12)));
    EXPECT_FALSE(world.app->has("status 0 -> 1"));
    EXPECT_TRUE(
        world.logged("HalvoraSDK: Did fail to connect peripheral Bluetooth BP error: org.bluez.Error.Failed: "
                     "le-connection-abort-by-local"));
}

TEST(BlueZFlow, LinkLostOnTheDevicesSideUnregistersTheDriver) {
    BlueZWorld world;
    connectMonitor(world);
    world.app->clear();
    const test::BusClient client(world.bus.address());
    client.dropLink(client.deviceAddresses().at(test::kMonitorLabIdentifier));
    ASSERT_TRUE(world.waitForEvent("status 0 -> -1", seconds(5)));
    EXPECT_TRUE(world.app->has("heart status -1"));
    EXPECT_EQ(world.manager->driverForKind(DeviceTypeHeart), nullptr);
    EXPECT_TRUE(world.manager->isBluetoothOn());
}

TEST(BlueZFlow, BluetoothdRestartedMidSessionTheManagerRecovers) {
    BlueZWorld world;
    connectMonitor(world);
    const auto identifier = world.manager->getDeviceUUID(DeviceTypeHeart);
    world.app->clear();
    world.bus.stopDouble(SIGKILL);
    ASSERT_TRUE(world.waitForEvent("power off", seconds(5)));
    EXPECT_EQ(world.manager->getDeviceStatus(DeviceTypeHeart), ConnectionStatusDisconnected);
    EXPECT_TRUE(world.logged("BlueZ: bluetoothd left the system bus; Bluetooth is off"));

    ASSERT_TRUE(world.restartDouble());
    ASSERT_TRUE(world.waitForEvent("power on", seconds(5)));
    world.app->clear();
    connectMonitor(world);
    // The same device has the same identifier after the restart.
    EXPECT_EQ(world.manager->getDeviceUUID(DeviceTypeHeart), identifier);
    measure(world);
}

TEST(BlueZFlow, TheMonitorMeasuresWhenBluetoothdAnnouncesItsGattLate) {
    struct Case {
        const char* what;
        std::vector<std::string> doubleArguments;
    };
    const std::vector<Case> cases = {
        {"characteristics after ServicesResolved", {"--late-characteristics-ms", "150"}},
        {"a slow GATT discovery", {"--resolve-delay-ms", "500"}},
    };
    for (const auto& c : cases) {
        BlueZWorld world(c.doubleArguments);
        connectMonitor(world);
        measure(world);
        EXPECT_FALSE(world.logged("GATT discovery of")) << c.what;
    }
}

TEST(BlueZFlow, MalformedObjectsAndPropertiesAreDroppedAndLogged) {
    BlueZWorld world({"--garbage"});
    connectMonitor(world);
    measure(world);
    EXPECT_TRUE(world.logged("BlueZ: dropped RSSI of /org/bluez/hci0/dev_C0_00_00_00_00_A1: type 's' instead of 'n'"));
    EXPECT_TRUE(world.logged("BlueZ: ignored /org/bluez/hci0/dev_garbage: a device without an address"));
    EXPECT_TRUE(world.logged("BlueZ: ignored a malformed signal InterfacesAdded"));
}

}  // namespace
}  // namespace halvora
