#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "DFU/DFURig.hpp"
#include "halvora/Core/ApplicationDelegates.hpp"
#include "halvora/Core/ResourceBundle.hpp"
#include "support/RecordingDeviceDelegate.hpp"

namespace halvora::test {
namespace {

using Requests = std::vector<std::string>;

class ObservingApplication : public ApplicationDelegates {
public:
    std::shared_ptr<FirmwareUpdateObserver> firmwareUpdateObserver() const override { return observer; }
    std::shared_ptr<RecordingObserver> observer = std::make_shared<RecordingObserver>();
};

// The update-mode driver on a bootloader double, with the kit's image (255 bytes) in a bundle of its own.
class DriverRig {
public:
    explicit DriverRig(bool withPacket = true, bool withImage = true)
        : peripheral(std::make_shared<BootloaderPeripheral>("DfuTarg", withPacket)) {
        // The image is given its own file, so that no other folder can supply one.
        const auto image = folder.file("image.hex");
        bundle->setFolder(folder.path());
        bundle->setResourcePath("J055_07_V638_20190122", "hex", image);
        if (withImage) std::ofstream(image) << imageText(pattern(255));
        driver->setPeripheral(peripheral, reports);
    }
    ~DriverRig() { driver->deinit(); }
    void connect() {
        driver->didConnect();
        peripheral->playServicesDiscovered();
        peripheral->playCharacteristicsDiscovered(Driver::rsServiceUUID());
    }
    Requests notify(const BLEUUID& characteristic, const std::string& value) {
        peripheral->playNotification(characteristic, bytes(value));
        return peripheral->take();
    }

