#include "halvora/Manager/RecognitionTable.hpp"

#include "halvora/Devices/Bracelet/HalvoraSDKBracelet.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKBabyThermometer.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKHeartDevice.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKHeartDeviceV2.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKHeartDeviceV3.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKOximeter.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKThermometer.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKThermometerV2.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKThermometerV3.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKWeightScale.hpp"
#include "halvora/Devices/PillReminder/HalvoraSDKPillReminder.hpp"
#include "halvora/DFU/HalvoraSDKBraceletRM830DFU.hpp"
#include "halvora/Devices/RM830/HalvoraSDKBraceletRM830.hpp"
#include "halvora/Devices/Tensio/HalvoraSDKTensioBracelet.hpp"
#include "halvora/Devices/Vital/HalvoraSDKBraceletVital.hpp"

namespace halvora {

namespace {

/// A row for a driver class that recognises peripherals by name alone.
template <typename Driver>
DriverClass nameRow(const char* className, DeviceKind kind, std::vector<std::string> names) {
    DriverClass row;
    row.className = className;
    row.kind = kind;
    row.names = std::move(names);
    row.serviceUUID = Driver::rsServiceUUID();
    row.matches = [](const std::shared_ptr<Peripheral>& peripheral, const AdvertisementData*) {
        return Driver::matchDevice(peripheral);
    };
    row.create = [](DriverContext context) -> std::shared_ptr<BLEDevice> {
        return std::make_shared<Driver>(std::move(context));
    };
    return row;
}

/// The pill box's row: recognised by the peripheral's name or by the advertised local name, so it needs the
/// advertisement.
DriverClass pillReminderRow() {
    DriverClass row;
    row.className = "HalvoraSDKPillReminder";
    row.kind = DeviceTypePillReminder;
    row.names = {HalvoraSDKPillReminder::getName()};
    row.serviceUUID = HalvoraSDKPillReminder::rsServiceUUID();
    row.matches = [](const std::shared_ptr<Peripheral>& peripheral, const AdvertisementData* advertisement) {
        return HalvoraSDKPillReminder::matchDevice(peripheral, advertisement);
    };
    row.create = [](DriverContext context) -> std::shared_ptr<BLEDevice> {
        return std::make_shared<HalvoraSDKPillReminder>(std::move(context));
    };
    row.needsAdvertisement = true;
    return row;
}

std::vector<DriverClass> makeRows() {
    std::vector<DriverClass> rows;
    rows.push_back(nameRow<HalvoraSDKHeartDevice>("HalvoraSDKHeartDevice", DeviceTypeHeart, {"Bluetooth BP"}));
    rows.push_back(nameRow<HalvoraSDKHeartDeviceV2>("HalvoraSDKHeartDeviceV2", DeviceTypeHeart, {"eBlood-Pressure"}));
    rows.push_back(nameRow<HalvoraSDKHeartDeviceV3>("HalvoraSDKHeartDeviceV3", DeviceTypeHeart, {"Belter_BT"}));
    rows.push_back(nameRow<HalvoraSDKBracelet>("HalvoraSDKBracelet", DeviceTypeBracelet, {"B521A", "RM-610HR"}));
    rows.push_back(nameRow<HalvoraSDKBraceletRM830>("HalvoraSDKBraceletRM830", DeviceTypeBraceletRM830,
                                                    {"J-Style", "HalVora", "HR1638"}));
    // The RM830 in update mode advertises as its updater ("DfuTarg"): any name with "DFU" in it, in any case.
    rows.push_back(nameRow<HalvoraSDKBraceletRM830DFU>("HalvoraSDKBraceletRM830DFU", DeviceTypeBraceletRM830DFU,
                                                       {"DfuTarg"}));
    // The Vital bracelet takes any name containing this fragment.
    rows.push_back(nameRow<HalvoraSDKBraceletVital>("HalvoraSDKBraceletVital", DeviceTypeBraceletVital, {"J2025E"}));
    rows.push_back(nameRow<HalvoraSDKOximeter>("HalvoraSDKOximeter", DeviceTypeOximeter, {"BLT_M70C"}));
    // The thermometers and the baby thermometer take names containing these fragments (the second
    // generation in any letter case, the third too).
    rows.push_back(nameRow<HalvoraSDKThermometer>("HalvoraSDKThermometer", DeviceTypeThermometer, {"Bluetooth BP"}));
    rows.push_back(nameRow<HalvoraSDKThermometerV2>("HalvoraSDKThermometerV2", DeviceTypeThermometer,
                                                    {"e-Thermometer", "Belter_TP"}));
    rows.push_back(nameRow<HalvoraSDKThermometerV3>("HalvoraSDKThermometerV3", DeviceTypeThermometer, {"DMT-4760b"}));
    rows.push_back(nameRow<HalvoraSDKBabyThermometer>("HalvoraSDKBabyThermometer", DeviceTypeBabyThermometer,
                                                      {"iCcur", "thermF"}));
    // The weight scale takes any name containing this fragment (case-sensitive).
    rows.push_back(nameRow<HalvoraSDKWeightScale>("HalvoraSDKWeightScale", DeviceTypeWeightScale, {"Chipsea-BLE"}));
    rows.push_back(nameRow<HalvoraSDKTensioBracelet>("HalvoraSDKTensioBracelet", DeviceTypeTensioBracelet, {"BPW1"}));
    // Last: the pill box, by name or by the advertised local name.
    rows.push_back(pillReminderRow());
    return rows;
}

}  // namespace

const std::vector<DriverClass>& RecognitionTable::rows() {
    static const std::vector<DriverClass> table = makeRows();
    return table;
}

const DriverClass* RecognitionTable::recognise(const std::shared_ptr<Peripheral>& peripheral,
                                               const AdvertisementData* advertisement) {
    for (const auto& row : rows()) {
        if (row.needsAdvertisement && !advertisement) continue;
        if (row.matches(peripheral, advertisement)) return &row;
    }
    return nullptr;
}

const DriverClass* RecognitionTable::recogniseAsKind(const std::shared_ptr<Peripheral>& peripheral, DeviceKind kind,
                                                     const AdvertisementData* advertisement) {
    for (const auto& row : rows()) {
        if (row.kind != kind) continue;
        if (row.needsAdvertisement && !advertisement) continue;
        if (row.matches(peripheral, advertisement)) return &row;
    }
    return nullptr;
}

const DriverClass* RecognitionTable::firstOfKind(DeviceKind kind) {
    for (const auto& row : rows()) {
        if (row.kind == kind) return &row;
    }
    return nullptr;
}

}  // namespace halvora
