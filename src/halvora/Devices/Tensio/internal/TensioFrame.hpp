#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace halvora {

/// The wrist blood-pressure bracelet's frame, both ways: 5A 00 n followed by n + 1 bytes, so a frame is byte
/// 2 + 4 bytes long (at most 255 + 4). The phone sends six-byte commands, 5A 00 02 c p k with the check
/// k = 02 XOR c XOR p, and eleven-byte settings, 5A 00 07 c v1..v6 k with a check of their own.
class TensioFrame {
public:
    TensioFrame() = delete;

    /// Byte 0 of every frame.
    static constexpr std::uint8_t kHeader = 0x5A;
    /// Byte 1 of every frame.
    static constexpr std::uint8_t kSecondByte = 0x00;
    /// Index of the length byte.
    static constexpr std::size_t kLengthIndex = 2;
    /// Index of the first byte after the length (the command code, or the first value of an answer).
    static constexpr std::size_t kBodyIndex = 3;
    /// Bytes of a frame beyond what its length byte counts.
    static constexpr std::size_t kOverhead = 4;
    /// The longest frame a length byte can announce.
    static constexpr std::size_t kMaxLength = 255 + kOverhead;
    /// Length byte of a six-byte command.
    static constexpr std::uint8_t kCommandLength = 0x02;
    /// Length byte of an eleven-byte setting.
    static constexpr std::uint8_t kSettingLength = 0x07;
    /// Values of a setting between its code and its check.
    static constexpr std::size_t kSettingValues = 6;

    /// Total length of a frame whose byte 2 is `lengthByte`.
    static constexpr std::size_t totalLength(std::uint8_t lengthByte) { return lengthByte + kOverhead; }
    /// 02 XOR code XOR parameter.
    static std::uint8_t commandCheck(std::uint8_t code, std::uint8_t parameter);
    /// 5A 00 02 code parameter check.
    static std::vector<std::uint8_t> command(std::uint8_t code, std::uint8_t parameter);
    /// 5A 00 07 code values check (the check is the setting's own).
    static std::vector<std::uint8_t> setting(std::uint8_t code, const std::array<std::uint8_t, kSettingValues>& values,
                                             std::uint8_t check);
};

}  // namespace halvora