    TempDir folder;
    std::shared_ptr<VirtualExecutor> executor = VirtualExecutor::create();
    std::vector<std::string> logLines;
    std::shared_ptr<Log> log = std::make_shared<Log>([this](const std::string& line) { logLines.push_back(line); });
    std::shared_ptr<ResourceBundle> bundle = std::make_shared<ResourceBundle>();
    std::shared_ptr<ObservingApplication> application = std::make_shared<ObservingApplication>();
    std::shared_ptr<RecordingDeviceDelegate> reports = std::make_shared<RecordingDeviceDelegate>();
    std::shared_ptr<BootloaderPeripheral> peripheral;
    std::shared_ptr<Driver> driver = std::make_shared<Driver>(
        DriverContext{executor, executor->makeQueue("halvora.cb"), log, nullptr, application, {}, bundle});
};

TEST(HalvoraSDKBraceletRM830DFUTest, Identity) {
    EXPECT_EQ(Driver::getName(), "DfuTarg");
    EXPECT_EQ(Driver().getType(), 8);
    EXPECT_EQ(Driver().className(), "HalvoraSDKBraceletRM830DFU");
    EXPECT_EQ(Driver::rsServiceUUID(), BLEUUID("00001530-1212-efde-1523-785feabcd123"));
    EXPECT_EQ(Driver::versionCharacteristicUUID(), BLEUUID("00001534-1212-EFDE-1523-785FEABCD123"));
    const std::pair<std::optional<std::string>, bool> names[] = {{"DfuTarg", true},     {"dfu", true},
                                                                 {"RM830 Dfu 2", true}, {"DF U", false},
                                                                 {"J-Style", false},    {std::nullopt, false}};
    for (const auto& [name, match] : names)
        EXPECT_EQ(Driver::matchDevice(std::make_shared<FakePeripheral>("ID", name)), match) << name.value_or("(none)");
    EXPECT_FALSE(Driver::matchDevice(nullptr));
}

// Discovery asks the update service for all its characteristics, reports ready and starts the update; the
// bootloader's notifications drive it to the end, which ends with the link.
TEST(HalvoraSDKBraceletRM830DFUTest, ConnectionRunsTheUpdate) {
    DriverRig rig;
    rig.connect();
    EXPECT_EQ(rig.peripheral->characteristicDiscoveries.at(0).second, std::vector<BLEUUID>{});
    EXPECT_EQ(rig.reports->events(), (std::vector<std::string>{"connected", "ready"}));
    EXPECT_EQ(rig.peripheral->take(),
              (Requests{"notify CP", "CP 01 04", "PK 00 00 00 00 00 00 00 00 FF 00 00 00", "read VER"}));
    rig.peripheral->playDescriptorWritten(Driver::readCharacteristicUUID());
    EXPECT_EQ(rig.reports->count("ready"), 2u);
    const BLEUUID controlPoint = Driver::readCharacteristicUUID(), version = Driver::versionCharacteristicUUID();
    EXPECT_EQ(rig.notify(version, ""), Requests{});  // an empty version value is ignored
    EXPECT_EQ(rig.notify(version, "08 00"), Requests{});
    EXPECT_EQ(rig.notify(controlPoint, "10 01 01").size(), 12u);
    EXPECT_EQ(rig.notify(controlPoint, "11 C8 00 00 00").size(), 3u);
    EXPECT_EQ(rig.notify(controlPoint, "10 03 01"), Requests{"CP 04"});
    EXPECT_EQ(rig.notify(controlPoint, "10 04 01"), Requests{"CP 05"});
    rig.driver->linkEnded();
    EXPECT_EQ(rig.peripheral->image, pattern(255));
    EXPECT_EQ(rig.application->observer->events.back(), "ok 0s");
}

// Without a packet characteristic nothing is written; without the image neither, and the observer is told
// where it was looked for.
TEST(HalvoraSDKBraceletRM830DFUTest, NothingWithoutPacketCharacteristicOrImage) {
    DriverRig noPacket(false, true);
    noPacket.connect();
    EXPECT_EQ(noPacket.peripheral->take(), Requests{});
    EXPECT_EQ(noPacket.driver->dfuOperations(), nullptr);
    EXPECT_EQ(noPacket.reports->events(), (std::vector<std::string>{"connected", "ready"}));

    DriverRig noImage(true, false);
    noImage.connect();
    EXPECT_EQ(noImage.peripheral->take(), Requests{});
    std::string folders;
    for (const auto& folder : noImage.bundle->searchFolders())
        folders += (folders.empty() ? "" : ", ") + folder.string();
    const std::string text = "Firmware image J055_07_V638_20190122.hex not found (looked in: " + folders + ")";
    EXPECT_EQ(noImage.application->observer->events, Requests{"failed " + text});
    EXPECT_EQ(noImage.logLines, Requests{text});
}

// Notifications carrying an error are logged only; a failed version read resets the bootloader.
TEST(HalvoraSDKBraceletRM830DFUTest, NotificationErrorsAreLogged) {
    DriverRig rig;
    rig.connect();
    rig.peripheral->take();
    const BLEError error{BLEErrorUnknownAttribute, "gone"};
    const auto cp = rig.peripheral->characteristic(Driver::readCharacteristicUUID());
    rig.driver->peripheralDidUpdateValueForCharacteristic(rig.peripheral, cp, bytes("10 01 01"), error);
    EXPECT_EQ(rig.peripheral->take(), Requests{});
    const auto version = rig.peripheral->characteristic(Driver::versionCharacteristicUUID());
    rig.driver->peripheralDidUpdateValueForCharacteristic(rig.peripheral, version, {}, error);
    EXPECT_EQ(rig.peripheral->take(), Requests{"CP 06"});
    EXPECT_EQ(rig.logLines, (Requests{"Error on BLE Notification\n Message: gone",
                                      "Error on BLE Notification\n Message: gone\n Please enable Service Changed "
                                      "Indication in your firmware, reset Bluetooth from IOS Settings and then try "
                                      "again"}));
}

// The link ending during the update (central's report, or Bluetooth off) ends it and frees the slot.
TEST(HalvoraSDKBraceletRM830DFUTest, LinkEndFreesTheUpdateSlot) {
    for (bool poweredOff : {false, true}) {
        SCOPED_TRACE(poweredOff);
        DriverRig rig;
        rig.connect();
        rig.notify(Driver::readCharacteristicUUID(), "10 01 01");
        EngineRig other;
        EXPECT_EQ(other.start(), Requests{});
        poweredOff ? rig.driver->didDisconnect() : rig.driver->linkEnded();
        EXPECT_EQ(rig.application->observer->events.back(),
                  "failed The link to the bracelet was lost during the update");
        EXPECT_EQ(other.start().size(), 4u);
        EXPECT_EQ(rig.reports->count("disconnected"), poweredOff ? 1u : 0u);
    }
}

TEST(HalvoraSDKBraceletRM830DFUTest, RawDataGoesToThePacketCharacteristicInPieces) {
    DriverRig rig;
    rig.connect();
    rig.peripheral->writes.clear();
    rig.driver->writeRawData(pattern(45));
    ASSERT_EQ(rig.peripheral->writes.size(), 3u);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(rig.peripheral->writes[i].characteristic, Driver::sendCharacteristicUUID());
        EXPECT_EQ(rig.peripheral->writes[i].value.size(), i < 2 ? 20u : 5u);
    }
}

}  // namespace
}  // namespace halvora::test
