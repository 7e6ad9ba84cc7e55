#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "halvora/Core/Date.hpp"
#include "halvora/Devices/PillReminder/HalvoraSDKPillReminderAlarmData.hpp"

namespace halvora {

/// The pill box's schedule frames and the packed fields they carry.
///
/// Packed day, two bytes, most significant bit first: 7 bits year - 2000, 4 bits month, 5 bits day.
/// Packed slot, two bytes: 5 bits hour, 6 bits minute, 5 bits colour; FF FF is an empty slot.
/// A set-schedule frame (20 bytes): AA 55 11 D4, a 24-bit day header (9 bits, 9 bits, 6 bits holding the
/// day's alarm count), the packed day, five slots (unused ones FF FF), checksum. The fields are written as
/// fixed-width binary texts, joined, cut into 8-digit pieces and turned into hex texts.
///
/// The driver fills the two 9-bit header fields with the index of the day within the schedule being
/// written (from 0) and the number of frames of that schedule before this one (from 0), each modulo 512.
/// Fields wider than their bits are cut to their low bits (a year outside 2000..2127 wraps).
class PillReminderSchedule {
public:
    PillReminderSchedule() = delete;

    /// A calendar day as the box packs it.
    struct Day {
        std::int32_t year = 0;   ///< the full year (2000 + the packed 7 bits)
        std::int32_t month = 0;  ///< 0..15 as packed; a real one is 1..12
        std::int32_t day = 0;    ///< 0..31 as packed
    };
    /// An alarm slot as the box packs it.
    struct Slot {
        std::int32_t hour = 0;    ///< 0..31 as packed
        std::int32_t minute = 0;  ///< 0..63 as packed
        std::int32_t color = 0;   ///< 0..31 as packed
    };
    /// What packing a schedule gave: its frames, or the error that stopped it.
    struct Packing {
        std::vector<std::vector<std::uint8_t>> frames;  ///< the frames to write, in order
        const char* error = nullptr;                    ///< the message that stopped the packing, if any
    };

    /// Bytes of a set-schedule frame.
    static constexpr std::size_t kFrameLength = 20;
    /// Alarms a frame carries.
    static constexpr std::size_t kSlotsPerFrame = 5;
    /// Alarms a day's frames carry.
    static constexpr std::size_t kMaxAlarmsPerDay = 10;
    /// The lowest and highest compartment colour.
    static constexpr std::int32_t kFirstColor = 1;
    /// The highest compartment colour.
    static constexpr std::int32_t kLastColor = 5;
    /// Index of the first byte of the day header.
    static constexpr std::size_t kHeaderIndex = 4;
    /// Index of the packed day in a set-schedule frame.
    static constexpr std::size_t kDayIndex = 7;
    /// Index of the first slot in a set-schedule frame.
    static constexpr std::size_t kFirstSlotIndex = 9;
    /// Index of the packed day in a schedule reply.
    static constexpr std::size_t kReplyDayIndex = 4;
    /// Index of the first slot in a schedule reply.
    static constexpr std::size_t kReplyFirstSlotIndex = 7;
    /// Slots of a schedule reply.
    static constexpr std::size_t kReplySlots = 10;

    /// The two bytes of a packed day.
    static std::vector<std::uint8_t> packDay(const Day& day);
    /// The two bytes of a packed slot.
    static std::vector<std::uint8_t> packSlot(const Slot& slot);
    /// The three bytes of a day header.
    static std::vector<std::uint8_t> packHeader(std::int32_t dayIndex, std::int32_t framesBefore,
                                                std::int32_t alarmCount);
    /// A packed day read back.
    static Day readDay(std::uint8_t first, std::uint8_t second);
    /// A packed slot read back; nothing for an empty slot (FF FF).
    static std::optional<Slot> readSlot(std::uint8_t first, std::uint8_t second);

    /// The alarms sorted by date and grouped by local day (the day at 00:00:00), days in ascending order.
    static std::map<Date, std::vector<HalvoraSDKPillReminderAlarmData>> prepareAlarms(
        std::vector<HalvoraSDKPillReminderAlarmData> alarms);
    /// The frames of a whole schedule, or the first error: a day of more than ten alarms, or a colour outside
    /// 1..5 (checked day by day, alarm by alarm).
    static Packing pack(const std::vector<HalvoraSDKPillReminderAlarmData>& alarms);

    /// The alarms of one schedule reply (code D3): the packed day at bytes 4..5, ten slots from byte 7.
    /// Empty slots, slots past the reply's end and slots that name no real date are skipped; each alarm's
    /// `request` is 9.
    static std::vector<HalvoraSDKPillReminderAlarmData> readReply(std::span<const std::uint8_t> reply);
};

}  // namespace halvora
