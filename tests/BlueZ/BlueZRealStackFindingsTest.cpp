// What the real bluetoothd 5.66 does and the double now does too (notify sessions that outlive the link,
// the controller's duplicate filter, expiring device objects, BR/EDR bearer choice, GATT discovery that
// fails or announces late, Connect answered before ServicesResolved), and how the transport copes.
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "BlueZ/BusClient.hpp"
#include "BlueZ/TransportRecorder.hpp"
#include "BlueZ/TransportWorld.hpp"
#include "halvora/Transport/Peripheral.hpp"

namespace halvora {
namespace {

using test::TransportWorld;
using test::waitUntil;

constexpr const char* kMonitorPath = "/org/bluez/hci0/dev_C0_00_00_00_00_A1";
constexpr const char* kMonitorAddress = "C0:00:00:00:00:A1";
constexpr const char* kSelfStartingPath = "/org/bluez/hci0/dev_C0_00_00_00_00_B2";
constexpr const char* kNotifyUUID = "0000fff4-0000-1000-8000-00805f9b34fb";
/// A monitor that greets a listener with its battery frame and measures 20 ms later, in 10-ms steps.
const char* const kSelfStartingMonitorLab = R"({
  "devices": [
    { "class": "HalvoraSDKHeartDeviceV2", "identifier": "6F1C2D3E-0000-4000-8000-0000000000B2", "rssi": -50,
      "script": { "stepMs": 10, "autoStartMs": 20, "resultRepeats": 3 } }
  ]
})";
constexpr const char* kSelfStartingName = "eBlood-Pressure";
constexpr const char* kGreeting = "value FFF4 AA5509";
constexpr const char* kResult = "value FFF4 1E00";
constexpr const char* kPressure = "value FFF4 20";

bool startsWith(const std::string& text, const std::string& prefix) {
    return text.rfind(prefix, 0) == 0;
}

std::vector<std::string> eventsStartingWith(const std::vector<std::string>& events, const std::string& prefix) {
    std::vector<std::string> found;
    std::copy_if(events.begin(), events.end(), std::back_inserter(found),
                 [&](const std::string& event) { return startsWith(event, prefix); });
    return found;
}

/// Finds the monitor called `name` in a scan and keeps its peripheral, without connecting.
std::shared_ptr<Peripheral> discover(TransportWorld& world, const std::string& name = test::kMonitorName) {
    world.central->scanForPeripheralsWithServices({}, ScanOptions{true});
    const bool heard = waitUntil([&] { return world.recorder->discovered(name) != nullptr; });
    world.central->stopScan();
    if (!heard) return nullptr;
    auto peripheral = world.recorder->discovered(name);
    peripheral->setDelegate(world.recorder);
    return peripheral;
}

// ---------------------------------------------------------------- notify sessions across links

TEST(BlueZRealStack, NotifySessionsTheKitOpenedEndWithTheirLink) {
    struct Case {
        const char* what;
        bool byTheKit;
    };
    for (const auto& c : {Case{"the kit disconnects", true}, Case{"the device drops the link", false}}) {
        TransportWorld world({}, kSelfStartingMonitorLab);
        auto peripheral = world.connectAndDiscover(BLEUUID("FFF0"), kSelfStartingName);
        ASSERT_TRUE(peripheral) << c.what;
        peripheral->setNotifyValue(true, world.characteristic(peripheral, BLEUUID("FFF4")));
        ASSERT_TRUE(waitUntil([&] { return world.recorder->count("descriptor FFF4") == 1; })) << c.what;
        const test::BusClient client(world.bus.address());
        const auto path = client.characteristicPath(kSelfStartingPath, kNotifyUUID);
        ASSERT_TRUE(path) << c.what;
        ASSERT_TRUE(client.notifying(*path)) << c.what;

        if (c.byTheKit) {
            world.central->cancelPeripheralConnection(peripheral);
        } else {
            client.dropLink("C0:00:00:00:00:B2");
        }
        ASSERT_TRUE(waitUntil([&] { return world.recorder->countStartingWith("disconnect") == 1; })) << c.what;
        // bluetoothd would otherwise switch delivery on again by itself at the next link.
        EXPECT_TRUE(waitUntil([&] { return !client.notifying(*path); }, seconds(2))) << c.what;
    }
}

