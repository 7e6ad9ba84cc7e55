#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace halvora::lab::rm830 {

// The frame: 16 bytes, the code in byte 0, parameters in bytes 1 to 14, the checksum in byte 15.
constexpr std::size_t kFrameLength = 16;
constexpr std::size_t kChecksumIndex = kFrameLength - 1;
/// A heart-rate history answer: code, more flag, five BCD date bytes, twelve readings and a checksum.
constexpr std::size_t kHeartPacketLength = 20;
/// The bit an error answer sets in the command's code.
constexpr std::uint8_t kErrorBit = 0x80;

// Command codes (the phone's) and the codes of their answers.
constexpr std::uint8_t kSetClock = 0x01;
constexpr std::uint8_t kSetPersonalData = 0x02;
constexpr std::uint8_t kStartRealTime = 0x09;
constexpr std::uint8_t kStopRealTime = 0x0A;
constexpr std::uint8_t kSetStepGoal = 0x0B;
constexpr std::uint8_t kSetMonitoring = 0x19;
constexpr std::uint8_t kReadVersion = 0x27;
constexpr std::uint8_t kSetMonitoringWindow = 0x2A;
constexpr std::uint8_t kRealTimeHeartRate = 0x2C;
constexpr std::uint8_t kHeartHistory = 0x2F;
constexpr std::uint8_t kSetTimeFormat = 0x37;
constexpr std::uint8_t kReadTimeFormat = 0x38;
constexpr std::uint8_t kReadClock = 0x41;
constexpr std::uint8_t kReadPersonalData = 0x42;
constexpr std::uint8_t kHistoryDay = 0x43;
constexpr std::uint8_t kDatesWithData = 0x46;
constexpr std::uint8_t kUpdateMode = 0x47;
constexpr std::uint8_t kHeartRate = 0x6D;

// History day frames: byte 1 says what the frame is, byte 6 what the quarter holds.
constexpr std::uint8_t kDayFrame = 0xF0;
constexpr std::uint8_t kNoDayData = 0xFF;
constexpr std::uint8_t kQuarterActivity = 0x00;
constexpr std::uint8_t kQuarterSleep = 0xFF;
// Heart-rate history: byte 1 says whether more packets follow.
constexpr std::uint8_t kMorePackets = 0x64;
constexpr std::uint8_t kLastPacket = 0xFF;

/// The low 8 bits of the sum of `bytes`.
std::uint8_t checksum(std::span<const std::uint8_t> bytes);
/// The BCD byte of 0 to 99 (tens in the high nibble); other values keep their last two decimal digits.
std::uint8_t toBcd(int value);
/// The value of a BCD byte; nothing when a nibble is above 9.
std::optional<int> fromBcd(std::uint8_t byte);
/// The four bytes of a version text "54.51.56.1": four whole numbers from -128 to 127 separated by dots,
/// each sent as a signed byte; nothing for any other text.
std::optional<std::array<std::uint8_t, 4>> versionBytes(const std::string& text);

}  // namespace halvora::lab::rm830
