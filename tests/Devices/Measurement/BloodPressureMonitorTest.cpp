// Byte scripts for the three blood-pressure monitor generations, played against each driver through a
// peripheral double: notifications in, reports to the driver's delegate out.
#include <gtest/gtest.h>

#include <random>

#include "halvora/Devices/Measurement/HalvoraSDKHeartDevice.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKHeartDeviceV2.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKHeartDeviceV3.hpp"
#include "support/FakePeripheral.hpp"
#include "support/Hex.hpp"
#include "support/RecordingDeviceDelegate.hpp"

namespace halvora {
namespace {

using test::bytes;
using test::FakePeripheral;
using test::hex;
using test::RecordingDeviceDelegate;

constexpr std::uint8_t kNotify = CharacteristicPropertyNotify;
constexpr std::uint8_t kWriteNoResponse = CharacteristicPropertyWriteWithoutResponse;

/// A connected monitor: driver, peripheral double and recording delegate, taken through the connection steps.
template <typename Driver>
struct Monitor {
    std::shared_ptr<FakePeripheral> peripheral;
    std::shared_ptr<RecordingDeviceDelegate> delegate = std::make_shared<RecordingDeviceDelegate>();
    std::shared_ptr<Driver> driver = std::make_shared<Driver>();

    explicit Monitor(std::uint8_t sendProperties = kWriteNoResponse, bool connect = true) {
        peripheral = std::make_shared<FakePeripheral>("00000000-0000-0000-0000-0000000000B1", Driver::getName());
        peripheral->addService(Driver::rsServiceUUID(), {{Driver::readCharacteristicUUID(), kNotify},
                                                         {Driver::sendCharacteristicUUID(), sendProperties}});
        peripheral->addService(Driver::deviceInformationServiceUUID(), {{BLEUUID("2A27"), CharacteristicPropertyRead}});
        driver->setPeripheral(peripheral, delegate);
        if (connect) connectAll();
    }

    void connectAll() {
        driver->didConnect();
        peripheral->playServicesDiscovered();
        peripheral->playCharacteristicsDiscovered(Driver::rsServiceUUID());
        peripheral->playDescriptorWritten(Driver::readCharacteristicUUID());
        delegate->clear();
    }

