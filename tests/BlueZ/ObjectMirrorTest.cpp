// The BlueZ transport's typed mirror of bluetoothd's objects.
#include <gtest/gtest.h>
#include <sdbus-c++/sdbus-c++.h>

#include "halvora/Transport/BlueZ/internal/ObjectMirror.hpp"

namespace halvora::bluez {
namespace {

const std::string kAdapter = "/org/bluez/hci0";
const std::string kDevice = kAdapter + "/dev_C0_00_00_00_00_A1";
const std::string kService = kDevice + "/service000a";
const std::string kCharacteristic = kService + "/char000b";

struct MirrorWithDrops {
    std::vector<std::string> drops;
    ObjectMirror mirror{kAdapter, ObjectMirror::Limits{2, 8, 4},
                        [this](const std::string& path, const std::string& property, const std::string& why) {
                            drops.push_back(path + " " + property + ": " + why);
                        }};

    void addDevice(const std::string& path) {
        mirror.addObject(path, {{kDeviceInterface, {{"RSSI", sdbus::Variant(std::int16_t(-50))}}}});
    }
    void addGatt() {
        mirror.addObject(kService, {{kGattServiceInterface,
                                     {{"UUID", sdbus::Variant(std::string("fff0"))},
                                      {"Device", sdbus::Variant(sdbus::ObjectPath(kDevice))}}}});
        mirror.addObject(
            kCharacteristic,
            {{kGattCharacteristicInterface,
              {{"UUID", sdbus::Variant(std::string("0000fff4-0000-1000-8000-00805f9b34fb"))},
               {"Service", sdbus::Variant(sdbus::ObjectPath(kService))},
               {"Flags", sdbus::Variant(std::vector<std::string>{"read", "notify", "indicate", "bogus"})}}}});
    }
};

TEST(ObjectMirror, PropertiesOfTheWrongTypeAreDroppedAndTheRestKept) {
    MirrorWithDrops m;
    const auto change = m.mirror.addObject(
        kDevice, {{kDeviceInterface,
                   {{"Name", sdbus::Variant(std::uint32_t(5))},
                    {"RSSI", sdbus::Variant(std::int16_t(-61))},
                    {"Connected", sdbus::Variant(std::string("yes"))},
                    {"UUIDs", sdbus::Variant(std::vector<std::string>{"fff0", "not a uuid"})},
                    {"ManufacturerData", sdbus::Variant(std::map<std::uint16_t, sdbus::Variant>{
                                             {0x004C, sdbus::Variant(std::vector<std::uint8_t>{1, 2})},
                                             {0x0059, sdbus::Variant(std::string("text"))}})}}}});
    ASSERT_TRUE(change);
    EXPECT_TRUE(change->added);
    const auto* device = m.mirror.device(kDevice);
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(device->address, "C0:00:00:00:00:A1") << "taken from the path when the property is missing";
    EXPECT_FALSE(device->name);
    EXPECT_EQ(device->rssi, std::optional<std::int16_t>(-61));
    EXPECT_FALSE(device->connected);
    EXPECT_EQ(device->uuids, std::vector<BLEUUID>{BLEUUID("FFF0")});
    EXPECT_EQ(device->manufacturerData, (std::vector<std::uint8_t>{0x4C, 0x00, 1, 2}));
    EXPECT_EQ(m.drops.size(), 4U);  // Name, Connected, one UUID, one manufacturer entry
}

TEST(ObjectMirror, RemovingADeviceRemovesItsGattObjectsAndAnInvalidatedRssiIsForgotten) {
    MirrorWithDrops m;
    m.addDevice(kDevice);
    m.addGatt();
    const auto* characteristic = m.mirror.characteristic(kCharacteristic);
    ASSERT_NE(characteristic, nullptr);
    EXPECT_EQ(characteristic->properties, 0x32);  // read, notify, indicate
    EXPECT_EQ(m.mirror.deviceOfCharacteristic(kCharacteristic), std::optional<std::string>(kDevice));

    m.mirror.changeProperties(kDevice, kDeviceInterface, {}, {"RSSI"});
    EXPECT_FALSE(m.mirror.device(kDevice)->rssi);

    EXPECT_EQ(m.mirror.removeInterfaces(kDevice, {kDeviceInterface}), std::vector<std::string>{kDevice});
    EXPECT_EQ(m.mirror.characteristic(kCharacteristic), nullptr);
    EXPECT_FALSE(m.mirror.hasService(kService));
    // A characteristic whose service is unknown, and a device of another adapter, are not mirrored.
    m.addGatt();
    m.addDevice("/org/bluez/hci1/dev_C0_00_00_00_00_A2");
    EXPECT_EQ(m.mirror.characteristic(kCharacteristic), nullptr);
    EXPECT_TRUE(m.mirror.devices().empty());
}

// Link announcements in the orders bluetoothd 5.66 sends them on the real-bluez bench: when the ATT
// channel is up before the controller's connection event, Connected is never announced true.
TEST(ObjectMirror, TheLinkStateFollowsBluetoothdsAnnouncements) {
    using Update = std::map<std::string, bool>;
    struct Case {
        const char* name;
        std::vector<Update> updates;
        bool connected;
        bool servicesResolved;
    };
    const std::vector<Case> cases = {
        {"Connected, then ServicesResolved", {{{"Connected", true}}, {{"ServicesResolved", true}}}, true, true},
        {"ServicesResolved without Connected", {{{"ServicesResolved", true}}}, true, true},
        {"Connected only", {{{"Connected", true}}}, true, false},
        {"link down, services first",
         {{{"ServicesResolved", true}}, {{"ServicesResolved", false}}, {{"Connected", false}}},
         false,
         false},
        {"link down announced by Connected alone",
         {{{"ServicesResolved", true}}, {{"Connected", false}}},
         false,
         false},
        {"both in one signal, down",
         {{{"ServicesResolved", true}}, {{"ServicesResolved", true}, {"Connected", false}}},
         false,
         false},
    };
    for (const auto& c : cases) {
        MirrorWithDrops m;
        m.addDevice(kDevice);
        bool linkChanged = false;
        for (const auto& update : c.updates) {
            PropertyMap changed;
            for (const auto& [property, value] : update) changed[property] = sdbus::Variant(value);
            const auto change = m.mirror.changeProperties(kDevice, kDeviceInterface, changed, {});
            linkChanged |= change && change->link;
        }
        const auto* device = m.mirror.device(kDevice);
        ASSERT_NE(device, nullptr) << c.name;
        EXPECT_EQ(device->connected, c.connected) << c.name;
        EXPECT_EQ(device->servicesResolved, c.servicesResolved) << c.name;
        EXPECT_TRUE(linkChanged) << c.name;
    }
}

TEST(ObjectMirror, TheDeviceTableIsCapped) {
    MirrorWithDrops m;
    m.addDevice(kAdapter + "/dev_C0_00_00_00_00_01");
    m.addDevice(kAdapter + "/dev_C0_00_00_00_00_02");
    m.addDevice(kAdapter + "/dev_C0_00_00_00_00_03");
    EXPECT_EQ(m.mirror.devices().size(), 2U);
    ASSERT_EQ(m.drops.size(), 1U);
    EXPECT_NE(m.drops.front().find("the device table is full"), std::string::npos);
}

}  // namespace
}  // namespace halvora::bluez
