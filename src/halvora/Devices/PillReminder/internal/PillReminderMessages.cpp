#include "halvora/Devices/PillReminder/internal/PillReminderMessages.hpp"

#include "halvora/Devices/PillReminder/PillReminderRequest.hpp"

namespace halvora {

namespace {

/// A request's two texts.
struct Texts {
    std::int32_t request;
    const char* success;
    const char* error;
};

constexpr Texts kTable[] = {
    {PillReminderRequest::kSetDeviceTime, "Device date setting successful", "Error setting device date"},
    {PillReminderRequest::kGetDeviceTime, "", "Error getting device date"},
    {PillReminderRequest::kSetDeviceTimeZone, "Timezone set successfully", "Error setting timezone"},
    {PillReminderRequest::kGetDeviceTimeZone, "", "Error getting timezone"},
    {PillReminderRequest::kGetBatteryLevel, "", "Error getting battery level"},
    {PillReminderRequest::kGetLatestSynchronizationTime, "", "Error getting latest synchronization time"},
    {PillReminderRequest::kSetSuccessfulSynchronizationStatus, "Device successfully synchronized",
     "Error synchronizing status"},
    {PillReminderRequest::kClearSchedulePerformanceHistory, "Device successfully cleared schedule performance history",
     "Error clearing schedule performance history"},
    {PillReminderRequest::kGetAlarmSchedule, "", "Error getting alarm schedule"},
    {PillReminderRequest::kGetSchedulePerformanceHistory, "", "Error getting schedule performance history"},
    {PillReminderRequest::kSetAlarmDuration, "Alarm duration set successfully", "Error setting alarm duration"},
    {PillReminderRequest::kSetAlarmConfirmationTime, "Alarm confirmation time set successfully",
     "Error setting alarm confirmation time"},
    {PillReminderRequest::kClearAlarmSchedule, "Alarm schedule cleared successfully", "Error clearing alarm schedule"},
};

const Texts* find(std::int32_t request) {
    for (const auto& row : kTable) {
        if (row.request == request) return &row;
    }
    return nullptr;
}

}  // namespace

const char* PillReminderMessages::success(std::int32_t request) {
    const auto* row = find(request);
    return row ? row->success : "";
}

const char* PillReminderMessages::error(std::int32_t request) {
    const auto* row = find(request);
    return row ? row->error : "";
}

}  // namespace halvora
