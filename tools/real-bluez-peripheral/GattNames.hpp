#pragma once

#include <algorithm>
#include <cctype>
#include <string>

#include "halvora/Transport/BLEUUID.hpp"

namespace halvora::realbluez {

inline constexpr const char* kBlueZService = "org.bluez";
inline constexpr const char* kPropertiesInterface = "org.freedesktop.DBus.Properties";
inline constexpr const char* kAdapterInterface = "org.bluez.Adapter1";
inline constexpr const char* kGattManagerInterface = "org.bluez.GattManager1";
inline constexpr const char* kAdvertisingManagerInterface = "org.bluez.LEAdvertisingManager1";
inline constexpr const char* kAdvertisementInterface = "org.bluez.LEAdvertisement1";
inline constexpr const char* kGattServiceInterface = "org.bluez.GattService1";
inline constexpr const char* kGattCharacteristicInterface = "org.bluez.GattCharacteristic1";
/// Where the bridge's objects live: its GATT application (an object manager) and, outside it, its advertisement.
inline constexpr const char* kApplicationPath = "/org/halvora/bridge";
inline constexpr const char* kAdvertisementPath = "/org/halvora/advertisement0";

/// A UUID as bluetoothd writes it: the long form in lower case.
inline std::string busUUID(const BLEUUID& uuid) {
    std::string text = uuid.toLongString();
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

}  // namespace halvora::realbluez
