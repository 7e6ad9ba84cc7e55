// The BlueZ transport's own events, against the bluetoothd double on a private bus, in real time.
#include <gtest/gtest.h>

#include <fstream>
#include <thread>

#include "BlueZ/BlueZWorld.hpp"
#include "BlueZ/BusClient.hpp"
#include "BlueZ/LogRecorder.hpp"
#include "BlueZ/PrivateBus.hpp"
#include "BlueZ/TransportRecorder.hpp"
#include "BlueZ/TransportWorld.hpp"
#include "halvora/Runtime/ThreadedExecutor.hpp"
#include "halvora/Transport/BlueZ/BlueZTransport.hpp"

namespace halvora {
namespace {

using test::TransportRecorder;

const char* const kRepeatingMonitorLab = R"({
  "devices": [
    { "class": "HalvoraSDKHeartDeviceV2", "identifier": "6F1C2D3E-0000-4000-8000-0000000000B2", "rssi": -50,
      "script": { "stepMs": 20, "autoStartMs": 50, "resultRepeats": 3 } }
  ]
})";

using test::kMonitorName;
using test::TransportWorld;

bool waitFor(const std::function<bool()>& done, Duration limit = seconds(15)) {
    return test::waitUntil(done, limit);
}

TEST(BlueZTransport, EveryAdvertisementIsADiscoveryWithTheLocalNameAndTheStableIdentifier) {
    TransportWorld world({});
    ASSERT_TRUE(world.started);
    ASSERT_EQ(world.central->state(), CentralState::PoweredOn);
    world.central->scanForPeripheralsWithServices({}, ScanOptions{true});
    ASSERT_TRUE(waitFor([&] { return world.recorder->count("discover Bluetooth BP -50") >= 5; }));
    const std::string identifier = world.recorder->discovered(kMonitorName)->identifier();
    EXPECT_NE(identifier, test::kMonitorLabIdentifier);
    EXPECT_EQ(BLEUUID::parse(identifier)->toLongString(), identifier);

    // Without duplicates: once per scan.
    world.central->stopScan();
    world.recorder->clear();
    world.central->scanForPeripheralsWithServices({}, ScanOptions{false});
    std::this_thread::sleep_for(std::chrono::milliseconds(800));
    world.central->stopScan();
    EXPECT_EQ(world.recorder->count("discover Bluetooth BP -50"), 1U);
    // A scan for a service the monitor does not advertise hears nothing.
    world.recorder->clear();
    world.central->scanForPeripheralsWithServices({BLEUUID("181D")}, ScanOptions{true});
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    world.central->stopScan();
    EXPECT_EQ(world.recorder->countStartingWith("discover"), 0U);

    // Another transport (as after a restart of the application) names the device the same way, and finds it
    // by that identifier.
    auto recorder = std::make_shared<TransportRecorder>();
    auto second = BlueZTransport::create(test::testOptions(world.bus), world.executor, world.log);
    auto central = second->makeCentral(recorder, world.executor->makeQueue("test.second"), {});
    ASSERT_TRUE(waitFor([&] { return recorder->count("state 5") == 1; }));
    const auto retrieved = central->retrievePeripheralsWithIdentifiers({identifier});
    ASSERT_EQ(retrieved.size(), 1U);
    EXPECT_EQ(retrieved.front()->identifier(), identifier);
    EXPECT_EQ(retrieved.front()->name(), std::optional<std::string>(kMonitorName));
}

TEST(BlueZTransport, WithoutBluetoothdOrAdapterBluetoothIsOffWithOneLogLine) {
    struct Case {
        const char* what;
        bool withBus;
        std::vector<std::string> doubleArguments;
        const char* reason;
    };
    const std::vector<Case> cases = {
        {"no bus", false, {}, "cannot connect to the system bus"},
        {"no bluetoothd", true, {}, "bluetoothd is not running"},
        {"no adapter", true, {"--no-adapter"}, "no adapter hci0"},
    };
    for (const auto& c : cases) {
        TransportWorld world(c.doubleArguments, test::kOneMonitorLab, !c.doubleArguments.empty());
        if (!c.withBus) {
            world.central.reset();
            world.transport.reset();
            world.recorder->clear();
            world.logs.clear();
            world.bus.stopBus();
            world.start(test::testOptions(world.bus));
        }
        const auto reason = world.transport->probe(seconds(5));
        ASSERT_TRUE(reason) << c.what;
        EXPECT_NE(reason->find(c.reason), std::string::npos) << c.what << ": " << *reason;
        EXPECT_EQ(world.central->state(), CentralState::PoweredOff) << c.what;
        EXPECT_EQ(world.recorder->events(), std::vector<std::string>{"state 4"}) << c.what;
        std::this_thread::sleep_for(std::chrono::milliseconds(700));  // several reconnection attempts
        EXPECT_EQ(world.logLinesContaining("Bluetooth is off"), 1U) << c.what;
        world.central->scanForPeripheralsWithServices({}, ScanOptions{true});
        EXPECT_FALSE(world.central->isScanning()) << c.what;
    }
}

