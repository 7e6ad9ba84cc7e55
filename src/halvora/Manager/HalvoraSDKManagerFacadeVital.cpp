// Facade rows of the Vital bracelet (kind 10), settings, history and ECG: each forwards to the driver registered for
// the kind, on its callback queue, and says whether there was one; without one nothing happens.
#include <array>

#include "halvora/Devices/Vital/HalvoraSDKBraceletVital.hpp"
#include "halvora/Manager/internal/ForwardTo.hpp"

namespace halvora {

namespace {

using Vital = HalvoraSDKBraceletVital;

/// The most alarms the bracelet takes.
constexpr std::size_t kMaxVitalAlarms = 10;
/// The error and command the application gets for more alarms than that.
constexpr std::int32_t kTooManyAlarmsError = 1;
constexpr std::int32_t kSetAlarmsCommand = 34;
/// Quantities the automatic measurement knows: 0, 1 and 2.
constexpr std::int32_t kQuantities = 3;
/// The sport-mode switch: 1 starts, 4 stops (with mode 0 and no level or period).
constexpr std::int32_t kSportStart = 1;
constexpr std::int32_t kSportStop = 4;
constexpr std::int32_t kNoValue = -1;
/// The stored ECG record the waveform request without a number downloads.
constexpr std::int32_t kFirstECGRecord = 0;

/// One history kind's requests: the spot (or only) one and the automatic one (the same where the bracelet
/// keeps no automatic series).
struct HistoryRequests {
    void (*spot)(Vital&);
    void (*automatic)(Vital&);
};

/// The history kinds by number: 0 heart rate, 1 temperature, 2 blood oxygen, 3 HRV, 4 detailed steps, 5 sleep,
/// 6 sport.
constexpr std::array<HistoryRequests, 7> kHistoryRequests = {{
    {[](Vital& d) { d.getHeartRateData(); }, [](Vital& d) { d.getAutomaticHeartRateData(); }},
    {[](Vital& d) { d.getTemperatureData(); }, [](Vital& d) { d.getAutomaticTemperatureData(); }},
    {[](Vital& d) { d.getBloodOxygenData(); }, [](Vital& d) { d.getAutomaticBloodOxygenData(); }},
    {[](Vital& d) { d.getHRVData(); }, [](Vital& d) { d.getHRVData(); }},
    {[](Vital& d) { d.getDetailedStepData(); }, [](Vital& d) { d.getDetailedStepData(); }},
    {[](Vital& d) { d.getDetailedSleepData(); }, [](Vital& d) { d.getDetailedSleepData(); }},
    {[](Vital& d) { d.getSportData(); }, [](Vital& d) { d.getSportData(); }},
}};

}  // namespace

#define HALVORA_VITAL_ROW(name, call)                                               \
    bool HalvoraSDKManager::name() {                                                \
        return forwardTo<Vital>(DeviceTypeBraceletVital, [](Vital& d) { d.call; }); \
    }
#define HALVORA_VITAL_ROW_1(name, Type, call)                                            \
    bool HalvoraSDKManager::name(Type value) {                                           \
        return forwardTo<Vital>(DeviceTypeBraceletVital, [value](Vital& d) { d.call; }); \
    }

HALVORA_VITAL_ROW_1(setBraceletTime, Date, setTime(value))
HALVORA_VITAL_ROW(getBraceletTime, getTime())
HALVORA_VITAL_ROW(getVitalMACAddress, getMACAddress())
HALVORA_VITAL_ROW_1(setVitalUserInformation, const HalvoraSDKUser&, setUserInformation(value))
HALVORA_VITAL_ROW(getVitalUserInformation, getUserInformation())
HALVORA_VITAL_ROW_1(setVitalParameters, const HalvoraSDKVitalParams&, setDeviceParameters(value))
HALVORA_VITAL_ROW(getVitalParameters, getDeviceParameters())
HALVORA_VITAL_ROW_1(setVitalActivityPeriod, const HalvoraSDKVitalActivityPeriod&, setActivityPeriod(value))
HALVORA_VITAL_ROW(getVitalActivityPeriod, getActivityPeriod())
HALVORA_VITAL_ROW(stopVitalSportMode, sportModeControlEnable(kSportStop, 0, kNoValue, kNoValue))
HALVORA_VITAL_ROW_1(startVitalMeasurement, std::int32_t, setHealthMeasurementControl(value, true))
HALVORA_VITAL_ROW_1(stopVitalMeasurement, std::int32_t, setHealthMeasurementControl(value, false))
HALVORA_VITAL_ROW_1(showVitalQR, bool, showQRCode(value))
HALVORA_VITAL_ROW_1(setVitalStepsGoal, std::uint32_t, setStepGoal(value))
HALVORA_VITAL_ROW(getVitalStepsGoal, getStepGoal())
HALVORA_VITAL_ROW(getVitalTotalSteps, getDaySteps())
HALVORA_VITAL_ROW(startVitalECG, getECGStartDataUploading())
HALVORA_VITAL_ROW(getVitalECGStatus, getECGMeasurementStatus())
HALVORA_VITAL_ROW(getVitalECGWaveform, getECGWaveform(kFirstECGRecord))
HALVORA_VITAL_ROW_1(getVitalECGWaveform, std::int32_t, getECGWaveform(value))
HALVORA_VITAL_ROW_1(setVitalWeather, const HalvoraSDKVitalWeather&, setWeather(value))

#undef HALVORA_VITAL_ROW
#undef HALVORA_VITAL_ROW_1

bool HalvoraSDKManager::setVitalPeriodicConfiguration(const HalvoraSDKVitalPeriod& period) {
    if (period.type >= kQuantities) return false;
    return forwardTo<Vital>(DeviceTypeBraceletVital, [period](Vital& d) { d.setAutomaticDetection(period); });
}

bool HalvoraSDKManager::getVitalPeriodicConfiguration(std::int32_t type) {
    if (type >= kQuantities) return false;
    return forwardTo<Vital>(DeviceTypeBraceletVital, [type](Vital& d) { d.getAutomaticDetection(type); });
}

bool HalvoraSDKManager::setVitalRealtimeSteps(bool steps, bool temperature) {
    return forwardTo<Vital>(DeviceTypeBraceletVital,
                            [steps, temperature](Vital& d) { d.setRealtimeStepCounting(steps, temperature); });
}

bool HalvoraSDKManager::startVitalSportMode(std::int32_t sportMode, std::int32_t levelSelection,
                                            std::int32_t timePeriod) {
    return forwardTo<Vital>(DeviceTypeBraceletVital, [=](Vital& d) {
        d.sportModeControlEnable(kSportStart, sportMode, levelSelection, timePeriod);
    });
}

bool HalvoraSDKManager::setVitalAlarms(const std::vector<HalvoraSDKVitalAlarm>& alarms) {
    auto driver = std::dynamic_pointer_cast<Vital>(driverForKind(DeviceTypeBraceletVital));
    if (alarms.size() > kMaxVitalAlarms) {
        if (auto receiver = braceletVITALDelegate()) {
            receiver->braceletVitalDeviceError(driver ? driver->getIdentifier() : "-", kTooManyAlarmsError,
                                               kSetAlarmsCommand);
        }
        return false;
    }
    return forwardTo<Vital>(DeviceTypeBraceletVital, [alarms](Vital& d) { d.setAlarms(alarms); });
}

bool HalvoraSDKManager::getVitalData(std::int32_t type) {
    return getVitalData(type, false);
}

bool HalvoraSDKManager::getVitalData(std::int32_t type, bool periodically) {
    if (type < 0 || static_cast<std::size_t>(type) >= kHistoryRequests.size()) return false;
    const auto& requests = kHistoryRequests[static_cast<std::size_t>(type)];
    const auto request = periodically ? requests.automatic : requests.spot;
    return forwardTo<Vital>(DeviceTypeBraceletVital, [request](Vital& d) { request(d); });
}

}  // namespace halvora
