#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "lab/Devices/Bracelet/BraceletTime.hpp"
#include "lab/Devices/PillReminder/PillBoxAlarm.hpp"
#include "lab/Devices/PillReminder/PillBoxDose.hpp"

namespace halvora::lab::pillbox {

// Every frame, either way: AA 55 len code payload checksum; len counts the code, the payload and the
// checksum; the checksum is the low byte of the sum of len, code and payload.
constexpr std::uint8_t kHeader0 = 0xAA;
constexpr std::uint8_t kHeader1 = 0x55;
constexpr std::size_t kLengthIndex = 2;
constexpr std::size_t kCodeIndex = 3;
constexpr std::size_t kPayloadIndex = 4;
/// The two header bytes and the length byte, which len does not count.
constexpr std::size_t kHeaderSize = 3;
/// The smallest len: a code and a checksum.
constexpr std::uint8_t kBareLength = 2;
/// The most bytes in one write or one notification.
constexpr std::size_t kPieceSize = 20;

// The lengths (len) of the phone's frames.
constexpr std::uint8_t kSetClockLength = 0x09;
constexpr std::uint8_t kSetZoneLength = 0x04;
constexpr std::uint8_t kOneValueLength = 0x03;  ///< alarm duration, confirmation time
constexpr std::uint8_t kScheduleLength = 0x11;  ///< a schedule frame, 20 bytes in all

// Reply codes that are not a command's own.
constexpr std::uint8_t kAck = 0xF0;              ///< AA 55 02 F0 F2: done (also ends a listing)
constexpr std::uint8_t kRefusal = 0xF1;          ///< AA 55 02 F1 F3: a bad frame or a refused command
constexpr std::uint8_t kScheduleRefusal = 0xFE;  ///< AA 55 02 FE 00: a schedule frame the box cannot store
constexpr std::uint8_t kClockReply = 0xB2;       ///< the clock, answering D2
constexpr std::uint8_t kBatteryReply = 0xB9;     ///< the battery, answering CE

// The phone's clock frame (C2): year - 2000, month, day, weekday, hour, minute, second.
constexpr std::size_t kSetClockYear = 4;
constexpr std::size_t kSetClockMonth = 5;
constexpr std::size_t kSetClockDay = 6;
constexpr std::size_t kSetClockHour = 8;  // byte 7 is the weekday, which the box works out itself
constexpr std::size_t kSetClockMinute = 9;
constexpr std::size_t kSetClockSecond = 10;
// The phone's zone frame (C4): hours, minutes.
constexpr std::size_t kZoneHours = 4;
constexpr std::size_t kZoneMinutes = 5;
constexpr int kMinZoneHours = -12;
constexpr int kMaxZoneHours = 14;
constexpr int kMaxZoneMinutes = 59;
/// The value byte of D6 and D7.
constexpr std::size_t kValueIndex = 4;

// A schedule frame (D4): a 24-bit day header (two 9-bit fields the box does not use, then 6 bits with the
// day's alarm count), the packed day, five packed slots.
constexpr std::size_t kDayHeaderIndex = 4;
constexpr std::size_t kDayHeaderSize = 3;
constexpr std::uint8_t kDayCountMask = 0x3F;
constexpr std::size_t kScheduleDayIndex = 7;
constexpr std::size_t kScheduleFirstSlot = 9;
constexpr std::size_t kSlotsPerFrame = 5;

// A schedule reply (D3): the packed day in bytes 4-5, the day's alarm count in byte 6, ten slots from byte 7.
constexpr std::size_t kSlotsPerDay = 10;
// A history reply (D5): the entry count in byte 4, 6-byte entries from byte 5.
constexpr std::size_t kEntrySize = 6;
constexpr std::size_t kMaxEntriesPerReply = 8;
/// Replies with this many entries or fewer fit one notification; longer ones have at least
/// kMinPiecedEntries, so that no reply is 21 to 40 bytes long (the phone gathers 20-byte pieces up to 40
/// bytes before it reads a reply).
constexpr std::size_t kMaxSingleNotificationEntries = 2;
/// See kMaxSingleNotificationEntries.
constexpr std::size_t kMinPiecedEntries = 6;

/// The years the box counts from.
constexpr int kCentury = 2000;
/// The last year the packed day holds (7 bits) and a history entry holds (6 bits).
constexpr int kLastPackedYear = kCentury + 127;
constexpr int kLastEntryYear = kCentury + 63;

/// Two bytes: 0xFF 0xFF, an empty slot.
constexpr std::array<std::uint8_t, 2> kEmptySlot = {0xFF, 0xFF};

/// The low byte of the sum of `bytes`.
std::uint8_t checksum(std::span<const std::uint8_t> bytes);

/// The packed day (7 bits year - 2000, 4 bits month, 5 bits day, most significant first).
std::array<std::uint8_t, 2> packDay(const BraceletTime& day);
/// The day of a packed day (at 00:00), when it is a real date.
std::optional<BraceletTime> unpackDay(std::uint8_t first, std::uint8_t second);
/// The packed slot (5 bits hour, 6 bits minute, 5 bits colour).
std::array<std::uint8_t, 2> packSlot(const PillBoxAlarm& alarm);
/// A slot read back: hour, minute and colour as they stand (not checked).
struct Slot {
    int hour = 0;    ///< 5 bits
    int minute = 0;  ///< 6 bits
    int colour = 0;  ///< 5 bits
};
/// The fields of a packed slot.
Slot unpackSlot(std::uint8_t first, std::uint8_t second);
/// The 6-byte history entry of `dose`.
std::array<std::uint8_t, kEntrySize> packEntry(const PillBoxDose& dose);

}  // namespace halvora::lab::pillbox
