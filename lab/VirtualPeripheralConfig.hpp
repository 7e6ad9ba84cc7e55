#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "halvora/Runtime/Task.hpp"
#include "halvora/Transport/BLEUUID.hpp"

namespace halvora::lab {

/// Who a virtual device is and how it advertises.
struct VirtualPeripheralConfig {
    /// The identifier centrals see (a UUID text; stored upper-case).
    std::string identifier;
    /// The GAP name a central reports as the peripheral's name; absent when the device has none.
    std::optional<std::string> name;
    /// The local name carried in advertisements (may differ from `name`).
    std::optional<std::string> localName;
    /// Signal strength of every advertisement, in dBm.
    int rssi = -60;
    /// Each advertisement's RSSI varies by up to this many dB either way (seeded); 0 keeps it fixed.
    int rssiJitter = 0;
    /// Time between two advertisements.
    Duration advertisingInterval = std::chrono::milliseconds(100);
    /// Manufacturer-specific data carried in advertisements (company identifier first); absent when none.
    std::optional<std::vector<std::uint8_t>> manufacturerData;
    /// Service UUIDs carried in advertisements (what a scan filtered by services matches).
    std::vector<BLEUUID> advertisedServices;
    /// Service data carried in advertisements, per service UUID.
    std::map<BLEUUID, std::vector<std::uint8_t>> serviceData;
    /// Transmit power level carried in advertisements, dBm; absent when not advertised.
    std::optional<int> txPowerLevel;
    /// Advertised as connectable; a non-connectable device refuses every connection.
    bool connectable = true;
};

}  // namespace halvora::lab
