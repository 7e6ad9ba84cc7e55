// The recognition order: which driver class a peripheral's name (or advertisement) resolves to.
#include <gtest/gtest.h>

#include "halvora/Manager/RecognitionTable.hpp"
#include "lab/Devices/Bracelet/VirtualBracelet.hpp"
#include "lab/Devices/Measurement/VirtualBabyThermometer.hpp"
#include "lab/Devices/Measurement/VirtualHeartDevice.hpp"
#include "lab/Devices/Measurement/VirtualHeartDeviceV2.hpp"
#include "lab/Devices/Measurement/VirtualHeartDeviceV3.hpp"
#include "lab/Devices/Measurement/VirtualOximeter.hpp"
#include "lab/Devices/Measurement/VirtualThermometer.hpp"
#include "lab/Devices/Measurement/VirtualThermometerV2.hpp"
#include "lab/Devices/Measurement/VirtualThermometerV3.hpp"
#include "lab/Devices/Measurement/VirtualWeightScale.hpp"
#include "lab/Devices/RM830/VirtualRM830.hpp"
#include "lab/Devices/RM830/VirtualRM830Bootloader.hpp"
#include "lab/Devices/Tensio/VirtualTensioBracelet.hpp"
#include "lab/Devices/Vital/VirtualVitalBracelet.hpp"
#include "support/FakePeripheral.hpp"

