// Facade rows of the text-command bracelet (kind 1): each forwards to the driver registered for the kind,
// on its callback queue; without one nothing happens.
#include "halvora/Devices/Bracelet/HalvoraSDKBracelet.hpp"
#include "halvora/Devices/Vital/HalvoraSDKBraceletVital.hpp"
#include "halvora/Manager/internal/ForwardTo.hpp"

namespace halvora {

namespace {

/// The bracelet's own texts for the operations that send a fixed instruction.
constexpr const char* kVersionInstruction = "AT+VER\r\n";
constexpr const char* kBondInstruction = "AT+BOND\r\n";
constexpr const char* kActivateInstruction = "AT+ACT=1\r\n";
constexpr const char* kShutdownInstruction = "AT+OFF\r\n";
constexpr const char* kBatteryInstruction = "AT+BATT\r\n";

}  // namespace

#define HALVORA_BRACELET_ROW(operation, call)                                                     \
    void HalvoraSDKManager::operation() {                                                         \
        forwardTo<HalvoraSDKBracelet>(DeviceTypeBracelet, [](HalvoraSDKBracelet& d) { d.call; }); \
    }
#define HALVORA_BRACELET_ROW_1(operation, Argument, call)                                              \
    void HalvoraSDKManager::operation(Argument value) {                                                \
        forwardTo<HalvoraSDKBracelet>(DeviceTypeBracelet, [value](HalvoraSDKBracelet& d) { d.call; }); \
    }

HALVORA_BRACELET_ROW(synchronizeBraceletHistoryData, synchronizeHistoryData())
HALVORA_BRACELET_ROW(getBraceletHeartBeat, getHeartBeat())
HALVORA_BRACELET_ROW(sendBraceletFindDevice, sendFindDevice())
HALVORA_BRACELET_ROW(sendFindDevice, sendFindDevice())
HALVORA_BRACELET_ROW(getBraceletVersion, sendCustomInstruction(kVersionInstruction))
HALVORA_BRACELET_ROW(bindBracelet, sendCustomInstruction(kBondInstruction))
HALVORA_BRACELET_ROW(activateBracelet, sendCustomInstruction(kActivateInstruction))
HALVORA_BRACELET_ROW(shutdownBracelet, sendCustomInstruction(kShutdownInstruction))
HALVORA_BRACELET_ROW(disableBraceletSedentaryAlarm, disableSedentaryAlarm())
HALVORA_BRACELET_ROW_1(sendBraceletStartOrFinishExercise, std::int32_t, sendStartOrFinishExercise(value))
HALVORA_BRACELET_ROW_1(sendBraceletStartOrFinishAutoSteps, std::int32_t, sendStartOrFinishAutoSteps(value))
HALVORA_BRACELET_ROW_1(configureBraceletSettingFindPhone, std::int32_t, configureSettingFindPhone(value))
HALVORA_BRACELET_ROW_1(configureBraceletStepTarget, std::int32_t, configureStepTarget(value))
HALVORA_BRACELET_ROW_1(configureBraceletAntitheft, std::int32_t, configureAntitheft(value))
HALVORA_BRACELET_ROW_1(configureBraceletMonitorHeartRate, std::int32_t, configureMonitorHeartRate(value))
HALVORA_BRACELET_ROW_1(configureBraceletRiseHand, std::int32_t, configureBraceletRiseHand(value))
HALVORA_BRACELET_ROW_1(configureBraceletDate, Date, configureDate(value))
HALVORA_BRACELET_ROW_1(configureBraceletUserHeight, std::int32_t, configureUserHeight(value))
HALVORA_BRACELET_ROW_1(configureBraceletUserWeight, std::int32_t, configureUserWeight(value))
HALVORA_BRACELET_ROW_1(configureBraceletACNS, const std::vector<std::int32_t>&, configureACNS(value))
HALVORA_BRACELET_ROW_1(configureBraceletSedentaryAlarm, const HalvoraSDKBraceletSedentaryAlarm&,
                       configureBraceletSedentaryAlarm(value))
HALVORA_BRACELET_ROW_1(disableBraceletAlarm, bool, disableAlarm(value))
HALVORA_BRACELET_ROW_1(configureBraceletAlarm, const HalvoraSDKBraceletAlarm&, configureAlarm(value))
HALVORA_BRACELET_ROW_1(sendTextToRM610HR, const std::string&, sendText(value))

#undef HALVORA_BRACELET_ROW
#undef HALVORA_BRACELET_ROW_1

void HalvoraSDKManager::getBraceletCurrentSteps() {
    forwardTo<HalvoraSDKBracelet>(DeviceTypeBracelet, [](HalvoraSDKBracelet& d) { d.getCurrentSteps(); });
    // Always: a connected Vital bracelet is asked for its daily totals too.
    getVitalTotalSteps();
}

void HalvoraSDKManager::getBraceletBattery() {
    forwardTo<HalvoraSDKBracelet>(DeviceTypeBracelet,
                                  [](HalvoraSDKBracelet& d) { d.sendCustomInstruction(kBatteryInstruction); });
    forwardTo<HalvoraSDKBraceletVital>(DeviceTypeBraceletVital, [](HalvoraSDKBraceletVital& d) { d.getDeviceBattery(); });
}

bool HalvoraSDKManager::isBraceletInActivity() const {
    auto bracelet = std::dynamic_pointer_cast<HalvoraSDKBracelet>(driverForKind(DeviceTypeBracelet));
    return bracelet && bracelet->isRunning();
}

}  // namespace halvora
