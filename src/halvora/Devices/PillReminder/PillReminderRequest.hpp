#pragma once

#include <cstdint>

namespace halvora {

/// The numbers of the pill box's requests: the request in progress on the driver
/// (`HalvoraSDKPillReminder::currentRequest()`) and the `request` of every result and error. 11 is not used.
class PillReminderRequest {
public:
    PillReminderRequest() = delete;

    /// No request written yet (or a schedule or history listing just ended).
    static constexpr std::int32_t kNone = -1;
    /// `setDeviceTime`.
    static constexpr std::int32_t kSetDeviceTime = 0;
    /// `getDeviceTime`.
    static constexpr std::int32_t kGetDeviceTime = 1;
    /// `setDeviceTimeZone`.
    static constexpr std::int32_t kSetDeviceTimeZone = 2;
    /// `getDeviceTimeZone`.
    static constexpr std::int32_t kGetDeviceTimeZone = 3;
    /// `getBatteryLevel`.
    static constexpr std::int32_t kGetBatteryLevel = 4;
    /// `getLatestSynchronizationTime`.
    static constexpr std::int32_t kGetLatestSynchronizationTime = 5;
    /// `setSuccessfulSynchronizationStatus`.
    static constexpr std::int32_t kSetSuccessfulSynchronizationStatus = 6;
    /// `clearSchedulePerformanceHistory`.
    static constexpr std::int32_t kClearSchedulePerformanceHistory = 7;
    /// `setAlarmsSchedule` (every frame of the schedule).
    static constexpr std::int32_t kSetAlarmsSchedule = 8;
    /// `getAlarmSchedule`.
    static constexpr std::int32_t kGetAlarmSchedule = 9;
    /// `getSchedulePerformanceHistory`.
    static constexpr std::int32_t kGetSchedulePerformanceHistory = 10;
    /// `setAlarmDuration`.
    static constexpr std::int32_t kSetAlarmDuration = 12;
    /// `setAlarmConfirmationTime`.
    static constexpr std::int32_t kSetAlarmConfirmationTime = 13;
    /// `clearAlarmSchedule`.
    static constexpr std::int32_t kClearAlarmSchedule = 14;
    /// Requests from this number on are not routed to any parser.
    static constexpr std::int32_t kRoutedBelow = 15;
};

}  // namespace halvora
