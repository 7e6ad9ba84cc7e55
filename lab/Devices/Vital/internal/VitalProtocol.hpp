#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

// The Vital bracelet's command protocol, from the bracelet's side. The lab reads and writes these bytes with
// its own helpers, never with the kit's, so that a misunderstanding cannot hide on both sides.
namespace halvora::lab::vital {

// The frame: 16 bytes, the code in byte 0, the payload in bytes 1 to 14, the checksum in byte 15.
constexpr std::size_t kFrameLength = 16;
constexpr std::size_t kChecksumIndex = kFrameLength - 1;
/// The bit a refusal sets in the command's code.
constexpr std::uint8_t kRefusedBit = 0x80;

// Settings commands (the phone's codes, echoed by the answers).
constexpr std::uint8_t kSetClock = 0x01;
constexpr std::uint8_t kSetUser = 0x02;
constexpr std::uint8_t kSetParameters = 0x03;
constexpr std::uint8_t kReadParameters = 0x04;
constexpr std::uint8_t kApplyParameters = 0x06;
constexpr std::uint8_t kReadParametersRest = 0x07;
constexpr std::uint8_t kRealTime = 0x09;
constexpr std::uint8_t kSetStepGoal = 0x0B;
constexpr std::uint8_t kBattery = 0x13;
constexpr std::uint8_t kWeather = 0x15;
constexpr std::uint8_t kSportHeartbeat = 0x17;
constexpr std::uint8_t kSportMode = 0x19;
constexpr std::uint8_t kMacAddress = 0x22;
constexpr std::uint8_t kAlarms = 0x23;
constexpr std::uint8_t kSetActivityPeriod = 0x25;
constexpr std::uint8_t kReadActivityPeriod = 0x26;
constexpr std::uint8_t kMeasurementControl = 0x28;
constexpr std::uint8_t kSetDetection = 0x2A;
constexpr std::uint8_t kReadDetection = 0x2B;
constexpr std::uint8_t kReadClock = 0x41;
constexpr std::uint8_t kReadUser = 0x42;
constexpr std::uint8_t kReadStepGoal = 0x4B;
constexpr std::uint8_t kQrCode = 0xB0;

// History requests (paged answers) and the electrocardiogram's requests.
constexpr std::uint8_t kHistoryCodes[] = {0x51, 0x52, 0x53, 0x54, 0x55, 0x56, 0x5C, 0x60, 0x62, 0x65, 0x66};
constexpr std::uint8_t kECGStart = 0x99;
constexpr std::uint8_t kECGStatus = 0x9C;
constexpr std::uint8_t kWaveform = 0x71;

// Events the bracelet raises by itself.
constexpr std::uint8_t kFirmwareCommand = 0x16;
constexpr std::uint8_t kHeartbeatPacket = 0x18;
constexpr std::uint8_t kSos = 0xFE;

// The alarm list: blocks of 39 bytes (code, count, index, ...) and the trailer 23 FF.
constexpr std::size_t kAlarmBlockLength = 39;
constexpr std::size_t kAlarmTrailerLength = 2;
constexpr std::uint8_t kAlarmTrailerEnd = 0xFF;

/// The low 8 bits of the sum of `bytes`.
std::uint8_t checksum(std::span<const std::uint8_t> bytes);
/// The BCD byte of 0 to 99 (tens in the high nibble); other values keep their last two decimal digits.
std::uint8_t toBcd(int value);
/// The value of a BCD byte; nothing when a nibble is above 9.
std::optional<int> fromBcd(std::uint8_t byte);
/// Whether `code` is one of the history requests.
bool isHistoryCode(std::uint8_t code);

}  // namespace halvora::lab::vital
