// Facade rows of the RM830 bracelet (kind 6): each forwards to the driver registered for the kind, on its
// callback queue; without one nothing happens.
#include "halvora/Devices/RM830/HalvoraSDKBraceletRM830.hpp"
#include "halvora/Manager/internal/ForwardTo.hpp"

namespace halvora {

namespace {

using RM830 = HalvoraSDKBraceletRM830;

/// The first packet of the bracelet's stored heart-rate history.
constexpr std::int32_t kFirstHeartRatePacket = 0;

}  // namespace

void HalvoraSDKManager::configureBraceletRM830UserInfo(std::optional<std::int32_t> heightCm,
                                                       std::optional<std::int32_t> weightKg, std::int32_t gender,
                                                       std::optional<Date> birthday, bool vibrate) {
    forwardTo<RM830>(DeviceTypeBraceletRM830, [=](RM830& d) {
        d.synchronizePersonalInformation(heightCm, weightKg, gender, birthday, vibrate);
    });
}

void HalvoraSDKManager::configureBraceletRM830StepsGoal(std::int64_t steps) {
    forwardTo<RM830>(DeviceTypeBraceletRM830, [steps](RM830& d) { d.synchronizeTargets(steps); });
}

void HalvoraSDKManager::configureBraceletRM830Datetime(Date date) {
    forwardTo<RM830>(DeviceTypeBraceletRM830, [date](RM830& d) { d.synchronizeDateTime(date); });
}

void HalvoraSDKManager::getBraceletRM830TodayData() {
    forwardTo<RM830>(DeviceTypeBraceletRM830, [](RM830& d) { d.synchronizeDataDaysAgo(0); });
}

void HalvoraSDKManager::getBraceletRM830HistoryData(std::int32_t daysAgo) {
    forwardTo<RM830>(DeviceTypeBraceletRM830, [daysAgo](RM830& d) { d.synchronizeDataDaysAgo(daysAgo); });
}

void HalvoraSDKManager::updateBraceletRM830Firmware() {
    forwardTo<RM830>(DeviceTypeBraceletRM830, [](RM830& d) { d.updateFirmware(); });
}

void HalvoraSDKManager::getBraceletRM830HeartRateSync() {
    forwardTo<RM830>(DeviceTypeBraceletRM830, [](RM830& d) { d.getHeartRateValue(kFirstHeartRatePacket); });
}

void HalvoraSDKManager::setBraceletRM830RealtimeHREnabled(bool enabled) {
    forwardTo<RM830>(DeviceTypeBraceletRM830, [enabled](RM830& d) { d.setRealtimeHREnabled(enabled); });
}

void HalvoraSDKManager::setBraceletRM830MonitoringHREnabled(bool enabled) {
    forwardTo<RM830>(DeviceTypeBraceletRM830, [enabled](RM830& d) { d.setMonitoringHREnabled(enabled); });
}

void HalvoraSDKManager::setBraceletRM830MonitoringHRAuto(std::uint8_t enabled,
                                                         std::optional<HalvoraSDKRM830TimeRange> range) {
    forwardTo<RM830>(DeviceTypeBraceletRM830,
                     [enabled, range](RM830& d) { d.setMonitoringHRAuto(enabled != 0, range); });
}

}  // namespace halvora
