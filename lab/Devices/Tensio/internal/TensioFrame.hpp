#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "lab/Devices/Tensio/TensioCommand.hpp"
#include "lab/Devices/Tensio/internal/TensioProtocol.hpp"

namespace halvora::lab {

/// One write from the phone, read as the bracelet reads it: a frame 5A 00 02 c p k or 5A 00 07 c b4..b9 k
/// whose length matches its length byte, its check byte checked (the reset frame 5A 00 02 13 AA A8 is taken
/// as it stands).
class TensioFrame {
public:
    /// What the write is.
    enum class Kind {
        Command,         ///< a command the bracelet knows, check byte right
        WrongCheck,      ///< a frame whose check byte is wrong
        UnknownCommand,  ///< a frame with a right check byte and a command the bracelet does not know
        NotAFrame,       ///< no frame at all (another header, length byte or write length)
    };

    /// Reads `bytes`.
    static TensioFrame read(const std::vector<std::uint8_t>& bytes);

    /// What the write is.
    Kind kind() const { return kind_; }
    /// The command (for Kind::Command).
    std::optional<TensioCommand> command() const { return command_; }
    /// Byte `index` of the frame; 0 outside it.
    std::uint8_t byte(std::size_t index) const { return index < bytes_.size() ? bytes_[index] : 0; }

private:
    static constexpr std::size_t kLongestFrame = tensio::kLongLength + tensio::kFrameOverhead;

    static TensioFrame readShort(const std::vector<std::uint8_t>& bytes);
    static TensioFrame readLong(const std::vector<std::uint8_t>& bytes);
    static std::optional<TensioCommand> shortCommand(std::uint8_t code, std::uint8_t parameter);
    static std::optional<TensioCommand> longCommand(std::uint8_t code);

    TensioFrame(Kind kind, std::optional<TensioCommand> command, const std::vector<std::uint8_t>& bytes);

    Kind kind_;
    std::optional<TensioCommand> command_;
    std::array<std::uint8_t, kLongestFrame> bytes_{};
};

}  // namespace halvora::lab
