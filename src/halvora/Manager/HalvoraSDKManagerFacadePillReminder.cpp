// Facade rows of the pill box (kind 9): each forwards to the driver registered for the kind, on its callback
// queue, and returns true when there is one; without one nothing happens and the answer is false.
#include "halvora/Devices/PillReminder/HalvoraSDKPillReminder.hpp"
#include "halvora/Manager/internal/ForwardTo.hpp"

namespace halvora {

namespace {

using PillBox = HalvoraSDKPillReminder;

}  // namespace

bool HalvoraSDKManager::prGetDeviceTime() {
    return forwardTo<PillBox>(DeviceTypePillReminder, [](PillBox& d) { d.getDeviceTime(); });
}

bool HalvoraSDKManager::prGetDeviceTimeZone() {
    return forwardTo<PillBox>(DeviceTypePillReminder, [](PillBox& d) { d.getDeviceTimeZone(); });
}

bool HalvoraSDKManager::prGetBatteryLevel() {
    return forwardTo<PillBox>(DeviceTypePillReminder, [](PillBox& d) { d.getBatteryLevel(); });
}

bool HalvoraSDKManager::prGetLatestSynchronizationTime() {
    return forwardTo<PillBox>(DeviceTypePillReminder, [](PillBox& d) { d.getLatestSynchronizationTime(); });
}

bool HalvoraSDKManager::prSetSuccessfulSynchronizationStatus() {
    return forwardTo<PillBox>(DeviceTypePillReminder, [](PillBox& d) { d.setSuccessfulSynchronizationStatus(); });
}

bool HalvoraSDKManager::prClearSchedulePerformanceHistory() {
    return forwardTo<PillBox>(DeviceTypePillReminder, [](PillBox& d) { d.clearSchedulePerformanceHistory(); });
}

bool HalvoraSDKManager::prGetAlarmSchedule() {
    return forwardTo<PillBox>(DeviceTypePillReminder, [](PillBox& d) { d.getAlarmSchedule(); });
}

bool HalvoraSDKManager::prSetAlarmSchedule(const std::vector<HalvoraSDKPillReminderAlarmData>& alarms) {
    return forwardTo<PillBox>(DeviceTypePillReminder, [alarms](PillBox& d) { d.setAlarmsSchedule(alarms); });
}

bool HalvoraSDKManager::prGetSchedulePerformanceHistory() {
    return forwardTo<PillBox>(DeviceTypePillReminder, [](PillBox& d) { d.getSchedulePerformanceHistory(); });
}

bool HalvoraSDKManager::prSetAlarmDuration(std::int32_t value) {
    return forwardTo<PillBox>(DeviceTypePillReminder, [value](PillBox& d) { d.setAlarmDuration(value); });
}

bool HalvoraSDKManager::prSetAlarmConfirmationTime(std::int32_t value) {
    return forwardTo<PillBox>(DeviceTypePillReminder, [value](PillBox& d) { d.setAlarmConfirmationTime(value); });
}

bool HalvoraSDKManager::prClearAlarmSchedule() {
    return forwardTo<PillBox>(DeviceTypePillReminder, [](PillBox& d) { d.clearAlarmSchedule(); });
}

bool HalvoraSDKManager::prSetDeviceTime() {
    return forwardTo<PillBox>(DeviceTypePillReminder, [](PillBox& d) { d.setDeviceTime(); });
}

bool HalvoraSDKManager::prSetDeviceTimeZone(std::int32_t hours, std::int32_t minutes) {
    return forwardTo<PillBox>(DeviceTypePillReminder,
                              [hours, minutes](PillBox& d) { d.setDeviceTimeZone(hours, minutes); });
}

}  // namespace halvora
