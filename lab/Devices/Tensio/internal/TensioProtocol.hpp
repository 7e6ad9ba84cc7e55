#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "lab/Devices/Bracelet/BraceletTime.hpp"

namespace halvora::lab::tensio {

// Every frame, either way: 5A 00 LEN b3 ... k, LEN + 4 bytes in all.
constexpr std::uint8_t kHeader0 = 0x5A;
constexpr std::uint8_t kHeader1 = 0x00;
constexpr std::size_t kLengthIndex = 2;
constexpr std::size_t kCodeIndex = 3;
constexpr std::size_t kParameterIndex = 4;
/// The two header bytes, the length byte and the check byte.
constexpr std::size_t kFrameOverhead = 4;

// Lengths (the LEN byte) of the frames.
constexpr std::uint8_t kShortLength = 0x02;   ///< 6 bytes: the phone's commands, acknowledgements, events
constexpr std::uint8_t kLongLength = 0x07;    ///< 11 bytes: the phone's clock, window and configuration
constexpr std::uint8_t kRecordLength = 0x06;  ///< 10 bytes: clock, window, basic information, stored record
constexpr std::uint8_t kResultLength = 0x0A;  ///< 14 bytes: a measurement result

// Six-byte commands: code and parameter.
constexpr std::uint8_t kMeasure = 0x00;
constexpr std::uint8_t kMeasureStart = 0x00;
constexpr std::uint8_t kMeasureStop = 0x01;
constexpr std::uint8_t kMemory = 0x01;
constexpr std::uint8_t kClearMemory = 0x02;
constexpr std::uint8_t kRead = 0x03;
constexpr std::uint8_t kReadClock = 0x00;
constexpr std::uint8_t kReadSchedule = 0x01;
constexpr std::uint8_t kBasicInfo = 0x04;
constexpr std::uint8_t kRepeat = 0x06;
constexpr std::uint8_t kNoParameter = 0x00;
/// The reset is one fixed frame, 5A 00 02 13 AA A8, whose last byte does not follow the check rule.
constexpr std::uint8_t kReset = 0x13;
constexpr std::uint8_t kResetParameter = 0xAA;
constexpr std::uint8_t kResetCheck = 0xA8;

// Eleven-byte commands: the code, six values in bytes 4 to 9.
constexpr std::uint8_t kSetClock = 0x20;
constexpr std::uint8_t kSetWindow = 0x21;
constexpr std::uint8_t kSetConfiguration = 0x22;
constexpr std::size_t kLongValues = 6;

// Byte 3 of the bracelet's six-byte answers (errors: TensioError::Kind).
constexpr std::uint8_t kAcknowledgement = 0x40;
constexpr std::uint8_t kCount = 0x60;

/// The years the two-digit year byte counts from.
constexpr int kCentury = 2000;

/// The XOR of `bytes`.
std::uint8_t xorOf(std::span<const std::uint8_t> bytes);
/// The check byte of a six-byte command c p: 02 XOR c XOR p.
std::uint8_t shortCheck(std::uint8_t code, std::uint8_t parameter);
/// The check byte of an eleven-byte command: the XOR of its six values (bytes 4 to 9) and 07; the code in
/// byte 3 does not take part.
std::uint8_t longCheck(std::span<const std::uint8_t, kLongValues> values);
/// The check byte of one of the bracelet's answers: the XOR of everything from the length byte to the byte
/// before it (`body` is bytes 2 to LEN + 2). For a six-byte answer this is the phone's own rule.
std::uint8_t answerCheck(std::span<const std::uint8_t> body);
/// The time of a two-digit year and the other fields, when it is a real calendar time.
std::optional<BraceletTime> calendarTime(int twoDigitYear, int month, int day, int hour, int minute, int second);

}  // namespace halvora::lab::tensio
