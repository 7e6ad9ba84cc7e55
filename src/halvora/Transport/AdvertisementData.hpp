#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "halvora/Transport/BLEUUID.hpp"

namespace halvora {

/// What one advertisement carried (the CoreBluetooth advertisement dictionary as a record).
struct AdvertisementData {
    std::optional<std::string> localName;                       ///< kCBAdvDataLocalName
    std::optional<std::vector<std::uint8_t>> manufacturerData;  ///< kCBAdvDataManufacturerData
    std::vector<BLEUUID> serviceUUIDs;                          ///< kCBAdvDataServiceUUIDs
    std::map<BLEUUID, std::vector<std::uint8_t>> serviceData;   ///< kCBAdvDataServiceData
    std::optional<int> txPowerLevel;                            ///< kCBAdvDataTxPowerLevel
    std::optional<bool> isConnectable;                          ///< kCBAdvDataIsConnectable
};

}  // namespace halvora
