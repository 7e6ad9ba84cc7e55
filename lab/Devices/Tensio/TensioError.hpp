#pragma once

#include <cstdint>

namespace halvora::lab {

/// One error frame of the bracelet, 5A 00 02 kind code k: what kind of error and its sub-code.
///
/// The bracelet's own sub-codes: measurement errors (0x50) 1 cuff too loose, 2 air leak (the cuff does not
/// hold its pressure), 3 movement, 4 pressure beyond the measuring range, 5 no pulse found, 6 result out of
/// range; frame errors (0x51) 1 wrong check byte, 2 unknown command, 3 a value out of range; device errors
/// (0x52) 1 battery too low to measure, 2 memory full, 3 nothing stored, 4 cuff motor fault, 5 sensor fault.
/// The bracelet itself sends frame errors and device error 3; scripts may send any kind and sub-code.
struct TensioError {
    /// Byte 3 of an error frame.
    enum class Kind : std::uint8_t {
        Measurement = 0x50,  ///< the measurement failed
        Frame = 0x51,        ///< the phone's frame was not taken
        Device = 0x52,       ///< the bracelet cannot do what was asked
    };

    /// Sub-code: the frame's check byte is wrong.
    static constexpr std::uint8_t kWrongCheck = 0x01;
    /// Sub-code: a well-formed frame with a command the bracelet does not know.
    static constexpr std::uint8_t kUnknownCommand = 0x02;
    /// Sub-code: a value of the frame is out of range (a date that does not exist, a window hour past 23).
    static constexpr std::uint8_t kBadValue = 0x03;
    /// Sub-code: nothing is stored (a repeat asked of an empty memory).
    static constexpr std::uint8_t kNothingStored = 0x03;

    Kind kind = Kind::Frame;  ///< byte 3
    std::uint8_t code = 0;    ///< byte 4, the sub-code

    /// Errors compare by both fields.
    friend bool operator==(const TensioError&, const TensioError&) = default;
};

}  // namespace halvora::lab
