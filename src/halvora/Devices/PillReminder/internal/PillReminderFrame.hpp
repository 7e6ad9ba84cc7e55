#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace halvora {

/// The pill box's frame, both ways: AA 55 len code payload checksum. `len` counts the bytes after it
/// (code, payload, checksum); the checksum is the low byte of the sum of len, code and payload.
///
/// Frames whose payload varies are built as a list of two-digit hex texts, all "FF" at first, with
/// positions overwritten and the checksum appended (the box's firmware documents its frames this way);
/// fixed frames are literal bytes.
class PillReminderFrame {
public:
    PillReminderFrame() = delete;

    /// The list of hex texts a frame is built in.
    using HexArray = std::vector<std::string>;

    /// Byte 0 of every frame.
    static constexpr std::uint8_t kHeader0 = 0xAA;
    /// Byte 1 of every frame.
    static constexpr std::uint8_t kHeader1 = 0x55;
    /// Index of the length byte.
    static constexpr std::size_t kLengthIndex = 2;
    /// Index of the command or reply code.
    static constexpr std::size_t kCodeIndex = 3;
    /// Index of the first payload byte.
    static constexpr std::size_t kPayloadIndex = 4;

    // Codes the phone writes.
    static constexpr std::uint8_t kSetTime = 0xC2;          ///< set the clock
    static constexpr std::uint8_t kSetZone = 0xC4;          ///< set the time zone
    static constexpr std::uint8_t kSetDuration = 0xD6;      ///< set the alarm duration
    static constexpr std::uint8_t kSetConfirmation = 0xD7;  ///< set the confirmation time
    static constexpr std::uint8_t kSetSchedule = 0xD4;      ///< one frame of the schedule
    // Reply codes.
    static constexpr std::uint8_t kAckCode = 0xF0;           ///< byte 3 of an acknowledgement
    static constexpr std::uint8_t kAckSecond = 0xF2;         ///< byte 4 of an acknowledgement
    static constexpr std::uint8_t kAckLength = 0x02;         ///< length byte of an acknowledgement
    static constexpr std::uint8_t kScheduleRefused = 0xFE;   ///< byte 3 when a schedule frame is refused
    static constexpr std::uint8_t kTimeReply = 0xB2;         ///< the clock
    static constexpr std::uint8_t kZoneReply = 0xCD;         ///< the time zone
    static constexpr std::uint8_t kBatteryReply = 0xB9;      ///< the battery level
    static constexpr std::uint8_t kSyncTimeReply = 0xCF;     ///< the last synchronisation
    static constexpr std::uint8_t kScheduleDayReply = 0xD3;  ///< one day of the schedule
    static constexpr std::uint8_t kHistoryReply = 0xD5;      ///< a page of the history
    // Reply length bytes.
    static constexpr std::uint8_t kDateReplyLength = 0x08;     ///< clock and last synchronisation
    static constexpr std::uint8_t kZoneReplyLength = 0x04;     ///< time zone
    static constexpr std::uint8_t kBatteryReplyLength = 0x03;  ///< battery level

    // Fixed frames.
    static const std::vector<std::uint8_t> kGetTime;        ///< AA 55 02 D2 D4
    static const std::vector<std::uint8_t> kGetZone;        ///< AA 55 02 CD CF
    static const std::vector<std::uint8_t> kGetBattery;     ///< AA 55 02 CE D0
    static const std::vector<std::uint8_t> kGetSyncTime;    ///< AA 55 02 CF D1
    static const std::vector<std::uint8_t> kSetSyncStatus;  ///< AA 55 02 D0 D2
    static const std::vector<std::uint8_t> kClearHistory;   ///< AA 55 02 D1 D3
    static const std::vector<std::uint8_t> kGetSchedule;    ///< AA 55 02 D3 D5
    static const std::vector<std::uint8_t> kGetHistory;     ///< AA 55 02 D5 D7
    static const std::vector<std::uint8_t> kClearSchedule;  ///< AA 55 02 D8 DA

    /// `count` texts "FF" with the header AA 55 in the first two places.
    static HexArray createHexArray(std::size_t count);
    /// Writes `value` (one byte: its low 8 bits) at `index` as a two-digit hex text; nothing when `index` is
    /// outside the array.
    static void setByte(HexArray& frame, std::size_t index, std::int32_t value);
    /// The array as bytes with its checksum appended (the sum from byte 2 on); empty when a text is not hex.
    static std::vector<std::uint8_t> calculateChecksum(const HexArray& frame);

    /// AA 55 len code: the first four places of a frame of `count` texts (the checksum comes on top).
    static HexArray begin(std::size_t count, std::uint8_t code);
    /// AA 55 09 C2, year - 2000, month, day, weekday (1 Sunday .. 7 Saturday), hour, minute, second, checksum.
    static std::vector<std::uint8_t> setTime(const std::tm& local);
    /// AA 55 04 C4 hours minutes checksum (signed bytes).
    static std::vector<std::uint8_t> setZone(std::int32_t hours, std::int32_t minutes);
    /// AA 55 03 code value checksum.
    static std::vector<std::uint8_t> setValue(std::uint8_t code, std::int32_t value);

    /// AA 55 02 F0 F2 (the length byte is checked only when `checkLength`).
    static bool isAcknowledgement(std::span<const std::uint8_t> reply, bool checkLength);
    /// Whether the reply is long enough for its code, and has this length byte and this code.
    static bool hasLengthAndCode(std::span<const std::uint8_t> reply, std::uint8_t length, std::uint8_t code);
    /// "AA 55 02 CE D0 " (each byte "%02X ").
    static std::string describe(std::span<const std::uint8_t> bytes);
};

}  // namespace halvora