TEST(BlueZRealStack, TwoCentralsOfOneTransportShareTheLinkAndTheNotifySession) {
    TransportWorld world({}, kSelfStartingMonitorLab);
    auto first = world.connectAndDiscover(BLEUUID("FFF0"), kSelfStartingName);
    ASSERT_TRUE(first);
    first->setNotifyValue(true, world.characteristic(first, BLEUUID("FFF4")));
    ASSERT_TRUE(waitUntil([&] { return world.recorder->count("descriptor FFF4") == 1; }));

    // A second manager of the application, on the same transport, meets the same monitor: bluetoothd has
    // one link and one notify session for both.
    auto recorder = std::make_shared<test::TransportRecorder>();
    auto central = world.transport->makeCentral(recorder, world.executor->makeQueue("second.cb"), {});
    ASSERT_TRUE(waitUntil([&] { return recorder->countStartingWith("state") > 0; }));
    // A connected monitor no longer advertises: the second finds it among the connected ones.
    const auto connected = central->retrieveConnectedPeripheralsWithServices({BLEUUID("FFF0")});
    ASSERT_EQ(connected.size(), 1U);
    auto second = connected.front();
    ASSERT_NE(second, first);
    second->setDelegate(recorder);
    central->connectPeripheral(second, {});
    ASSERT_TRUE(waitUntil([&] { return recorder->count("connect") == 1; }));
    second->discoverServices(std::nullopt);
    ASSERT_TRUE(waitUntil([&] { return recorder->count("services") == 1; }));
    for (const auto& service : second->services()) {
        if (service->uuid() == BLEUUID("FFF0")) second->discoverCharacteristics({}, service);
    }
    ASSERT_TRUE(waitUntil([&] { return recorder->count("characteristics FFF0") == 1; }));
    second->setNotifyValue(true, world.characteristic(second, BLEUUID("FFF4")));
    ASSERT_TRUE(waitUntil([&] { return recorder->count("descriptor FFF4") == 1; }));

    const test::BusClient client(world.bus.address());
    const auto path = client.characteristicPath(kSelfStartingPath, kNotifyUUID);
    ASSERT_TRUE(path);
    // The first lets go of both: only it hears of it; the second keeps its link and its notifications.
    first->setNotifyValue(false, world.characteristic(first, BLEUUID("FFF4")));
    ASSERT_TRUE(waitUntil([&] { return world.recorder->count("descriptor FFF4") == 2; }));
    world.central->cancelPeripheralConnection(first);
    ASSERT_TRUE(waitUntil([&] { return world.recorder->countStartingWith("disconnect") == 1; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_TRUE(client.notifying(*path));
    EXPECT_TRUE(client.servicesResolved(kSelfStartingPath));
    EXPECT_EQ(recorder->countStartingWith("disconnect"), 0U);
    EXPECT_EQ(second->state(), PeripheralState::Connected);

    // The last to let go ends them at bluetoothd.
    central->cancelPeripheralConnection(second);
    ASSERT_TRUE(waitUntil([&] { return recorder->countStartingWith("disconnect") == 1; }));
    EXPECT_TRUE(waitUntil([&] { return !client.notifying(*path); }, seconds(2)));
    EXPECT_TRUE(waitUntil([&] { return !client.servicesResolved(kSelfStartingPath); }, seconds(2)));
    central.reset();
}

// ---------------------------------------------------------------- a bonded device's identity address

TEST(BlueZRealStack, ADeviceThatTakesItsIdentityAddressIsKnownByItFromThenOn) {
    TransportWorld world({});
    auto peripheral = discover(world);
    ASSERT_TRUE(peripheral);
    const std::string first = peripheral->identifier();
    peripheral.reset();
    world.recorder->clear();

    // Pairing taught bluetoothd the monitor's identity address; the object keeps its path.
    const test::BusClient client(world.bus.address());
    client.setIdentityAddress(kMonitorAddress, "00:1B:DC:0F:00:A1");
    // Found by the identifier it had, the monitor now answers to one made from its identity address (a
    // peripheral somebody holds keeps its identifier: each look lets go of what it found)...
    std::string identity;
    ASSERT_TRUE(waitUntil([&] {
        const auto retrieved = world.central->retrievePeripheralsWithIdentifiers({first});
        if (retrieved.empty() || retrieved.front()->identifier() == first) return false;
        identity = retrieved.front()->identifier();
        return true;
    }, seconds(5)));
    EXPECT_EQ(world.central->retrievePeripheralsWithIdentifiers({identity}).size(), 1U);

    // ... the one an application launched later meets it by, and remembers.
    auto later = BlueZTransport::create(test::testOptions(world.bus), world.executor, world.log);
    auto recorder = std::make_shared<test::TransportRecorder>();
    auto central = later->makeCentral(recorder, world.executor->makeQueue("later.cb"), {});
    ASSERT_TRUE(waitUntil([&] { return recorder->countStartingWith("state") > 0; }));
    central->scanForPeripheralsWithServices({}, ScanOptions{true});
    ASSERT_TRUE(waitUntil([&] { return recorder->discovered(test::kMonitorName) != nullptr; }));
    central->stopScan();
    EXPECT_EQ(recorder->discovered(test::kMonitorName)->identifier(), identity);
    recorder->clear();
    central.reset();
    later.reset();
}

TEST(BlueZRealStack, ValuesSentRightAfterReconnectingAreDeliveredInOrderOnceNotificationsAreOn) {
    // ServicesResolved comes long after the link is up, as with a slow GATT discovery.
    TransportWorld world({"--resolve-delay-ms", "800"}, kSelfStartingMonitorLab);
    auto peripheral = discover(world, kSelfStartingName);
    ASSERT_TRUE(peripheral);
    world.central->connectPeripheral(peripheral, {});
    ASSERT_TRUE(waitUntil([&] { return world.recorder->count("connect") == 1; }));
    // Another program on the machine listens to the monitor; its session outlives the link.
    test::BusClient other(world.bus.address());
    const auto path = other.characteristicPath(kSelfStartingPath, kNotifyUUID);
    ASSERT_TRUE(path);
    other.startNotify(*path);
    world.central->cancelPeripheralConnection(peripheral);
    ASSERT_TRUE(waitUntil([&] { return world.recorder->countStartingWith("disconnect") == 1; }));
    ASSERT_TRUE(other.notifying(*path));

    // At the new link bluetoothd switches delivery on at once: the monitor greets and measures before
    // ServicesResolved, long before the kit asks for notifications.
    world.recorder->clear();
    world.central->connectPeripheral(peripheral, {});
    ASSERT_TRUE(waitUntil([&] { return world.recorder->count("connect") == 1; }));
    peripheral->discoverServices(std::nullopt);
    ASSERT_TRUE(waitUntil([&] { return world.recorder->count("services") == 1; }));
    for (const auto& service : peripheral->services()) {
        if (service->uuid() == BLEUUID("FFF0")) peripheral->discoverCharacteristics({}, service);
    }
    ASSERT_TRUE(waitUntil([&] { return world.recorder->count("characteristics FFF0") == 1; }));
    peripheral->setNotifyValue(true, world.characteristic(peripheral, BLEUUID("FFF4")));
    ASSERT_TRUE(waitUntil([&] { return eventsStartingWith(world.recorder->events(), kResult).size() == 3; }));

    const auto events = world.recorder->events();
    const auto descriptor = std::find(events.begin(), events.end(), "descriptor FFF4");
    ASSERT_NE(descriptor, events.end());
    const std::vector<std::string> before(events.begin(), descriptor);
    EXPECT_TRUE(eventsStartingWith(before, "value").empty());
    const auto values = eventsStartingWith(std::vector<std::string>(descriptor, events.end()), "value FFF4");
    ASSERT_GE(values.size(), 5U);
    EXPECT_TRUE(startsWith(values.front(), kGreeting)) << values.front();
    EXPECT_EQ(eventsStartingWith(values, kGreeting).size(), 1U);
    EXPECT_GE(eventsStartingWith(values, kPressure).size(), 10U);
    for (std::size_t i = values.size() - 3; i < values.size(); ++i) EXPECT_TRUE(startsWith(values[i], kResult));
}

// ---------------------------------------------------------------- scanning and the duplicate filter

TEST(BlueZRealStack, ScanningWithDuplicatesKeepsReportingADeviceThatDoesNotChange) {
    // The double's controller reports an unchanged advertisement once per 10.24-second cycle.
    TransportWorld world({}, test::kOneMonitorLab, true, [](BlueZOptions& options) {
        options.duplicateScanRestartInterval = std::chrono::milliseconds(300);
    });
    world.central->scanForPeripheralsWithServices({}, ScanOptions{true});
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));
    world.central->stopScan();
    EXPECT_GE(world.recorder->count("discover Bluetooth BP -50"), 4U);
}

TEST(BlueZRealStack, AScanStartsWithTheDevicesBluetoothdIsHearing) {
    TransportWorld world({});
    world.central->scanForPeripheralsWithServices({}, ScanOptions{false});
    ASSERT_TRUE(waitUntil([&] { return world.recorder->count("discover Bluetooth BP -50") == 1; }));
    // A second central of the same transport starts scanning while discovery runs: bluetoothd will not
    // report the monitor again before the controller's next cycle.
    auto recorder = std::make_shared<test::TransportRecorder>();
    auto second = world.transport->makeCentral(recorder, world.executor->makeQueue("test.second"), {});
    ASSERT_TRUE(waitUntil([&] { return recorder->count("state 5") == 1; }));
    second->scanForPeripheralsWithServices({}, ScanOptions{false});
    EXPECT_TRUE(waitUntil([&] { return recorder->count("discover Bluetooth BP -50") == 1; }, seconds(1)));
    second->stopScan();
    world.central->stopScan();
}

// ---------------------------------------------------------------- expired device objects

TEST(BlueZRealStack, AConnectToAnExpiredDeviceWaitsUntilItAdvertisesAgain) {
    TransportWorld world({"--temporary-timeout-ms", "300"});
    auto peripheral = discover(world);
    ASSERT_TRUE(peripheral);
    const test::BusClient client(world.bus.address());
    ASSERT_TRUE(waitUntil([&] { return !client.hasDevice(kMonitorPath); }, seconds(3)));
    world.central->connectPeripheral(peripheral, {});
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(world.recorder->countStartingWith("fail"), 0U);
    EXPECT_EQ(peripheral->state(), PeripheralState::Connecting);
    ASSERT_TRUE(waitUntil([&] { return world.recorder->count("connect") == 1; }, seconds(5)))
        << world.recorder->events().back();
    EXPECT_TRUE(waitUntil([&] { return !client.discovering(); }, seconds(2)));
}

TEST(BlueZRealStack, AConnectToADeviceOffTheAir) {
    TransportWorld world({"--temporary-timeout-ms", "300", "--connect-abort-ms", "300"});
    auto peripheral = discover(world);
    ASSERT_TRUE(peripheral);
    const test::BusClient client(world.bus.address());
    client.setOnAir(kMonitorAddress, false);

    // While bluetoothd still holds the object: the controller gives up, and the object stays.
    world.central->connectPeripheral(peripheral, {});
    ASSERT_TRUE(waitUntil([&] { return world.recorder->countStartingWith("fail") == 1; }, seconds(3)));
    EXPECT_EQ(world.recorder->events().back(), "fail: org.bluez.Error.Failed: le-connection-abort-by-local");
    EXPECT_TRUE(client.hasDevice(kMonitorPath));

    // Once the object has expired: the transport discovers until the device returns, or until cancelled.
    ASSERT_TRUE(waitUntil([&] { return !client.hasDevice(kMonitorPath); }, seconds(3)));
    world.recorder->clear();
    world.central->connectPeripheral(peripheral, {});
    ASSERT_TRUE(waitUntil([&] { return client.discovering(); }, seconds(2)));
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_TRUE(world.recorder->events().empty());
    world.central->cancelPeripheralConnection(peripheral);
    ASSERT_TRUE(waitUntil([&] { return world.recorder->countStartingWith("disconnect") == 1; }, seconds(2)));
    EXPECT_EQ(world.recorder->events(), std::vector<std::string>{"disconnect"});
    EXPECT_TRUE(waitUntil([&] { return !client.discovering(); }, seconds(2)));
}

// ---------------------------------------------------------------- bearer and GATT discovery

TEST(BlueZRealStack, AConnectOverBrEdrFailsWithTheControllerModeAdvice) {
    TransportWorld world({"--public-addresses"});
    auto peripheral = discover(world);
    ASSERT_TRUE(peripheral);
    world.central->connectPeripheral(peripheral, {});
    ASSERT_TRUE(waitUntil([&] { return world.recorder->countStartingWith("fail") == 1; }, seconds(3)));
    EXPECT_EQ(world.recorder->events().back(), "fail: org.bluez.Error.Failed: br-connection-page-timeout");
    EXPECT_EQ(world.logLinesContaining("br-connection-page-timeout"), 1U);
    EXPECT_EQ(world.logLinesContaining("ControllerMode = le in /etc/bluetooth/main.conf"), 1U);
}

TEST(BlueZRealStack, AGattDiscoveryWithoutServicesIsAFailedConnection) {
    TransportWorld world({"--gatt-discovery-fails"});
    auto peripheral = discover(world);
    ASSERT_TRUE(peripheral);
    world.central->connectPeripheral(peripheral, {});
    ASSERT_TRUE(waitUntil([&] { return world.recorder->countStartingWith("fail") == 1; }, seconds(4)));
    EXPECT_EQ(world.recorder->count("connect"), 0U);
    EXPECT_NE(world.recorder->events().back().find("GATT discovery failed"), std::string::npos);
    // The link that is no use is closed.
    const test::BusClient client(world.bus.address());
    EXPECT_TRUE(waitUntil([&] { return !client.servicesResolved(kMonitorPath); }, seconds(2)));
}

TEST(BlueZRealStack, CharacteristicsAnnouncedAfterServicesResolvedAreWaitedFor) {
    TransportWorld world({"--late-characteristics-ms", "200"});
    auto peripheral = world.connectAndDiscover(BLEUUID("FFF0"));
    ASSERT_TRUE(peripheral);
    EXPECT_TRUE(world.characteristic(peripheral, BLEUUID("FFF1")));
    EXPECT_TRUE(world.characteristic(peripheral, BLEUUID("FFF2")));
}

// ---------------------------------------------------------------- Connect, writes and error names

TEST(BlueZRealStack, ConnectIsAnsweredBeforeServicesResolvedAndTheLinkIsUpOnlyAfter) {
    TransportWorld world({"--resolve-delay-ms", "400"});
    auto peripheral = discover(world);
    ASSERT_TRUE(peripheral);
    const test::BusClient client(world.bus.address());
    const auto asked = std::chrono::steady_clock::now();
    world.central->connectPeripheral(peripheral, {});
    ASSERT_TRUE(waitUntil([&] { return world.recorder->count("connect") == 1; }, seconds(3)));
    EXPECT_GE(std::chrono::steady_clock::now() - asked, std::chrono::milliseconds(400));
    EXPECT_TRUE(client.servicesResolved(kMonitorPath));
    peripheral->discoverServices(std::nullopt);
    ASSERT_TRUE(waitUntil([&] { return world.recorder->count("services") == 1; }));
    EXPECT_FALSE(peripheral->services().empty());
    // A second cancel and a cancel of an idle peripheral ask nothing that bluetoothd would refuse.
    world.central->cancelPeripheralConnection(peripheral);
    world.central->cancelPeripheralConnection(peripheral);
    ASSERT_TRUE(waitUntil([&] { return world.recorder->countStartingWith("disconnect") == 1; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(world.logLinesContaining("Disconnect of"), 0U);
}

TEST(BlueZRealStack, AWriteWithoutResponseLongerThanTheMtuAllowsIsDroppedAndLogged) {
    TransportWorld world({});
    auto peripheral = world.connectAndDiscover(BLEUUID("FFF0"));
    ASSERT_TRUE(peripheral);
    auto command = world.characteristic(peripheral, BLEUUID("FFF2"));
    ASSERT_TRUE(command);
    ASSERT_TRUE(command->hasProperty(CharacteristicPropertyWriteWithoutResponse));
    // MTU 23: 20 bytes go, 21 do not.
    peripheral->writeValue(std::vector<std::uint8_t>(20, 0x00), command, WriteType::WithoutResponse);
    peripheral->writeValue(std::vector<std::uint8_t>(21, 0x00), command, WriteType::WithoutResponse);
    ASSERT_TRUE(waitUntil([&] { return world.logLinesContaining("dropped") == 1; }, seconds(2)));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(world.logLinesContaining("Failed to initiate write"), 1U);
}

}  // namespace
}  // namespace halvora