TEST(BlueZTransport, ReadsAreDeliveredOnceEachAndWaitForOneAnother) {
    TransportWorld world({});
    auto peripheral = world.connectAndDiscover(BLEUUID("180A"));
    ASSERT_TRUE(peripheral);
    auto revision = world.characteristic(peripheral, BLEUUID("2A27"));
    ASSERT_TRUE(revision);
    EXPECT_TRUE(revision->hasProperty(CharacteristicPropertyRead));
    // bluetoothd refuses a second read of one attribute while the first is pending: the transport queues it.
    peripheral->readValue(revision);
    peripheral->readValue(revision);
    peripheral->readValue(revision);
    ASSERT_TRUE(waitFor([&] { return world.recorder->countStartingWith("value 2A27") >= 3; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(world.recorder->count("value 2A27 485720312E30"), 3U);
    EXPECT_EQ(world.recorder->countStartingWith("value 2A27"), 3U);
}

TEST(BlueZTransport, RepeatedNotificationsAreEachDeliveredAfterTheDescriptorEvent) {
    TransportWorld world({}, kRepeatingMonitorLab);
    auto peripheral = world.connectAndDiscover(BLEUUID("FFF0"), "eBlood-Pressure");
    ASSERT_TRUE(peripheral);
    auto notifying = world.characteristic(peripheral, BLEUUID("FFF4"));
    ASSERT_TRUE(notifying);
    peripheral->setNotifyValue(true, notifying);
    peripheral->setNotifyValue(true, notifying);  // already on: answered without asking bluetoothd again
    ASSERT_TRUE(waitFor([&] { return world.recorder->count("descriptor FFF4") == 2; }));
    EXPECT_TRUE(notifying->isNotifying());
    // The monitor measures on its own and sends its result frame three times.
    ASSERT_TRUE(waitFor([&] {
        const auto events = world.recorder->events();
        return events.size() >= 3 && events.back() == events[events.size() - 2] &&
               events.back() == events[events.size() - 3] && events.back().rfind("value FFF4", 0) == 0;
    }));
    const auto events = world.recorder->events();
    const auto descriptor = std::find(events.begin(), events.end(), "descriptor FFF4");
    const auto firstValue =
        std::find_if(events.begin(), events.end(), [](const std::string& e) { return e.rfind("value FFF4", 0) == 0; });
    EXPECT_LT(descriptor, firstValue);
}

TEST(BlueZTransport, AMalformedReadAnswerIsAnErrorEvent) {
    TransportWorld world({"--garbage"});
    auto peripheral = world.connectAndDiscover(BLEUUID("180A"));
    ASSERT_TRUE(peripheral);
    peripheral->readValue(world.characteristic(peripheral, BLEUUID("2A27")));
    ASSERT_TRUE(waitFor([&] { return world.recorder->countStartingWith("value 2A27") == 1; }));
    const auto events = world.recorder->events();
    const auto read =
        std::find_if(events.begin(), events.end(), [](const std::string& e) { return e.rfind("value 2A27", 0) == 0; });
    EXPECT_NE(read->find(" : org.halvora.Error.MalformedAnswer: malformed ReadValue answer"), std::string::npos)
        << *read;
    EXPECT_EQ(world.logLinesContaining("malformed ReadValue answer"), 1U);
}

TEST(BlueZTransport, ADeviceRemovedWhileConnectedIsADisconnectionWithAnError) {
    TransportWorld world({});
    auto peripheral = world.connectAndDiscover(BLEUUID("FFF0"));
    ASSERT_TRUE(peripheral);
    test::BusClient(world.bus.address()).removeDevice("/org/bluez/hci0/dev_C0_00_00_00_00_A1");
    ASSERT_TRUE(waitFor([&] { return world.recorder->countStartingWith("disconnect") == 1; }));
    EXPECT_EQ(world.recorder->countStartingWith("disconnect: "), 1U);
    EXPECT_EQ(peripheral->state(), PeripheralState::Disconnected);
    EXPECT_TRUE(peripheral->services().empty());
    // Requests over the link that is gone are answered with an error.
    world.recorder->clear();
    peripheral->discoverServices(std::nullopt);
    ASSERT_TRUE(waitFor([&] { return world.recorder->countStartingWith("services") == 1; }));
    EXPECT_EQ(world.recorder->events(), std::vector<std::string>{"services: The peripheral is not connected."});
}

TEST(BlueZTransport, ABusThatDropsIsOffAndTheTransportComesBackWithIt) {
    TransportWorld world({});
    auto peripheral = world.connectAndDiscover(BLEUUID("FFF0"));
    ASSERT_TRUE(peripheral);
    world.recorder->clear();
    world.bus.stopBus();
    ASSERT_TRUE(waitFor([&] { return world.recorder->count("state 4") == 1; }));
    EXPECT_EQ(peripheral->state(), PeripheralState::Disconnected);
    EXPECT_EQ(world.logLinesContaining("lost the system bus"), 1U);

    ASSERT_TRUE(world.bus.startBus());
    ASSERT_TRUE(world.bus.startDouble({"--lab", world.bus.folder().file("lab.json").string()}));
    ASSERT_TRUE(waitFor([&] { return world.recorder->count("state 5") == 1; }));
    world.recorder->clear();
    ASSERT_TRUE(world.connectAndDiscover(BLEUUID("FFF0")));
}

}  // namespace
}  // namespace halvora