namespace halvora {
namespace {

std::string classFor(const std::optional<std::string>& name, const AdvertisementData* advertisement = nullptr) {
    auto peripheral = std::make_shared<test::FakePeripheral>("6F1C2D3E-0000-4000-8000-000000000001", name);
    const DriverClass* row = RecognitionTable::recognise(peripheral, advertisement);
    return row ? row->className : "none";
}

/// An advertisement carrying this local name (none: no local name at all).
AdvertisementData advertising(const std::optional<std::string>& localName) {
    AdvertisementData advertisement;
    advertisement.localName = localName;
    return advertisement;
}

TEST(RecognitionTable, NamesResolveInTheFixedOrder) {
    const std::vector<std::pair<std::optional<std::string>, std::string>> cases = {
        {"Bluetooth BP", "HalvoraSDKHeartDevice"},    // exactly: the monitor, never the thermometer
        {"Bluetooth BP 2", "HalvoraSDKThermometer"},  // longer names reach the thermometer
        {"My Bluetooth BP", "HalvoraSDKThermometer"},
        {"bluetooth bp", "none"},
        {"eBlood-Pressure", "HalvoraSDKHeartDeviceV2"},
        {"Belter_BT", "HalvoraSDKHeartDeviceV3"},
        {"B521A", "HalvoraSDKBracelet"},
        {"RM-610HR", "HalvoraSDKBracelet"},
        {"b521a", "none"},
        {"B521A ", "none"},
        {"BLT_M70C", "HalvoraSDKOximeter"},
        {"BLT_M70C2", "none"},
        {"e-Thermometer", "HalvoraSDKThermometerV2"},
        {"E-THERMOMETER X", "HalvoraSDKThermometerV2"},  // lower-cased comparison
        {"xBelter_TPx", "HalvoraSDKThermometerV2"},
        {"dmt-4760B", "HalvoraSDKThermometerV3"},
        {"iCcur-1", "HalvoraSDKBabyThermometer"},
        {"my thermF", "HalvoraSDKBabyThermometer"},
        {"Chipsea-BLE 01", "HalvoraSDKWeightScale"},
        {"", "none"},
        {std::nullopt, "none"},
        {"tameinagli", "none"},  // the pill box is asked only with an advertisement
    };
    for (const auto& [name, expected] : cases) {
        EXPECT_EQ(classFor(name), expected) << "name \"" << name.value_or("(none)") << "\"";
    }

    // With the advertisement: the pill box, last, by its name or else by the advertised local name.
    struct Advertised {
        std::optional<std::string> name;
        std::optional<std::string> localName;
        std::string expected;
    };
    const std::vector<Advertised> advertised = {
        {"tameinagli", std::nullopt, "HalvoraSDKPillReminder"},
        {"", "tameinagli", "HalvoraSDKPillReminder"},
        {std::nullopt, "tameinagli", "HalvoraSDKPillReminder"},
        {"Box 7", "tameinagli", "HalvoraSDKPillReminder"},
        {"Tameinagli", "tameinagli2", "none"},
        {"", "", "none"},
        {"BPW1", "tameinagli", "HalvoraSDKTensioBracelet"},  // the name-only rows come first
        {"Bluetooth BP", "tameinagli", "HalvoraSDKHeartDevice"},
    };
    for (const auto& [name, localName, expected] : advertised) {
        const auto advertisement = advertising(localName);
        EXPECT_EQ(classFor(name, &advertisement), expected)
            << "name \"" << name.value_or("(none)") << "\", local name \"" << localName.value_or("(none)") << "\"";
    }
}

TEST(RecognitionTable, RowsKeepTheRecognitionOrderAndKinds) {
    std::vector<std::pair<std::string, DeviceKind>> rows;
    for (const auto& row : RecognitionTable::rows()) rows.emplace_back(row.className, row.kind);
    const std::vector<std::pair<std::string, DeviceKind>> expected = {
        {"HalvoraSDKHeartDevice", DeviceTypeHeart},
        {"HalvoraSDKHeartDeviceV2", DeviceTypeHeart},
        {"HalvoraSDKHeartDeviceV3", DeviceTypeHeart},
        {"HalvoraSDKBracelet", DeviceTypeBracelet},
        {"HalvoraSDKBraceletRM830", DeviceTypeBraceletRM830},
        {"HalvoraSDKBraceletRM830DFU", DeviceTypeBraceletRM830DFU},
        {"HalvoraSDKBraceletVital", DeviceTypeBraceletVital},
        {"HalvoraSDKOximeter", DeviceTypeOximeter},
        {"HalvoraSDKThermometer", DeviceTypeThermometer},
        {"HalvoraSDKThermometerV2", DeviceTypeThermometer},
        {"HalvoraSDKThermometerV3", DeviceTypeThermometer},
        {"HalvoraSDKBabyThermometer", DeviceTypeBabyThermometer},
        {"HalvoraSDKWeightScale", DeviceTypeWeightScale},
        {"HalvoraSDKTensioBracelet", DeviceTypeTensioBracelet},
        {"HalvoraSDKPillReminder", DeviceTypePillReminder},
    };
    EXPECT_EQ(rows, expected);
    // Only the pill box needs the advertisement.
    for (const auto& row : RecognitionTable::rows()) {
        EXPECT_EQ(row.needsAdvertisement, row.kind == DeviceTypePillReminder) << row.className;
    }
}

TEST(RecognitionTable, EveryVirtualDeviceResolvesToTheClassThatPlaysIt) {
    const std::string id = "6F1C2D3E-0000-4000-8000-0000000000F1";
    const std::vector<std::pair<std::shared_ptr<lab::VirtualPeripheral>, std::string>> devices = {
        {lab::VirtualHeartDevice::make(id), "HalvoraSDKHeartDevice"},
        {lab::VirtualHeartDeviceV2::make(id), "HalvoraSDKHeartDeviceV2"},
        {lab::VirtualHeartDeviceV3::make(id), "HalvoraSDKHeartDeviceV3"},
        {lab::VirtualBracelet::make(id), "HalvoraSDKBracelet"},
        {lab::VirtualRM830::make(id), "HalvoraSDKBraceletRM830"},
        {lab::VirtualRM830::make(id, -60, lab::VirtualRM830::kSecondName), "HalvoraSDKBraceletRM830"},
        {lab::VirtualRM830::make(id, -60, lab::VirtualRM830::kThirdName), "HalvoraSDKBraceletRM830"},
        {lab::VirtualOximeter::make(id), "HalvoraSDKOximeter"},
        {lab::VirtualThermometer::make(id), "HalvoraSDKThermometer"},
        {lab::VirtualThermometerV2::make(id), "HalvoraSDKThermometerV2"},
        {lab::VirtualThermometerV3::make(id), "HalvoraSDKThermometerV3"},
        {lab::VirtualBabyThermometer::make(id), "HalvoraSDKBabyThermometer"},
        {lab::VirtualWeightScale::make(id), "HalvoraSDKWeightScale"},
        {lab::VirtualTensioBracelet::make(id), "HalvoraSDKTensioBracelet"},
        {lab::VirtualVitalBracelet::make(id), "HalvoraSDKBraceletVital"},
        {std::make_shared<lab::VirtualRM830Bootloader>(
             lab::VirtualRM830Bootloader::configFor(lab::VirtualRM830::make(id)->config())),
         "HalvoraSDKBraceletRM830DFU"},
    };
    for (const auto& [device, expected] : devices) {
        EXPECT_EQ(classFor(device->name()), expected) << device->name().value_or("(none)");
        // The class also serves the device's own service.
        const DriverClass* row = RecognitionTable::firstOfKind(
            RecognitionTable::recognise(std::make_shared<test::FakePeripheral>(id, device->name()), nullptr)->kind);
        ASSERT_NE(row, nullptr);
        EXPECT_TRUE(device->gattTable().hasAnyService({row->serviceUUID})) << expected;
    }
}

}  // namespace
}  // namespace halvora
