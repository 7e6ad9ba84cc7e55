#include "halvora/Devices/PillReminder/internal/PillReminderHistory.hpp"

#include "halvora/Devices/PillReminder/PillReminderRequest.hpp"
#include "halvora/Devices/PillReminder/internal/PillReminderDates.hpp"

namespace halvora {

std::optional<HalvoraSDKPillReminderPerformanceData> PillReminderHistory::decode(
    std::span<const std::uint8_t, kEntryLength> e) {
    const std::int32_t year = PillReminderDates::kYearBase + (e[0] & 15) * 4 + (e[1] >> 6);
    const std::int32_t month = (e[1] >> 2) & 15;
    const std::int32_t day = (e[1] & 3) * 8 + (e[2] >> 5);
    const std::int32_t hourTaken = e[2] & 31;
    const std::int32_t minuteTaken = e[3] >> 2;
    const std::int32_t status = e[3] & 3;
    const std::int32_t plannedHour = e[4];
    const std::int32_t plannedMinute = e[5];

    const auto planned = PillReminderDates::civilDate(year, month, day, plannedHour, plannedMinute, 0);
    const auto taken = PillReminderDates::civilDate(year, month, day, hourTaken, minuteTaken, 0);
    if (!planned || !taken) return std::nullopt;
    HalvoraSDKPillReminderPerformanceData record;
    record.request = PillReminderRequest::kGetSchedulePerformanceHistory;
    record.date = *planned;
    record.dateTaken = *taken;
    record.statusTaken = status;
    return record;
}

std::vector<HalvoraSDKPillReminderPerformanceData> PillReminderHistory::readReply(std::span<const std::uint8_t> reply) {
    std::vector<HalvoraSDKPillReminderPerformanceData> records;
    for (std::size_t i = 0; i < kMaxEntries; ++i) {
        const std::size_t at = kFirstEntryIndex + i * kEntryLength;
        if (at + kEntryLength > reply.size()) break;
        if (auto record = decode(reply.subspan(at).first<kEntryLength>())) records.push_back(*record);
    }
    return records;
}

}  // namespace halvora
