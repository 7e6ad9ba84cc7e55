#include "halvora/Devices/PillReminder/internal/PillReminderSchedule.hpp"

#include <algorithm>

#include "halvora/Core/ByteUtils.hpp"
#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/DateUtils.hpp"
#include "halvora/Devices/PillReminder/PillReminderRequest.hpp"
#include "halvora/Devices/PillReminder/internal/PillReminderDates.hpp"
#include "halvora/Devices/PillReminder/internal/PillReminderFrame.hpp"
#include "halvora/Devices/PillReminder/internal/PillReminderMessages.hpp"

namespace halvora {

namespace {

// Widths of the packed fields, in bits.
constexpr std::int32_t kYearBits = 7;
constexpr std::int32_t kMonthBits = 4;
constexpr std::int32_t kDayBits = 5;
constexpr std::int32_t kHourBits = 5;
constexpr std::int32_t kMinuteBits = 6;
constexpr std::int32_t kColorBits = 5;
constexpr std::int32_t kHeaderCounterBits = 9;
constexpr std::int32_t kHeaderCountBits = 6;
/// Digits of one byte.
constexpr std::int32_t kByteBits = 8;
/// The empty slot's bytes.
constexpr std::uint8_t kEmpty = 0xFF;

/// `value` cut to its low `bits` bits, as a binary text of exactly that width.
std::string field(std::int32_t value, std::int32_t bits) {
    const auto mask = (std::int32_t{1} << bits) - 1;
    return ByteUtils::decimalToBinary(value & mask, bits);
}

/// A binary text cut into 8-digit pieces, each turned into its byte.
std::vector<std::uint8_t> bytesOf(const std::string& binary) {
    std::vector<std::string> texts;
    const auto length = static_cast<std::int32_t>(binary.size());
    for (std::int32_t at = 0; at + kByteBits <= length; at += kByteBits) {
        texts.push_back(ByteUtils::binaryToHex(ByteUtils::substringBinary(binary, at, kByteBits)));
    }
    return ByteUtils::dataFromArrayHex(texts).value_or(std::vector<std::uint8_t>{});
}

/// The slot of an alarm, in local time.
PillReminderSchedule::Slot slotOf(const HalvoraSDKPillReminderAlarmData& alarm) {
    const std::tm local = Calendar::toLocal(alarm.date);
    return {local.tm_hour, local.tm_min, alarm.color};
}

/// The packed day of a local day.
PillReminderSchedule::Day dayOf(Date day) {
    const std::tm local = Calendar::toLocal(day);
    return {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday};
}

/// Places `bytes` into the hex texts of a frame from `index` on.
void place(PillReminderFrame::HexArray& frame, std::size_t index, const std::vector<std::uint8_t>& bytes) {
    for (const auto b : bytes) PillReminderFrame::setByte(frame, index++, b);
}

/// A frame with its header and day; its slots all empty.
PillReminderFrame::HexArray startFrame(const PillReminderSchedule::Day& day, std::int32_t dayIndex,
                                       std::int32_t framesBefore, std::int32_t alarmCount) {
    auto frame = PillReminderFrame::begin(PillReminderSchedule::kFrameLength - 1, PillReminderFrame::kSetSchedule);
    place(frame, PillReminderSchedule::kHeaderIndex,
          PillReminderSchedule::packHeader(dayIndex, framesBefore, alarmCount));
    place(frame, PillReminderSchedule::kDayIndex, PillReminderSchedule::packDay(day));
    return frame;
}

bool validColor(std::int32_t color) {
    return color >= PillReminderSchedule::kFirstColor && color <= PillReminderSchedule::kLastColor;
}

}  // namespace

std::vector<std::uint8_t> PillReminderSchedule::packDay(const Day& day) {
    return bytesOf(field(day.year - PillReminderDates::kYearBase, kYearBits) + field(day.month, kMonthBits) +
                   field(day.day, kDayBits));
}

std::vector<std::uint8_t> PillReminderSchedule::packSlot(const Slot& slot) {
    return bytesOf(field(slot.hour, kHourBits) + field(slot.minute, kMinuteBits) + field(slot.color, kColorBits));
}

std::vector<std::uint8_t> PillReminderSchedule::packHeader(std::int32_t dayIndex, std::int32_t framesBefore,
                                                           std::int32_t alarmCount) {
    return bytesOf(field(dayIndex, kHeaderCounterBits) + field(framesBefore, kHeaderCounterBits) +
                   field(alarmCount, kHeaderCountBits));
}

PillReminderSchedule::Day PillReminderSchedule::readDay(std::uint8_t first, std::uint8_t second) {
    return {PillReminderDates::kYearBase + (first >> 1), (first & 1) * 8 + (second >> 5), second & 31};
}

std::optional<PillReminderSchedule::Slot> PillReminderSchedule::readSlot(std::uint8_t first, std::uint8_t second) {
    if (first == kEmpty && second == kEmpty) return std::nullopt;
    return Slot{(first >> 3) & 31, (first & 7) * 8 + ((second >> 5) & 7), second & 31};
}

std::map<Date, std::vector<HalvoraSDKPillReminderAlarmData>> PillReminderSchedule::prepareAlarms(
    std::vector<HalvoraSDKPillReminderAlarmData> alarms) {
    std::stable_sort(alarms.begin(), alarms.end(), [](const auto& a, const auto& b) { return a.date < b.date; });
    std::map<Date, std::vector<HalvoraSDKPillReminderAlarmData>> days;
    for (auto& alarm : alarms) days[DateUtils::dateWithoutTime(alarm.date)].push_back(std::move(alarm));
    return days;
}

PillReminderSchedule::Packing PillReminderSchedule::pack(const std::vector<HalvoraSDKPillReminderAlarmData>& alarms) {
    Packing packing;
    std::int32_t dayIndex = 0;
    for (const auto& [day, dayAlarms] : prepareAlarms(alarms)) {
        if (dayAlarms.size() > kMaxAlarmsPerDay) {
            return {{}, PillReminderMessages::kTooManyAlarms};
        }
        const auto count = static_cast<std::int32_t>(dayAlarms.size());
        PillReminderFrame::HexArray frame;
        for (std::size_t position = 0; position < dayAlarms.size(); ++position) {
            const auto& alarm = dayAlarms[position];
            if (!validColor(alarm.color)) return {{}, PillReminderMessages::kWrongColor};
            const std::size_t inFrame = position % kSlotsPerFrame;
            if (inFrame == 0) {
                frame = startFrame(dayOf(day), dayIndex, static_cast<std::int32_t>(packing.frames.size()), count);
            }
            place(frame, kFirstSlotIndex + 2 * inFrame, packSlot(slotOf(alarm)));
            if (inFrame == kSlotsPerFrame - 1 || position + 1 == dayAlarms.size()) {
                packing.frames.push_back(PillReminderFrame::calculateChecksum(frame));
            }
        }
        ++dayIndex;
    }
    return packing;
}

std::vector<HalvoraSDKPillReminderAlarmData> PillReminderSchedule::readReply(std::span<const std::uint8_t> reply) {
    std::vector<HalvoraSDKPillReminderAlarmData> alarms;
    if (reply.size() < kReplyDayIndex + 2) return alarms;
    const Day day = readDay(reply[kReplyDayIndex], reply[kReplyDayIndex + 1]);
    for (std::size_t i = 0; i < kReplySlots; ++i) {
        const std::size_t at = kReplyFirstSlotIndex + 2 * i;
        if (at + 1 >= reply.size()) break;
        const auto slot = readSlot(reply[at], reply[at + 1]);
        if (!slot) continue;
        const auto date = PillReminderDates::civilDate(day.year, day.month, day.day, slot->hour, slot->minute, 0);
        if (!date) continue;
        HalvoraSDKPillReminderAlarmData alarm;
        alarm.request = PillReminderRequest::kGetAlarmSchedule;
        alarm.date = *date;
        alarm.color = slot->color;
        alarms.push_back(alarm);
    }
    return alarms;
}

}  // namespace halvora
