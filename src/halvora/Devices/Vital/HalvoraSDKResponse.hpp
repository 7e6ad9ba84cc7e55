#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <variant>
#include <vector>

#include "halvora/Core/Date.hpp"
#include "halvora/Devices/Vital/HalvoraSDKDetailedSleepData.hpp"
#include "halvora/Devices/Vital/HalvoraSDKDetailedStepData.hpp"
#include "halvora/Devices/Vital/HalvoraSDKRealtimeData.hpp"
#include "halvora/Devices/Vital/HalvoraSDKSportData.hpp"
#include "halvora/Devices/Vital/HalvoraSDKStepSummaryData.hpp"
#include "halvora/Devices/Vital/HalvoraSDKUser.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalActivityPeriod.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalECGConstantsData.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalECGData.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalECGStatus.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalHRVData.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalParams.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalPeriod.hpp"
#include "halvora/Records/HalvoraSDKHeartBeatData.hpp"
#include "halvora/Records/HalvoraSDKOximeterData.hpp"
#include "halvora/Records/HalvoraSDKThermometerData.hpp"

namespace halvora {

/// What a Vital result carries, by command number:
/// - nothing (`std::monostate`): the acknowledgements 0 (clock set), 4, 7, 10, 12, 15, 34, 35, 36, 33 and the
///   sport heartbeat without data (39);
/// - `Date`: 1, the bracelet's clock;
/// - `std::int32_t`: 3, the step goal;
/// - `std::string`: 8, the MAC address ("AA:BB:CC:DD:EE:FF");
/// - `std::map<std::string, std::int32_t>`: 14, the battery level under "batteryLevel";
/// - `std::vector<std::uint8_t>`: the bytes after the code of answers the kit passes on undecoded: 16 (the
///   health-measurement answer) and 38 (a sport heartbeat with data);
/// - `HalvoraSDKRealtimeData`: 2, one real-time reading;
/// - `HalvoraSDKVitalParams`: 11;
/// - `HalvoraSDKUser`: 13;
/// - `HalvoraSDKVitalActivityPeriod`: 6;
/// - `HalvoraSDKVitalPeriod`: 5, the schedule of the quantity asked for;
/// - the history downloads, each a list in arrival order: 17 `HalvoraSDKStepSummaryData` (daily totals), 18
///   `HalvoraSDKDetailedStepData`, 19 `HalvoraSDKDetailedSleepData`, 20 and 21 `HalvoraSDKHeartBeatData`
///   (spot and automatic heart rate), 22 and 23 `HalvoraSDKOximeterData` (spot and automatic blood oxygen),
///   24 `HalvoraSDKVitalHRVData`, 25 `HalvoraSDKSportData`, 26 and 27 `HalvoraSDKThermometerData` (spot and
///   automatic temperature);
/// - the ECG: `HalvoraSDKVitalECGStatus` 28 (the start's status, no data) and 29 (the measurement status,
///   with the summary when it is 3, finished); `HalvoraSDKVitalECGConstantsData` 30 (the finished
///   measurement's summary) and 31 (the heart-rate status: heart rate and HRV); `HalvoraSDKVitalECGData` 31
///   (one live frame of filtered samples) and 32 (a stored waveform with its header values). 31 thus
///   carries either of two alternatives: test which one it holds.
using HalvoraSDKResponseData = std::variant<
    std::monostate, Date, std::int32_t, std::string, std::map<std::string, std::int32_t>, std::vector<std::uint8_t>,
    HalvoraSDKRealtimeData, HalvoraSDKVitalParams, HalvoraSDKUser, HalvoraSDKVitalActivityPeriod, HalvoraSDKVitalPeriod,
    std::vector<HalvoraSDKStepSummaryData>, std::vector<HalvoraSDKDetailedStepData>,
    std::vector<HalvoraSDKDetailedSleepData>, std::vector<HalvoraSDKHeartBeatData>, std::vector<HalvoraSDKOximeterData>,
    std::vector<HalvoraSDKVitalHRVData>, std::vector<HalvoraSDKSportData>, std::vector<HalvoraSDKThermometerData>,
    HalvoraSDKVitalECGStatus, HalvoraSDKVitalECGConstantsData, HalvoraSDKVitalECGData>;

/// One successful result of the Vital bracelet, handed to `braceletVitalDeviceInformation`.
struct HalvoraSDKResponse {
    /// The operation's number (0 `setTime`, 1 `getTime`, ... 39; see `HalvoraSDKBraceletVital`).
    std::int32_t command = 0;
    /// A further number of some results (15 and 5: the quantity of the schedule, 16: the quantity measured);
    /// -1 when the result has none.
    std::int32_t type = -1;
    /// The result's value (see `HalvoraSDKResponseData`).
    HalvoraSDKResponseData data;
};

}  // namespace halvora