    std::vector<std::string> play(const std::string& frame) {
        delegate->clear();
        peripheral->playNotification(Driver::readCharacteristicUUID(), bytes(frame));
        return delegate->events();
    }
};

struct FrameCase {
    const char* frame;
    std::vector<std::string> expected;
};

template <typename Driver>
void expectFrames(const std::vector<FrameCase>& cases) {
    for (const auto& c : cases) {
        Monitor<Driver> monitor;
        EXPECT_EQ(monitor.play(c.frame), c.expected) << "frame " << c.frame;
    }
}

// ------------------------------------------------------------------------------------ connection steps

TEST(BloodPressureMonitor, ConnectionStepsReportConnectedAndReadyTwice) {
    Monitor<HalvoraSDKHeartDevice> monitor(kWriteNoResponse, false);
    monitor.driver->didConnect();
    EXPECT_EQ(monitor.peripheral->serviceDiscoveries, 1);
    monitor.peripheral->playServicesDiscovered();
    ASSERT_EQ(monitor.peripheral->characteristicDiscoveries.size(), 1U);
    EXPECT_EQ(monitor.peripheral->characteristicDiscoveries[0].first, BLEUUID("FFF0"));
    EXPECT_EQ(monitor.peripheral->characteristicDiscoveries[0].second,
              (std::vector<BLEUUID>{BLEUUID("FFF2"), BLEUUID("FFF1")}));
    monitor.peripheral->playCharacteristicsDiscovered(BLEUUID("FFF0"));
    EXPECT_EQ(monitor.peripheral->notified, std::vector<BLEUUID>{BLEUUID("FFF1")});
    monitor.peripheral->playDescriptorWritten(BLEUUID("FFF1"), BLEError{1, "refused"});
    EXPECT_EQ(monitor.delegate->events(), (std::vector<std::string>{"connected", "ready", "ready"}));
}

TEST(BloodPressureMonitor, DiscoveryErrorsLeaveTheDriverUnready) {
    Monitor<HalvoraSDKHeartDeviceV3> services(kWriteNoResponse, false);
    services.driver->didConnect();
    services.peripheral->playServicesDiscovered(BLEError{3, "no services"});
    EXPECT_TRUE(services.peripheral->characteristicDiscoveries.empty());

    Monitor<HalvoraSDKHeartDeviceV3> characteristics(kWriteNoResponse, false);
    characteristics.driver->didConnect();
    characteristics.peripheral->playServicesDiscovered();
    characteristics.peripheral->playCharacteristicsDiscovered(BLEUUID("FFF0"), BLEError{4, "gatt error"});
    EXPECT_EQ(characteristics.delegate->events(), std::vector<std::string>{"connected"});
    EXPECT_TRUE(characteristics.peripheral->notified.empty());
}

TEST(BloodPressureMonitor, DidDisconnectReportsOnceAndLetsThePeripheralGo) {
    Monitor<HalvoraSDKHeartDevice> monitor;
    monitor.driver->didDisconnect();
    monitor.driver->didDisconnect();
    EXPECT_EQ(monitor.delegate->events(), std::vector<std::string>{"disconnected"});
    EXPECT_EQ(monitor.driver->device(), nullptr);
    EXPECT_EQ(monitor.peripheral->delegate(), nullptr);
}

TEST(BloodPressureMonitor, RecognisesOnlyItsExactName) {
    auto named = [](std::optional<std::string> name) {
        return std::make_shared<FakePeripheral>("00000000-0000-0000-0000-000000000001", std::move(name));
    };
    EXPECT_TRUE(HalvoraSDKHeartDevice::matchDevice(named("Bluetooth BP")));
    EXPECT_FALSE(HalvoraSDKHeartDevice::matchDevice(named("bluetooth bp")));
    EXPECT_FALSE(HalvoraSDKHeartDevice::matchDevice(named("Bluetooth BP2")));
    EXPECT_FALSE(HalvoraSDKHeartDevice::matchDevice(named(std::nullopt)));
    EXPECT_TRUE(HalvoraSDKHeartDeviceV2::matchDevice(named("eBlood-Pressure")));
    EXPECT_TRUE(HalvoraSDKHeartDeviceV3::matchDevice(named("Belter_BT")));
    EXPECT_FALSE(HalvoraSDKHeartDeviceV3::matchDevice(named("Belter_BT ")));
}

// ------------------------------------------------------------------------------------ commands and writes

TEST(BloodPressureMonitor, CommandsGoOutAsTheirFixedFrames) {
    Monitor<HalvoraSDKHeartDevice> v1;
    v1.driver->startMeasurement();
    Monitor<HalvoraSDKHeartDeviceV3> v3;
    v3.driver->startMeasurement();
    v3.driver->getBatteryLevel();
    ASSERT_EQ(v1.peripheral->writes.size(), 1U);
    EXPECT_EQ(hex(v1.peripheral->writes[0].value), "FD FD FA 05 0D 0A");
    EXPECT_EQ(v1.peripheral->writes[0].characteristic, BLEUUID("FFF2"));
    ASSERT_EQ(v3.peripheral->writes.size(), 2U);
    EXPECT_EQ(hex(v3.peripheral->writes[0].value), "02 40 DD 04 FF FD 02 01 98");
    EXPECT_EQ(hex(v3.peripheral->writes[1].value), "02 40 DD 04 FF FD 02 03 9A");
    // The trailing byte is the XOR of bytes 1 to 7.
    for (const auto& write : v3.peripheral->writes) {
        std::uint8_t x = 0;
        for (std::size_t i = 1; i <= 7; ++i) x ^= write.value[i];
        EXPECT_EQ(x, write.value[8]);
    }
}

TEST(BloodPressureMonitor, WritesAreCutIntoTwentyBytePiecesOfTheAllowedType) {
    struct Case {
        std::uint8_t properties;
        std::size_t length;
        std::vector<std::size_t> pieces;
        WriteType type;
    };
    const std::vector<Case> cases = {
        {kWriteNoResponse, 20, {20}, WriteType::WithoutResponse},
        {kWriteNoResponse, 21, {20, 1}, WriteType::WithoutResponse},
        {CharacteristicPropertyWrite, 41, {20, 20, 1}, WriteType::WithResponse},
        {kWriteNoResponse | CharacteristicPropertyWrite, 5, {5}, WriteType::WithoutResponse},
        {CharacteristicPropertyRead, 5, {}, WriteType::WithResponse},
    };
    for (const auto& c : cases) {
        Monitor<HalvoraSDKHeartDevice> monitor(c.properties);
        std::vector<std::uint8_t> data(c.length);
        for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<std::uint8_t>(i);
        monitor.driver->writeRawData(data);
        std::vector<std::size_t> sizes;
        std::vector<std::uint8_t> joined;
        for (const auto& w : monitor.peripheral->writes) {
            sizes.push_back(w.value.size());
            joined.insert(joined.end(), w.value.begin(), w.value.end());
            EXPECT_EQ(w.type, c.type);
        }
        EXPECT_EQ(sizes, c.pieces) << "length " << c.length;
        if (!c.pieces.empty()) {
            EXPECT_EQ(joined, data);
        }
    }
}

// ------------------------------------------------------------------------------------ first generation

TEST(HalvoraSDKHeartDevice, FramesBecomeProgressResultsAndErrors) {
    expectFrames<HalvoraSDKHeartDevice>({
        {"FD FD 06 00 00", {}},                         // started: nothing reported
        {"FD FD FB 00 78", {"data 120"}},
        {"FD FD FB 01 20", {"data 65568"}},             // high byte lands in bits 16-23
        {"FD FD FC 78 50 48", {"result 120/80/72"}},
        {"FD FD FD 0E", {"error -1"}},
        {"FD FD FD 01", {"error -2"}},
        {"FD FD FD 02", {"error -3"}},
        {"FD FD FD 03", {"error -4"}},
        {"FD FD FD 05", {"error -5"}},
        {"FD FD FD 0C", {"error -6"}},
        {"FD FD FD 0B", {"error -7"}},
        {"FD FD FD 04", {"error absent"}},
        {"FD FD 06 00", {}},                            // started only at length 5
        {"FD FD 07 00 00", {}},                         // unknown type
    });
}

TEST(HalvoraSDKHeartDevice, ShortFramesAreIgnored) {
    expectFrames<HalvoraSDKHeartDevice>({
        {"", {}}, {"FD", {}}, {"FD FD", {}}, {"FD FD FD", {}}, {"FD FD FB 00", {}}, {"FD FD FC 78 50", {}},
    });
}

TEST(HalvoraSDKHeartDevice, RepeatedResultsAreAllDelivered) {
    Monitor<HalvoraSDKHeartDevice> monitor;
    monitor.play("FD FD FC 78 50 48");
    EXPECT_EQ(monitor.play("FD FD FC 78 50 48"), std::vector<std::string>{"result 120/80/72"});
}

TEST(HalvoraSDKHeartDevice, HardwareRevisionIsReadButNeverParsedAsAFrame) {
    Monitor<HalvoraSDKHeartDevice> monitor(kWriteNoResponse, false);
    auto service = monitor.peripheral->services().front();
    service->addCharacteristic(std::make_shared<Characteristic>(BLEUUID("2A27"), CharacteristicPropertyRead, service));
    monitor.connectAll();
    EXPECT_EQ(monitor.peripheral->reads, std::vector<BLEUUID>{BLEUUID("2A27")});
    monitor.peripheral->playNotification(BLEUUID("2A27"), bytes("FD FD FC 78 50 48"));
    EXPECT_TRUE(monitor.delegate->events().empty());
}

// ------------------------------------------------------------------------------------ second generation

TEST(HalvoraSDKHeartDeviceV2, FramesAreToldApartByLength) {
    expectFrames<HalvoraSDKHeartDeviceV2>({
        {"00 00 00 00 00 00 00 00 57", {"battery 87"}},      // any 9-byte frame is a battery report
        {"FF FE FF 05 00 00 00 00 10", {"battery 16"}},
        {"20 8C", {"data 140"}},
        {"21 8C", {}},
        {"00 00 78 00 50 00 00 00 48 00 00", {"result 120/80/72"}},
        {"00 00 78 00 50 00 00 00 48 00 00 00 00", {"result 120/80/72"}},
        {"00 00 78 00 50 00 00 00 48 00", {}},               // 10 bytes: nothing
        {"FF FE FF 01", {"error -1"}},
        {"FF FE FF 02", {"error -4"}},
        {"FF FE FF 03", {"error -5"}},
        {"FF FE FF 04", {"error -6"}},
        {"FF FE FF 05", {"error -2"}},
        {"FF FE FF 06", {"error -7"}},
        {"FF FE FF 07", {"error absent"}},
        {"FF FE FE 01", {}},
        {"", {}},
        {"20", {}},
    });
}

TEST(HalvoraSDKHeartDeviceV2, OnlyTheFirstResultOfAConnectionIsDelivered) {
    Monitor<HalvoraSDKHeartDeviceV2> monitor;
    EXPECT_EQ(monitor.play("00 00 78 00 50 00 00 00 48 00 00"), std::vector<std::string>{"result 120/80/72"});
    EXPECT_TRUE(monitor.driver->dataReceived());
    EXPECT_TRUE(monitor.play("00 00 82 00 55 00 00 00 4B 00 00").empty());
}

TEST(HalvoraSDKHeartDeviceV2, WithoutADelegateTheResultIsConsumedButNotRemembered) {
    Monitor<HalvoraSDKHeartDeviceV2> monitor;
    monitor.driver->setDelegate({});
    monitor.play("00 00 78 00 50 00 00 00 48 00 00");
    EXPECT_TRUE(monitor.driver->dataReceived());
    EXPECT_FALSE(monitor.driver->lastData().has_value());
}

// ------------------------------------------------------------------------------------ third generation

TEST(HalvoraSDKHeartDeviceV3, FramesAreToldApartByLengthAndMarkers) {
    expectFrames<HalvoraSDKHeartDeviceV3>({
        {"02 40 DD 0C 00 78 00 00 00 00 00 00 00 00 00 00 00", {"result 7864320/0/0"}},  // any 17-byte frame
        {"02 40 D4 04 00 00 00 5A 00", {"battery 90"}},
        {"02 40 DD 04 00 00 00 5A 00", {}},
        {"02 40 DD 05 00 8C 00", {"data 140"}},
        {"03 40 DD 05 00 8C 00", {}},
        {"02 40 DD 05 00 8C", {}},
        {"", {}},
        {"02", {}},
    });
    // A plausible result, low bytes only.
    Monitor<HalvoraSDKHeartDeviceV3> monitor;
    EXPECT_EQ(monitor.play("02 40 DD 0C 00 00 78 00 50 00 00 00 48 00 00 00 00"),
              std::vector<std::string>{"result 120/80/72"});
}

TEST(HalvoraSDKHeartDeviceV3, ResultPairsPutTheHighByteIntoBitsSixteenAndUp) {
    Monitor<HalvoraSDKHeartDeviceV3> monitor;
    EXPECT_EQ(monitor.play("02 40 DD 0C 00 01 02 00 50 00 00 00 48 00 00 00 00"),
              std::vector<std::string>{"result 65538/80/72"});
}

TEST(HalvoraSDKHeartDeviceV3, ErrorsCountOnlyAfterACuffPressure) {
    Monitor<HalvoraSDKHeartDeviceV3> monitor;
    monitor.driver->startMeasurement();
    EXPECT_TRUE(monitor.play("02 40 DD 04 FF 00 00 05 00").empty());
    EXPECT_EQ(monitor.play("02 40 DD 05 00 20 00"), std::vector<std::string>{"data 32"});
    EXPECT_EQ(monitor.play("02 40 DD 04 FF 00 00 05 00"), std::vector<std::string>{"error -5"});
    monitor.driver->startMeasurement();
    EXPECT_EQ(monitor.driver->progressCount(), 0);
    EXPECT_TRUE(monitor.play("02 40 DD 04 FF 00 00 05 00").empty());
}

TEST(HalvoraSDKHeartDeviceV3, ErrorTableUsesOnlyTheMaskedEntries) {
    const std::vector<std::pair<std::uint8_t, std::optional<std::int32_t>>> table = {
        {0x00, std::nullopt}, {0x01, -8}, {0x02, -9}, {0x03, -4}, {0x04, std::nullopt}, {0x05, -5},
        {0x06, std::nullopt}, {0x07, -1}, {0x08, std::nullopt}, {0x0A, std::nullopt}, {0x0B, -7},
        {0x0C, std::nullopt}, {0xFF, std::nullopt},
    };
    for (const auto& [byte, code] : table) {
        EXPECT_EQ(HalvoraSDKHeartDeviceV3::errorCodeFor(byte), code) << "byte " << int(byte);
    }
}

TEST(HalvoraSDKHeartDeviceV3, AnEqualResultOfALaterMeasurementIsNotDeliveredAgain) {
    Monitor<HalvoraSDKHeartDeviceV3> monitor;
    const std::string result = "02 40 DD 0C 00 00 78 00 50 00 00 00 48 00 00 00 00";
    monitor.driver->startMeasurement();
    EXPECT_EQ(monitor.play(result).size(), 1U);
    EXPECT_TRUE(monitor.play(result).empty());  // taken already in this measurement
    monitor.driver->startMeasurement();
    EXPECT_TRUE(monitor.play(result).empty());  // equal to the last delivered
    monitor.driver->startMeasurement();
    EXPECT_EQ(monitor.play("02 40 DD 0C 00 00 79 00 50 00 00 00 48 00 00 00 00"),
              std::vector<std::string>{"result 121/80/72"});
}

// ------------------------------------------------------------------------------------ malformed input

TEST(BloodPressureMonitor, RandomNotificationsNeverCrashOrReadPastTheEnd) {
    Monitor<HalvoraSDKHeartDevice> v1;
    Monitor<HalvoraSDKHeartDeviceV2> v2;
    Monitor<HalvoraSDKHeartDeviceV3> v3;
    std::mt19937 random(20261122);
    std::uniform_int_distribution<int> length(0, 24);
    std::uniform_int_distribution<int> byte(0, 255);
    // Bias the first bytes towards the markers the parsers look for, so the interesting branches are hit.
    const std::uint8_t markers[] = {0x02, 0x40, 0xFD, 0xFB, 0xFC, 0x06, 0xFF, 0xFE, 0x20, 0xD4};
    for (int i = 0; i < 100000; ++i) {
        std::vector<std::uint8_t> frame(static_cast<std::size_t>(length(random)));
        for (auto& b : frame) {
            b = byte(random) < 128 ? markers[byte(random) % 10] : static_cast<std::uint8_t>(byte(random));
        }
        v1.peripheral->playNotification(HalvoraSDKHeartDevice::readCharacteristicUUID(), frame);
        v2.peripheral->playNotification(HalvoraSDKHeartDeviceV2::readCharacteristicUUID(), frame);
        v3.peripheral->playNotification(HalvoraSDKHeartDeviceV3::readCharacteristicUUID(), frame);
        if (i % 1000 == 0) v3.driver->startMeasurement();
    }
    // Every report that came out is one of the known shapes.
    for (const auto* delegate : {v1.delegate.get(), v2.delegate.get(), v3.delegate.get()}) {
        for (const auto& event : delegate->events()) {
            EXPECT_TRUE(event.rfind("data ", 0) == 0 || event.rfind("result ", 0) == 0 ||
                        event.rfind("error ", 0) == 0 || event.rfind("battery ", 0) == 0)
                << event;
        }
    }
    EXPECT_GT(v1.delegate->events().size(), 0U);
}

}  // namespace
}  // namespace halvora
